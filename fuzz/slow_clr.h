#pragma once

#include "same_points.h"

#include "support/compressed_decoder.h"

#include <cmath>
#include <cstring>

namespace brisko::fuzz {

using test::ClrRecord;

/// The fields of a CLR header that say where its cells are; what a short file lacks is 0.
struct SlowClrHeader {
    explicit SlowClrHeader(ByteSpan bytes) {
        const auto field = [&](std::size_t at) {
            std::int32_t value = 0;
            if (bytes.size() >= at + 4) std::memcpy(&value, bytes.data() + at, 4);
            return value;
        };
        columns = field(104);
        rows = field(108);
        format = static_cast<std::uint8_t>(field(112));
        blocks = static_cast<std::uint32_t>(field(116));
    }
    bool hasCells() const { return columns > 0 && rows > 0; }
    std::uint64_t cells() const {
        return static_cast<std::uint64_t>(columns) * static_cast<std::uint64_t>(rows);
    }
    std::int64_t columns = 0, rows = 0;
    int format = 0;
    std::uint32_t blocks = 0;
};

/// Puts what the blocks hold for one cell together, block after block.
class SlowMerge {
public:
    void add(const ClrRecord& record, std::uint8_t flag) {
        if (record.intensity <= 0) return;
        const double range = rangeOf(record);
        const bool inside = flag == 0 && range <= 200;
        const double fromCentre = flag == 0 ? std::abs(range - 100) : HUGE_VAL;
        if (!m_any || replaces(range, inside, fromCentre)) {
            m_any = true;
            m_record = record;
            m_range = range;
            m_inside = inside;
            m_fromCentre = fromCentre;
        }
    }
    const ClrRecord& record() const { return m_record; }

private:
    static double rangeOf(const ClrRecord& r) {
        const double x = r.x / 10000.0, y = r.y / 10000.0, z = r.z / 10000.0;
        return std::sqrt(x * x + y * y + z * z);
    }
    bool replaces(double range, bool inside, double fromCentre) const {
        if (range - m_range > 0.01) return true;
        if (range - m_range <= -0.01) return false;
        if (inside != m_inside) return inside;
        return fromCentre < m_fromCentre;
    }

    bool m_any = false, m_inside = false;
    ClrRecord m_record;
    double m_range = 0, m_fromCentre = 0;
};

/// The points of cells that stand in the order of the file's lines.
inline SlowPoints pointsOf(const SlowClrHeader& header, const std::vector<ClrRecord>& cells) {
    SlowPoints all;
    all.complete = true;
    const auto rows = static_cast<std::uint64_t>(header.rows);
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const ClrRecord& r = cells[i];
        if (r.intensity <= 0) continue;
        const std::uint64_t column = i / rows, at = i % rows;
        const bool turned = header.format != 3 && column % 2 == 1;
        test::TestPoint point{r.x / 10000.0,
                              r.y / 10000.0,
                              r.z / 10000.0,
                              static_cast<float>(r.intensity),
                              0,
                              0,
                              0,
                              static_cast<std::uint32_t>(column),
                              static_cast<std::uint32_t>(turned ? rows - 1 - at : at)};
        const double identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        align(identity, point);
        all.points.push_back(point);
    }
    return all;
}

inline constexpr std::size_t kPiece = 250;

/// A compressed piece of a known length: what it lacks are zeros, what it has too much does not matter.
inline std::vector<ClrRecord> decodePadded(ByteSpan stream, std::size_t points) {
    test::ByteWriter piece;
    piece.u32(static_cast<std::uint32_t>(stream.size())).bytes(toBytes(stream));
    piece.bytes(Bytes(17 * points + 20));
    return test::decodeLine(piece, points);
}

/// Compressed lines as a file of plain records; ends where the file does, and before a piece of a length that
/// none has.
inline Bytes unpack(ByteSpan bytes, const SlowClrHeader& header) {
    Bytes plain(bytes.begin(), bytes.begin() + std::min<std::ptrdiff_t>(std::ssize(bytes), 120));
    plain.resize(120);
    std::size_t at = 120;
    const auto rows = static_cast<std::size_t>(header.rows);
    for (std::uint32_t block = 0; block < header.blocks && at < bytes.size(); ++block) {
        plain.push_back(bytes[at++]);
        for (std::int64_t line = 0; line < header.columns; ++line) {
            for (std::size_t done = 0; done < rows; done += kPiece) {
                const std::size_t points = std::min(kPiece, rows - done);
                std::uint32_t length = 0;
                if (at + 4 > bytes.size()) return plain;
                std::memcpy(&length, bytes.data() + at, 4);
                if (length > 5000 || at + 4 + length > bytes.size()) return plain;
                const Bytes records =
                    test::clrRecords(decodePadded(bytes.subspan(at + 4, length), points));
                plain.insert(plain.end(), records.begin(), records.end());
                at += 4 + length;
            }
        }
    }
    return plain;
}

/// Whether a file of that header is one of plain records: sorted copies keep the format of their input.
inline bool isPlain(ByteSpan bytes, const SlowClrHeader& header) {
    if (header.format != 2) return true;
    return header.hasCells() &&
           120.0 + header.blocks * (1 + 20.0 * double(header.columns) * double(header.rows)) ==
               double(bytes.size());
}

/// The cells of a scan. Those that no block holds are left out at the end.
inline std::vector<ClrRecord> cellsOf(ByteSpan bytes, const SlowClrHeader& header) {
    std::vector<ClrRecord> cells;
    if (!header.hasCells() || header.blocks == 0) return cells;
    Bytes unpacked;
    if (!isPlain(bytes, header)) bytes = unpacked = unpack(bytes, header);
    for (std::uint64_t i = 0; i < header.cells() && 121 + 20 * i + 20 <= bytes.size(); ++i) {
        SlowMerge merge;
        std::uint64_t start = 120;
        for (std::uint32_t k = 0; k < header.blocks && start < bytes.size(); ++k) {
            const std::uint64_t at = start + 1 + 20 * i;
            ClrRecord record;  // of 20 bytes
            if (at + sizeof record <= bytes.size()) {
                std::memcpy(&record, bytes.data() + at, sizeof record);
                merge.add(record, bytes[start]);
            }
            start += 1 + 20 * header.cells();  // a block of plain records
        }
        cells.push_back(merge.record());
    }
    return cells;
}

}  // namespace brisko::fuzz
