#pragma once

#include <string>
#include <string_view>

/// How conversions take a path apart. They know exactly two spellings of every name and count
/// characters; the companions of a scan are named elsewhere (base/companion_path.h).
namespace brisko {

/// The last four characters, or the whole path where it is shorter.
std::string_view lastFour(std::string_view path);
/// The path without them.
std::string withoutLastFour(std::string_view path);

bool isCL3Name(std::string_view path);  // ".cl3" or ".CL3"
bool isCLRName(std::string_view path);  // ".clr" or ".CLR"

/// Whether a base names an indexed scan: it ends in "_index" or "_INDEX".
bool isIndexBase(std::string_view base);

/// Whether a base names the first file of a numbered series: it ends in "_000".
bool isSeriesStart(std::string_view base);
/// The n-th file of the series that the base starts: prefix_001.clr and so on.
std::string seriesMember(std::string_view base, unsigned n);
/// Where the first n + 1 files of the series are merged to: prefix.clr and prefixm.clr in turn, so
/// that no merge writes over its own input.
std::string seriesMerge(std::string_view base, unsigned n);

}  // namespace brisko
