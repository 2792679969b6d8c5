#pragma once

#include <string>
#include <string_view>

namespace QelPcpLib {

/// The name of a file that belongs to a CL3 file: beside it, with the same title, and with the
/// number of the part where a scan is kept in several.
///   extension  with its dot: ".alg", ".ij", ".ix"
///   part       from 2 on it shows in the name: "scan_2.alg"; 1 and less give "scan.alg"
std::string partFileName(std::string_view path, std::string_view extension, int part);

}  // namespace QelPcpLib
