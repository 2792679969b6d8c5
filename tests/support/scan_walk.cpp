#include "support/scan_walk.h"

#include "support/temp_folder.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <stdexcept>

namespace brisko::test {

namespace {

struct Damage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void require(bool holds, const char* what) {
    if (!holds) throw Damage(what);
}

/// Bytes that are taken from front to back.
class Walker {
public:
    explicit Walker(const std::string& path) : m_bytes(readFile(path)) {}

    std::uint64_t left() const { return m_bytes.size() - m_at; }
    void goTo(std::size_t offset) {
        require(offset <= m_bytes.size(), "ends early");
        m_at = offset;
    }
    std::uint8_t u8() {
        require(left() >= 1, "ends early");
        return m_bytes[m_at++];
    }
    std::uint32_t u32() {
        std::uint32_t value = 0;
        for (unsigned byte = 0; byte < 4; ++byte)
            value |= std::uint32_t{u8()} << (8 * byte);
        return value;
    }
    template <class Number>
    Number number() {
        require(left() >= sizeof(Number), "ends early");
        Number value;
        std::memcpy(&value, m_bytes.data() + m_at, sizeof value);
        m_at += sizeof value;
        return value;
    }
    void skip(std::uint64_t size) {
        require(size <= left(), "ends early");
        m_at += static_cast<std::size_t>(size);
    }

private:
    Bytes m_bytes;
    std::size_t m_at = 0;
};

void requireAngles(Walker& scan, std::size_t offset, int count) {
    scan.goTo(offset);
    for (int i = 0; i < count; ++i)
        require(std::isfinite(scan.number<float>()), "angle");
}

/// One tile: its place, and entries that count 1, 2, 3 ... up to the records of its block.
void walkTile(Walker& index, std::uint32_t column, std::uint32_t row, std::uint32_t size,
              std::uint32_t records) {
    require(index.u32() == column && index.u32() == row, "place of a tile");
    require(index.u32() == records, "points of a tile");
    std::uint32_t last = 0;
    for (std::uint64_t cell = 0; cell < std::uint64_t{size} * size; ++cell) {
        const std::uint32_t entry = index.u32();
        if (entry != 0) require(entry == ++last, "entry");
    }
    require(last == records, "entries of a tile");
}

std::uint32_t walkRecords(Walker& scan, unsigned format) {
    const std::uint32_t records = scan.u32();
    scan.u8();
    for (std::uint32_t i = 0; i < records; ++i) {
        for (int axis = 0; axis < 3; ++axis)
            require(std::isfinite(scan.number<double>()), "coordinate");
        require(std::isfinite(scan.number<float>()), "intensity");
        scan.skip(format == 1 ? 3 : 0);
    }
    return records;
}

void walkCL3(const std::string& path) {
    Walker scan(path);
    requireAngles(scan, 86, 4);
    scan.skip(8);
    const std::uint32_t blocks = scan.u32();
    const unsigned format = scan.u8();
    require(format <= 1, "point format");
    std::string indexPath = path;
    indexPath.replace(indexPath.size() - 3, 3, "ij");
    if (!std::filesystem::exists(indexPath)) {
        for (std::uint32_t block = 0; block < blocks; ++block)
            walkRecords(scan, format);
    } else {
        Walker index(indexPath);
        index.goTo(32);
        const std::uint32_t tiles = index.u32(), columns = index.u32(), rows = index.u32(),
                            size = index.u32();
        require(size > 0 && size <= 65535, "tile size");
        const std::uint64_t across = (std::uint64_t{columns} + size - 1) / size,
                            down = (std::uint64_t{rows} + size - 1) / size;
        require(across * down == tiles && tiles == blocks, "number of tiles");
        for (std::uint32_t tile = 0; tile < tiles; ++tile) {
            walkTile(index, static_cast<std::uint32_t>(tile / down),
                     static_cast<std::uint32_t>(tile % down), size, walkRecords(scan, format));
        }
        require(index.left() == 0, "index goes on");
    }
    // A plain writer may leave one empty block header.
    if (scan.left() == 5) require(scan.u32() == 0 && scan.u8() == 0, "goes on");
    require(scan.left() == 0, "goes on");
}

/// A compressed piece: its stream holds the points and one byte more, which may be missing.
void walkPiece(Walker& scan, std::uint64_t points) {
    const std::uint32_t length = scan.u32();
    require(length <= 5000, "length of a piece");
    std::uint64_t used = 0;
    for (std::uint64_t i = 0; i < points; ++i) {
        require(used < length, "piece ends early");
        const unsigned control = scan.u8();
        const std::uint64_t values = 5 + (control >> 6) + (control >> 4 & 3) + (control >> 2 & 3) +
                                     (control >> 1 & 1) + (control & 1);
        scan.skip(values);
        used += 1 + values;
    }
    require(used == length || used + 1 == length, "length of a piece");
    scan.skip(length - used);
}

void walkCLR(const std::string& path) {
    Walker scan(path);
    requireAngles(scan, 88, 4);
    const std::uint32_t columns = scan.u32(), rows = scan.u32();
    const unsigned format = scan.u8();
    scan.skip(3);
    const std::uint64_t blocks = scan.u32();
    require(columns <= 0x7fffffff && rows <= 0x7fffffff && format <= 3, "header");
    const std::uint64_t cells = std::uint64_t{columns} * rows;
    const auto block = static_cast<long double>(cells) * 20 + 1;
    const auto left = static_cast<long double>(scan.left());
    if (format != 2 || cells == 0 || left == block * static_cast<long double>(blocks)) {
        const long double more = left - block * static_cast<long double>(blocks);
        require(more >= 0, "ends early");
        return require(more < block, "holds another block");
    }
    for (std::uint64_t i = 0; i < blocks; ++i) {
        scan.u8();
        for (std::uint64_t column = 0; column < columns; ++column) {
            for (std::uint64_t row = 0; row < rows; row += 250)
                walkPiece(scan, std::min<std::uint64_t>(250, rows - row));
        }
    }
    require(scan.left() == 0, "goes on");
}

}  // namespace

std::string damageOf(const std::string& path) {
    try {
        path.ends_with(".clr") ? walkCLR(path) : walkCL3(path);
        return "";
    } catch (const Damage& damage) {
        return damage.what();
    }
}

}  // namespace brisko::test
