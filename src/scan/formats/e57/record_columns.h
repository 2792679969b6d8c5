#pragma once

#include "base/bytes.h"
#include "scan/formats/e57/e57_file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko::scan::e57 {

/// The values of some records, each field by itself.
class RecordColumns {
public:
    /// The bytes of a field; as many as eight after them may be looked at.
    struct Column {
        const Field* field = nullptr;
        const std::uint8_t* data = nullptr;
        std::uint64_t bit = 0;  // where the first record begins
    };

    void begin(std::size_t count) {
        m_columns.clear();
        m_count = count;
    }
    void add(const Column& column) { m_columns.push_back(column); }
    std::size_t count() const { return m_count; }

    /// Calls put(i, value) with the values of a column of all records: numbers.
    template <class Put>
    void numbers(std::size_t column, const Put& put) const;
    /// The same, as integers are stored; the fraction of others is cut off.
    template <class Put>
    void wholes(std::size_t column, const Put& put) const;

private:
    template <class Put>
    static void storedNumbers(const Column& column, std::size_t count, const Put& put);

    std::vector<Column> m_columns;
    std::size_t m_count = 0;
};

/// Numbers of `bits` bits, one after the other from the lowest bit of the first byte on.
template <class Put>
void RecordColumns::storedNumbers(const Column& column, std::size_t count, const Put& put) {
    const unsigned bits = column.field->bits;
    const auto minimum = static_cast<std::uint64_t>(column.field->minimum);
    const auto give = [&](std::size_t i, std::uint64_t stored) {
        put(i, static_cast<std::int64_t>(minimum + stored));
    };
    const std::uint8_t* const bytes = column.data + column.bit / 8;
    if (bits == 0) {
        for (std::size_t i = 0; i < count; ++i)
            give(i, 0);
    } else if (bits == 8) {
        for (std::size_t i = 0; i < count; ++i)
            give(i, bytes[i]);
    } else if (bits == 16) {
        for (std::size_t i = 0; i < count; ++i)
            give(i, load<std::uint16_t>(bytes + 2 * i));
    } else if (bits == 32) {
        for (std::size_t i = 0; i < count; ++i)
            give(i, loadU32(bytes + 4 * i));
    } else {
        constexpr unsigned kOneLoad = 57;  // at any bit of the first byte
        const std::uint64_t mask = ~std::uint64_t{0} >> (64 - bits);
        std::uint64_t bit = column.bit % 8;
        for (std::size_t i = 0; i < count; ++i, bit += bits) {
            const std::uint8_t* const at = bytes + bit / 8;
            const unsigned shift = bit % 8;
            std::uint64_t value = load<std::uint64_t>(at) >> shift;
            if (bits > kOneLoad && shift > 0) value |= std::uint64_t{at[8]} << (64 - shift);
            give(i, value & mask);
        }
    }
}

template <class Put>
void RecordColumns::numbers(std::size_t column, const Put& put) const {
    const Column& from = m_columns[column];
    const std::uint8_t* const bytes = from.data + from.bit / 8;
    if (from.field->kind == Field::Kind::Double) {
        for (std::size_t i = 0; i < m_count; ++i)
            put(i, loadF64(bytes + 8 * i));
    } else if (from.field->kind == Field::Kind::Float) {
        for (std::size_t i = 0; i < m_count; ++i)
            put(i, static_cast<double>(loadF32(bytes + 4 * i)));
    } else {
        storedNumbers(from, m_count, [&](std::size_t i, std::int64_t stored) {
            put(i, from.field->toValue(stored));
        });
    }
}

template <class Put>
void RecordColumns::wholes(std::size_t column, const Put& put) const {
    const Column& from = m_columns[column];
    if (from.field->isInteger()) {
        storedNumbers(from, m_count, put);
        return;
    }
    numbers(column, [&](std::size_t i, double value) {
        constexpr double kMost = 9e18;
        put(i, value > -kMost && value < kMost ? static_cast<std::int64_t>(value) : INT64_MAX);
    });
}

}  // namespace brisko::scan::e57
