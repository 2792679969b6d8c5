#pragma once

#include <cstdio>
#include <type_traits>

/// Single fields of a header, to and from a stream.
namespace brisko {

/// Reads one field. A stream that ends inside it leaves the field as it was.
template <class Field>
void readField(std::FILE* stream, Field& field) {
    static_assert(std::is_trivially_copyable_v<Field>);
    Field read{};
    if (std::fread(&read, sizeof read, 1, stream) == 1) field = read;
}

/// Writes one field. Errors stay in the stream's error flag.
template <class Field>
void writeField(std::FILE* stream, const Field& field) {
    static_assert(std::is_trivially_copyable_v<Field>);
    std::fwrite(&field, sizeof field, 1, stream);
}

}  // namespace brisko
