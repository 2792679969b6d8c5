#pragma once

#include "support/temp_folder.h"

#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Builds scan files byte by byte, without the library's own writers.
namespace brisko::test {

class ByteWriter {
public:
    ByteWriter& u8(std::uint8_t value) { return append(value); }
    ByteWriter& u32(std::uint32_t value) { return append(value); }
    ByteWriter& i32(std::int32_t value) { return append(value); }
    ByteWriter& f32(float value) { return append(value); }
    ByteWriter& f64(double value) { return append(value); }
    /// Text padded with NULs to a width.
    ByteWriter& text(const std::string& value, std::size_t width);
    ByteWriter& bytes(const Bytes& more);

    const Bytes& done() const { return m_bytes; }
    operator const Bytes&() const { return m_bytes; }

private:
    template <class Number>
    ByteWriter& append(Number value) {
        m_bytes.resize(m_bytes.size() + sizeof value);
        std::memcpy(m_bytes.data() + m_bytes.size() - sizeof value, &value, sizeof value);
        return *this;
    }

    Bytes m_bytes;
};

/// A point as a file holds it and as a reader hands it out.
struct TestPoint {
    double x = 0, y = 0, z = 0;
    float intensity = 0;
    std::uint8_t red = 0, green = 0, blue = 0;
    std::uint32_t column = 0, row = 0;

    bool operator==(const TestPoint&) const = default;
};

/// The 115 bytes of a CL3 header.
Bytes cl3Header(std::uint32_t blockCount, std::uint8_t pointFormat = 1);
/// Count, flag, and records of point format 1.
Bytes cl3Block(const std::vector<TestPoint>& points, std::uint32_t announcedCount);
inline Bytes cl3Block(const std::vector<TestPoint>& points) {
    return cl3Block(points, static_cast<std::uint32_t>(points.size()));
}

/// The 48 bytes of an index header.
Bytes ijHeader(std::uint32_t columns, std::uint32_t rows, std::uint32_t tileSize);
Bytes ijTile(std::uint32_t columnTile, std::uint32_t rowTile,
             const std::vector<std::uint32_t>& entries);

/// The files of an indexed scan, whose order follows its tiles.
struct TiledScan {
    Bytes scan, index;
};
///   pointAt  of a column and a row; nothing: the cell has no record
TiledScan tiledScan(
    std::uint32_t columns, std::uint32_t rows, std::uint32_t tileSize,
    const std::function<std::optional<TestPoint>(std::uint32_t, std::uint32_t)>& pointAt);

struct ClrRecord {
    std::int32_t x = 0, y = 0, z = 0, fourth = 0, intensity = 0;

    bool operator==(const ClrRecord&) const = default;
};
/// The 120 bytes of a CLR header.
Bytes clrHeader(std::int32_t columns, std::int32_t rows, std::uint32_t pointFormat,
                std::uint32_t blockCount);
Bytes clrRecords(const std::vector<ClrRecord>& records);
/// The pieces of a compressed scan line, as the library encodes it.
Bytes compressedLine(const std::vector<ClrRecord>& records);

}  // namespace brisko::test
