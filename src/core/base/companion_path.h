#pragma once

#include <string>
#include <string_view>

/// The names of the files beside a scan. There are two rules, and both stay: readers and writers
/// agree on every name whose last component has exactly one '.', and differ on odd ones.
namespace brisko {

/// The readers' rule: the path up to its last '.', folders included, plus the extension.
/// Deliberate: "scan.v2/data" looks for "scan.alg". Empty when the path holds no '.'.
std::string companionForReading(std::string_view path, std::string_view extension);

/// The writers' rule: the extension of the last path component replaced, or added where it has none.
/// "scan.v2/data" writes "scan.v2/data.alg". A leading dot counts as the start of an extension,
/// except in "." and "..".
std::string companionForWriting(std::string_view path, std::string_view extension);

}  // namespace brisko
