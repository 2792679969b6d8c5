#include "limits/writers.h"

namespace brisko::limits {

namespace {

class CL3Writer : public Writer {
public:
    explicit CL3Writer(const std::string& path) : m_file(openOrExit(path, "wb")) {
        std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
        putHeader();
        putBlockHeader(0);
    }

    void write(double x, double y, double z, float i, std::uint8_t r, std::uint8_t g,
               std::uint8_t b, std::uint8_t /*a*/) override {
        encodeRecord(&m_buffer[m_size], x, y, z, i, r, g, b);
        m_size += kRecord;
        if (m_size + kRecord > m_buffer.size()) flush();
        if (++m_blockPoints == kCL3Block) startBlock();
    }

    void close() override {
        patchBlockHeader();
        std::fseek(m_file.get(), 0, SEEK_SET);
        putHeader();
        m_file.reset();
    }

private:
    void putHeader() {
        const Bytes header = cl3Header(m_blocks);
        put(m_file.get(), header.data(), header.size());
    }
    void putBlockHeader(std::uint32_t points) {
        std::uint8_t header[kBlockHeader] = {};
        std::memcpy(header, &points, sizeof points);
        put(m_file.get(), header, sizeof header);
    }
    void flush() {
        if (m_size) put(m_file.get(), m_buffer.data(), m_size);
        m_size = 0;
    }
    /// A last block without points gets one more empty header after it, as writers of such files do.
    void patchBlockHeader() {
        flush();
        if (m_blockPoints == 0) return putBlockHeader(0);
        const long end = std::ftell(m_file.get());
        std::fseek(m_file.get(), m_blockAt, SEEK_SET);
        putBlockHeader(m_blockPoints);
        std::fseek(m_file.get(), end, SEEK_SET);
    }
    BRISKO_OPAQUE void startBlock() {
        patchBlockHeader();
        m_blockAt = std::ftell(m_file.get());
        putBlockHeader(0);
        m_blockPoints = 0;
        ++m_blocks;
    }

    File m_file;
    Bytes m_buffer = Bytes(std::size_t{256} << 10);
    std::size_t m_size = 0;
    std::uint32_t m_blockPoints = 0, m_blocks = 1;
    long m_blockAt = kCL3Header;
};

class IndexedWriter : public GridWriter {
public:
    explicit IndexedWriter(const std::string& path)
        : m_band(path, path + ".ij", options().columns, options().rows) {}

    void write(double x, double y, double z, float i, std::uint8_t r, std::uint8_t g,
               std::uint8_t b, std::uint8_t /*a*/, std::uint32_t column,
               std::uint32_t row) override {
        m_band.add(Point{x, y, z, i, r, g, b}, column, row);
    }
    void close() override { m_band.close(); }

private:
    Band m_band;
};

class CLRWriter : public GridWriter {
public:
    explicit CLRWriter(const std::string& path)
        : m_file(openOrExit(path, "wb")),
          m_columns(options().columns),
          m_rows(options().rows),
          m_cells(std::size_t{kTile} * m_rows) {
        const Bytes header = clrHeader(m_columns, m_rows, 1, 1);
        put(m_file.get(), header.data(), header.size());
        std::fputc(0, m_file.get());
    }

    void write(double x, double y, double z, float i, std::uint8_t /*r*/, std::uint8_t /*g*/,
               std::uint8_t /*b*/, std::uint8_t /*a*/, std::uint32_t column,
               std::uint32_t row) override {
        if (column & 1) row = m_rows - row - 1;
        auto inBand = static_cast<std::int32_t>(column - kTile * m_band);
        while (inBand >= static_cast<std::int32_t>(kTile)) {
            emit(kTile);
            inBand -= static_cast<std::int32_t>(kTile);
        }
        if (inBand < 0 || row >= m_rows) return;
        m_cells[static_cast<std::size_t>(inBand) * m_rows + row] = {
            stored(x), stored(y), stored(z), 0,
            static_cast<std::int32_t>(static_cast<double>(i) + 0.5)};
    }

    void close() override {
        while ((m_band + 1) * kTile < m_columns)
            emit(kTile);
        emit(m_columns - kTile * m_band);
        m_file.reset();
    }

private:
    BRISKO_OPAQUE void emit(std::uint32_t columns) {
        put(m_file.get(), m_cells.data(), std::size_t{columns} * m_rows * sizeof(RawPoint));
        std::memset(m_cells.data(), 0, m_cells.size() * sizeof(RawPoint));
        ++m_band;
    }

    File m_file;
    std::uint32_t m_columns, m_rows, m_band = 0;
    std::vector<RawPoint> m_cells;
};

}  // namespace

BRISKO_OPAQUE std::unique_ptr<Writer> makeCL3Writer(const std::string& path) {
    return std::make_unique<CL3Writer>(path);
}

BRISKO_OPAQUE std::unique_ptr<GridWriter> makeIndexedWriter(const std::string& path) {
    return std::make_unique<IndexedWriter>(path);
}

BRISKO_OPAQUE std::unique_ptr<GridWriter> makeCLRWriter(const std::string& path) {
    return std::make_unique<CLRWriter>(path);
}

Band::Band(const std::string& path, const std::string& indexPath, std::uint32_t columns,
           std::uint32_t rows)
    : m_across(tilesAlong(columns)),
      m_down(tilesAlong(rows)),
      m_file(openOrExit(path, "wb")),
      m_index(openOrExit(indexPath, "wb")),
      m_cells(std::size_t{kTile} * m_down * kTile),
      m_live(m_cells.size()),
      m_tile(kBlockHeader + std::size_t{kTileCells} * kRecord),
      m_entries(3 + kTileCells) {
    std::setvbuf(m_file.get(), nullptr, _IONBF, 0);
    std::setvbuf(m_index.get(), nullptr, _IONBF, 0);
    const Bytes header = cl3Header(m_across * m_down), indexHeader = ijHeader(columns, rows);
    put(m_file.get(), header.data(), header.size());
    put(m_index.get(), indexHeader.data(), indexHeader.size());
}

void Band::emit() {
    for (std::uint32_t tile = 0; tile < m_down; ++tile) {
        std::uint8_t* out = m_tile.data() + kBlockHeader;
        std::uint32_t* entry = m_entries.data() + 3;
        std::uint32_t points = 0;
        for (std::uint32_t column = 0; column < kTile; ++column) {
            const std::size_t at = std::size_t{column} * m_down * kTile + tile * kTile;
            const Point* cell = &m_cells[at];
            std::uint8_t* const live = &m_live[at];
            for (std::uint32_t row = 0; row < kTile; ++row, ++cell) {
                // Copied always, kept only where the cell is live: no branch to guess.
                const std::uint32_t isLive = live[row];
                std::memcpy(out, cell, kRecord);
                out += isLive ? kRecord : 0;
                points += isLive;
                *entry++ = isLive ? points : 0;
            }
            std::memset(live, 0, kTile);
        }
        std::memcpy(m_tile.data(), &points, sizeof points);
        m_tile[4] = 0;
        m_entries[0] = m_band, m_entries[1] = tile, m_entries[2] = points;
        put(m_file.get(), m_tile.data(), kBlockHeader + std::size_t{points} * kRecord);
        put(m_index.get(), m_entries.data(), m_entries.size() * 4);
    }
    ++m_band;
}

}  // namespace brisko::limits
