#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/cell_reader.h>
#include <brisko_scan/export.h>

#include <cstdint>
#include <optional>
#include <string>

namespace brisko::scan {

/// The point of one cell of an indexed CL3 scan, found without reading the rest of the scan; nothing
/// where no return was measured. The cell's whole tile is looked at, so that damage of its index is an
/// error and never another cell's point.
///   path    UTF-8
///   column  azimuth step, from 0; row: zenith step
///   frame   of the point
/// Throws ScanError: Request for a scan that has no cells or not this one, Damaged.
BRISKO_SCAN_EXPORT std::optional<CellPoint> readCell(const std::string& path, std::uint32_t column,
                                                     std::uint32_t row, Frame frame);

}  // namespace brisko::scan
