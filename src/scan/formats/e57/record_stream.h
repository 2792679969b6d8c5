#pragma once

#include "base/bytes.h"
#include "scan/formats/e57/e57_file.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko::scan::e57 {

/// The records of a scan, some at a time, each field by itself: fields come in streams whose pieces lie in
/// packets, and a value may begin in one packet and end in the next.
class RecordStream {
public:
    /// fields: the numbers of those that are wanted, among the scan's; a column for each. The others are
    ///         passed over.
    /// Throws ScanError(Damaged) for a section that cannot hold the records that are announced.
    RecordStream(PageReader& pages, const Scan& scan, const std::vector<std::size_t>& fields);

    /// Moves on to the next records. Returns: how many are at hand, at most `most`; 0 after the last one.
    /// Throws ScanError(Damaged).
    std::size_t next(std::size_t most);
    /// Records that were at hand, with those that are.
    std::uint64_t done() const { return m_done; }

    /// Calls put(i, value) with the values of the wanted field `column` of all records at hand: numbers.
    template <class Put>
    void numbers(std::size_t column, const Put& put) const;
    /// The same, as integers are stored; the fraction of others is cut off.
    template <class Put>
    void wholes(std::size_t column, const Put& put) const;

private:
    /// The bytes of a wanted field that are at hand.
    struct Column {
        Field field;
        std::size_t stream = 0;  // its number in a packet
        const std::uint8_t* data = nullptr;
        std::size_t size = 0;
        std::uint64_t bit = 0;          // where the records at hand begin
        std::vector<std::uint8_t> own;  // what remained of a packet, and the next one's part
    };

    void openSection();
    void requireRoom(std::uint64_t sectionBytes) const;
    std::size_t available(std::uint64_t most) const;
    void keepRemainders();
    void loadPacket();
    void takeStreams(const std::uint8_t* packet, const PacketHeader& header);
    static void append(Column& column, const std::uint8_t* bytes, std::size_t size);
    [[noreturn]] void fail(std::uint64_t logical, const std::string& reason) const;

    template <class Put>
    static void storedNumbers(const Column& column, std::size_t count, const Put& put);

    PageReader& m_pages;
    const Scan& m_scan;
    std::vector<Column> m_columns;
    std::vector<std::size_t> m_starts;  // of each stream in a packet
    std::uint64_t m_at = 0;             // logical, of the next packet
    std::uint64_t m_end = 0;            // of the section
    std::size_t m_atHand = 0;
    std::uint64_t m_done = 0;
};

/// Numbers of `bits` bits, one after the other from the lowest bit of the first byte on.
template <class Put>
void RecordStream::storedNumbers(const Column& column, std::size_t count, const Put& put) {
    const unsigned bits = column.field.bits;
    const auto minimum = static_cast<std::uint64_t>(column.field.minimum);
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
void RecordStream::numbers(std::size_t column, const Put& put) const {
    const Column& from = m_columns[column];
    const std::uint8_t* const bytes = from.data + from.bit / 8;
    if (from.field.kind == Field::Kind::Double) {
        for (std::size_t i = 0; i < m_atHand; ++i)
            put(i, loadF64(bytes + 8 * i));
    } else if (from.field.kind == Field::Kind::Float) {
        for (std::size_t i = 0; i < m_atHand; ++i)
            put(i, static_cast<double>(loadF32(bytes + 4 * i)));
    } else {
        storedNumbers(from, m_atHand, [&](std::size_t i, std::int64_t stored) {
            put(i, from.field.toValue(stored));
        });
    }
}

template <class Put>
void RecordStream::wholes(std::size_t column, const Put& put) const {
    const Column& from = m_columns[column];
    if (from.field.isInteger()) {
        storedNumbers(from, m_atHand, put);
        return;
    }
    numbers(column, [&](std::size_t i, double value) {
        constexpr double kMost = 9e18;
        put(i, value > -kMost && value < kMost ? static_cast<std::int64_t>(value) : INT64_MAX);
    });
}

}  // namespace brisko::scan::e57
