#pragma once

#include "base/mishaps.h"
#include "base/system_calls.h"

#include <cstdio>
#include <type_traits>

/// Single fields of a header, to and from a stream.
namespace brisko {

/// Reads one field. A stream that ends inside it leaves the field as it was, and so does one with an
/// error: what comes next in it would not be this field.
template <class Field>
void readField(std::FILE* stream, Field& field) {
    static_assert(std::is_trivially_copyable_v<Field>);
    if (std::ferror(stream) != 0) return;
    Field read{};
    if (system_calls::fread(&read, sizeof read, 1, stream) == 1) {
        field = read;
    } else if (std::ferror(stream) != 0) {
        noteMishap();
    }
}

/// Writes one field. Errors stay in the stream's error flag.
template <class Field>
void writeField(std::FILE* stream, const Field& field) {
    static_assert(std::is_trivially_copyable_v<Field>);
    system_calls::fwrite(&field, sizeof field, 1, stream);
}

}  // namespace brisko
