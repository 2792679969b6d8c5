#pragma once

#include "scan/files/input_file.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan::ply {

enum class Encoding { Ascii, Little, Big };
enum class Type { I8, U8, I16, U16, I32, U32, F32, F64 };

std::size_t sizeOf(Type type);

struct Property {
    std::string name;
    Type type = Type::F32;
    std::optional<Type> countType;  // of a list: its values come after their number
};

/// Records of one kind. The file holds all of one element, then all of the next.
struct Element {
    std::string name;
    std::uint64_t count = 0;
    std::vector<Property> properties;

    bool hasLists() const;
    /// Bytes of a record in a binary file; its lists empty.
    std::size_t leastSize() const;
};

struct Header {
    Encoding encoding = Encoding::Ascii;
    std::vector<Element> elements;
    std::uint64_t bytes = 0;  // up to the first record
    std::uint64_t lines = 0;
};

/// Reads the header and leaves the stream after it. Counts are as the file has them, however large.
/// Throws ScanError(Damaged) that names the line.
Header readHeader(ByteStream& stream, const std::string& path);

}  // namespace brisko::scan::ply
