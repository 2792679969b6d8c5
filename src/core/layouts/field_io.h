#pragma once

#include "base/system_calls.h"

#include <cstdio>
#include <type_traits>

/// Single fields of a header, to and from a stream.
namespace brisko {

/// Reads the fields of one header or record, one after the other. A stream that ends inside a field
/// leaves it as it was. After a read error the rest stays as it was, too: what comes next in the stream
/// would not be these fields. An error from before, which the stream's flag keeps, stops nothing.
class FieldReader {
public:
    explicit FieldReader(std::FILE* stream)
        : m_stream(stream), m_hadError(std::ferror(stream) != 0) {}

    template <class Field>
    void operator()(Field& field) const {
        static_assert(std::is_trivially_copyable_v<Field>);
        if (!sawNoError()) return;
        Field read{};
        if (system_calls::fread(&read, sizeof read, 1, m_stream) == 1) {
            field = read;
        } else if (std::feof(m_stream) == 0) {
            m_failed = true;
        }
    }

    /// Also about what other readers of the stream met in between, as far as its flag shows it.
    bool sawNoError() const { return !m_failed && (m_hadError || std::ferror(m_stream) == 0); }

private:
    std::FILE* m_stream;
    bool m_hadError;  // from before
    mutable bool m_failed = false;
};

/// Writes one field. Errors stay in the stream's error flag.
template <class Field>
void writeField(std::FILE* stream, const Field& field) {
    static_assert(std::is_trivially_copyable_v<Field>);
    system_calls::fwrite(&field, sizeof field, 1, stream);
}

}  // namespace brisko
