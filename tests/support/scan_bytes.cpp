#include "support/scan_bytes.h"

#include <brisko_codec/compressed_lines.h>

#include <algorithm>

namespace brisko::test {

ByteWriter& ByteWriter::text(const std::string& value, std::size_t width) {
    std::string padded = value;
    padded.resize(width, '\0');
    m_bytes.insert(m_bytes.end(), padded.begin(), padded.end());
    return *this;
}

ByteWriter& ByteWriter::bytes(const Bytes& more) {
    m_bytes.insert(m_bytes.end(), more.begin(), more.end());
    return *this;
}

Bytes cl3Header(std::uint32_t blockCount, std::uint8_t pointFormat) {
    return ByteWriter()
        .text("CL3_0.7", 32)
        .text("RVX1000", 46)
        .bytes(Bytes(32))
        .u32(blockCount)
        .u8(pointFormat);
}

Bytes cl3Block(const std::vector<TestPoint>& points, std::uint32_t announcedCount) {
    ByteWriter out;
    out.u32(announcedCount).u8(0);
    for (const TestPoint& p : points) {
        out.f64(p.x).f64(p.y).f64(p.z).f32(p.intensity).u8(p.red).u8(p.green).u8(p.blue);
    }
    return out;
}

Bytes ijHeader(std::uint32_t columns, std::uint32_t rows, std::uint32_t tileSize) {
    const auto tiles = [tileSize](std::uint32_t cells) {
        return tileSize == 0 ? 0 : (cells + tileSize - 1) / tileSize;
    };
    return ByteWriter()
        .text("CL3_IJ_0.2", 32)
        .u32(tiles(columns) * tiles(rows))
        .u32(columns)
        .u32(rows)
        .u32(tileSize);
}

Bytes ijTile(std::uint32_t columnTile, std::uint32_t rowTile,
             const std::vector<std::uint32_t>& entries) {
    ByteWriter out;
    const auto empty = std::count(entries.begin(), entries.end(), 0U);
    out.u32(columnTile).u32(rowTile).u32(static_cast<std::uint32_t>(std::ssize(entries) - empty));
    for (const std::uint32_t entry : entries)
        out.u32(entry);
    return out;
}

TiledScan tiledScan(
    std::uint32_t columns, std::uint32_t rows, std::uint32_t tileSize,
    const std::function<std::optional<TestPoint>(std::uint32_t, std::uint32_t)>& pointAt) {
    const std::uint32_t across = (columns + tileSize - 1) / tileSize;
    const std::uint32_t down = (rows + tileSize - 1) / tileSize;
    ByteWriter scan, index;
    scan.bytes(cl3Header(across * down));
    index.bytes(ijHeader(columns, rows, tileSize));
    for (std::uint32_t tile = 0; tile < across * down; ++tile) {
        std::vector<std::uint32_t> entries(std::size_t{tileSize} * tileSize);
        std::vector<TestPoint> points;
        for (std::uint32_t i = 0; i < entries.size(); ++i) {
            const std::uint32_t column = tile / down * tileSize + i / tileSize;
            const std::uint32_t row = tile % down * tileSize + i % tileSize;
            if (column >= columns || row >= rows) continue;
            const auto point = pointAt(column, row);
            if (!point) continue;
            points.push_back(*point);
            entries[i] = static_cast<std::uint32_t>(points.size());
        }
        scan.bytes(cl3Block(points));
        index.bytes(ijTile(tile / down, tile % down, entries));
    }
    return {scan, index};
}

Bytes clrHeader(std::int32_t columns, std::int32_t rows, std::uint32_t pointFormat,
                std::uint32_t blockCount) {
    return ByteWriter()
        .text("CLR_0.7", 32)
        .text("RVX1000", 48)
        .bytes(Bytes(24))
        .i32(columns)
        .i32(rows)
        .u32(pointFormat)
        .u32(blockCount);
}

Bytes clrRecords(const std::vector<ClrRecord>& records) {
    ByteWriter out;
    for (const ClrRecord& r : records)
        out.i32(r.x).i32(r.y).i32(r.z).i32(r.fourth).i32(r.intensity);
    return out;
}

Bytes compressedLine(const std::vector<ClrRecord>& records) {
    std::vector<RawRecord> line;
    for (const ClrRecord& r : records)
        line.push_back({r.x, r.y, r.z, r.fourth, r.intensity});
    Bytes bytes;
    encodeCompressedLine(line.data(), line.size(), bytes);
    return bytes;
}

}  // namespace brisko::test
