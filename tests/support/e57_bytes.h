#pragma once

#include "support/temp_folder.h"

#include <string>
#include <utility>
#include <vector>

/// E57 files put together byte by byte, without the code that reads and writes them.
namespace brisko::test {

/// Content as pages, each with its checksum.
Bytes e57Pages(const Bytes& content);

/// A file: header, sections from logical offset 48 on, XML part.
Bytes e57File(const Bytes& sections, const std::string& xml);

/// A packet of data with these streams.
Bytes e57Packet(const std::vector<Bytes>& streams);
/// A section of points, which begins at logical offset 48: its packets one after the other.
Bytes e57Section(const std::vector<Bytes>& packets);

/// Numbers in so many bits each, the lowest first.
Bytes e57Bits(const std::vector<std::uint64_t>& numbers, unsigned bits);
template <class Number>
Bytes e57Numbers(const std::vector<Number>& numbers) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(numbers.data());
    return Bytes(bytes, bytes + numbers.size() * sizeof(Number));
}

Bytes joined(const std::vector<Bytes>& parts);

/// The XML part of a file with one scan whose points lie at logical offset 48.
///   fields  elements of the prototype
///   more    further elements of the scan
std::string e57Xml(std::uint64_t records, const std::string& fields, const std::string& more = {});

}  // namespace brisko::test
