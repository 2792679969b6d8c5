#pragma once

#include "scan/formats/e57/xml_tree.h"
#include "scan/formats/e57/xml_writer.h"

#include <brisko_codec/file_header.h>

#include <memory>

/// The common header of native scans as elements of a scan: the instrument by the names of the format,
/// the rest in a structure of our own.
namespace brisko::scan::e57 {

/// Writes what the header holds; nothing for an empty one. Texts that are no UTF-8 are left out.
void writeScannerHeader(XmlWriter& xml, const CLFileHeader& header);

/// The header that was written so; null where the scan has none of it.
std::shared_ptr<const CLFileHeader> readScannerHeader(const XmlNode& scan);

}  // namespace brisko::scan::e57
