#pragma once

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/codec.h>
#include <brisko_codec/export.h>

#include <cstdint>
#include <memory>

namespace brisko {

/// Columns of a grid from `first` up to, not including, `end`.
struct ColumnRange {
    std::uint32_t first = 0;
    std::uint32_t end = 0xffffffff;
};

/// Limits the passes of a reader with a grid to a part of it, without reading what lies before: raw scans
/// deliver the points of these columns, indexed CL3 scans those of all tiles that hold one of them. Holds from
/// the next pass on, also for scans that are opened later. Counts and bounds are then those of the part.
/// What is read is judged as always; the rest of the files is not looked at. Of compressed raw scans the
/// pieces before the range are passed over by their lengths.
///   tiles  of an indexed CL3 scan: all of its tiles, without which a pass has no points; else not used
/// Returns: false for a codec that is not this library's, or has no grid; it then goes on as before.
BRISKO_CODEC_EXPORT bool setColumnRange(BriskoCodec& codec, const ColumnRange& columns,
                                        std::shared_ptr<const CL3TileTable> tiles = {});

}  // namespace brisko
