#include "limits/readers.h"

namespace brisko::limits {

namespace {

class CL3Reader : public Reader {
public:
    explicit CL3Reader(const std::string& path)
        : m_file(openOrExit(path, "rb")), m_matrix(alignment()) {}

    bool first(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
               std::uint8_t& b, std::uint8_t& a) override {
        m_blocks = cl3Blocks(m_file.get());
        return CL3Reader::next(x, y, z, i, r, g, b, a);
    }

    bool next(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
              std::uint8_t& b, std::uint8_t& a) override {
        const std::uint8_t* const in = m_record;
        if (in == m_end) [[unlikely]]
            return nextRarely(x, y, z, i, r, g, b, a);
        const auto px = load<double>(in), py = load<double>(in + 8), pz = load<double>(in + 16);
        const auto intensity = load<float>(in + 24);
        if (!(intensity > 0) && px == 0 && py == 0 && pz == 0) [[unlikely]]
            return nextRarely(x, y, z, i, r, g, b, a);
        m_record = in + kRecord;
        const double* const m = m_matrix.m;
        const double w = m[12] * px + m[13] * py + m[14] * pz + m[15];
        x = (m[0] * px + m[1] * py + m[2] * pz + m[3]) / w;
        y = (m[4] * px + m[5] * py + m[6] * pz + m[7]) / w;
        z = (m[8] * px + m[9] * py + m[10] * pz + m[11]) / w;
        i = intensity;
        r = in[28], g = in[29], b = in[30];
        a = 255;
        return true;
    }

private:
    BRISKO_OPAQUE bool readOn() {
        while (!m_left) {
            if (!m_blocks) return false;
            --m_blocks;
            m_left = blockPoints(m_file.get());
        }
        const std::uint32_t count = std::min(m_left, kBatch);
        get(m_file.get(), m_batch.data(), std::size_t{count} * kRecord);
        m_left -= count;
        m_record = m_batch.data();
        m_end = m_record + std::size_t{count} * kRecord;
        return true;
    }

    /// The next batch, or a record without a point. Left by a tail call, so that the usual way
    /// saves no registers.
    BRISKO_OPAQUE bool nextRarely(double& x, double& y, double& z, float& i, std::uint8_t& r,
                                  std::uint8_t& g, std::uint8_t& b, std::uint8_t& a) {
        for (;;) {
            if (m_record == m_end && !readOn()) {
                x = y = z = 0, i = 0, r = g = b = 0, a = 255;
                return false;
            }
            if (decodeRecord(m_record, x, y, z, i, r, g, b)) {
                return CL3Reader::next(x, y, z, i, r, g, b, a);
            }
            m_record += kRecord;
        }
    }

    static constexpr std::uint32_t kBatch = 65536;
    File m_file;
    Bytes m_batch = Bytes(kBatch * kRecord);
    const std::uint8_t *m_record = nullptr, *m_end = nullptr;
    std::uint32_t m_blocks = 0, m_left = 0;
    Matrix m_matrix;
};

}  // namespace

BRISKO_OPAQUE std::unique_ptr<Reader> makeCL3Reader(const std::string& path) {
    return std::make_unique<CL3Reader>(path);
}

BRISKO_OPAQUE std::unique_ptr<GridReader> makeIndexedReader(const std::string& path) {
    return std::make_unique<IndexedReader>(path, alignment());
}

BRISKO_OPAQUE std::unique_ptr<GridReader> makeCLRReader(const std::string& path) {
    return std::make_unique<CLRReader>(path);
}

IndexedReader::IndexedReader(const std::string& path, const Matrix& matrix)
    : m_file(openOrExit(path, "rb")),
      m_index(openOrExit(path.substr(0, path.rfind('.')) + ".ij", "rb")),
      m_matrix(matrix) {
    cl3Blocks(m_file.get());
    std::uint8_t header[kIJHeader];
    get(m_index.get(), header, sizeof header);
    m_columns = load<std::uint32_t>(header + 36);
    m_rows = load<std::uint32_t>(header + 40);
}

bool IndexedReader::readTile() {
    const std::uint32_t across = tilesAlong(m_columns), down = tilesAlong(m_rows);
    for (;;) {
        if (m_started && ++m_tileRow == down) m_tileRow = 0, ++m_tileColumn;
        m_started = true;
        if (m_tileColumn >= across) return false;
        m_left = blockPoints(m_file.get());
        get(m_file.get(), m_records.data(), std::size_t{m_left} * kRecord);
        std::uint8_t tileHeader[12];
        get(m_index.get(), tileHeader, sizeof tileHeader);
        get(m_index.get(), m_entries.data(), std::size_t{kTileCells} * 4);
        m_record = m_records.data();
        m_cell = 0;
        if (m_left) return true;
    }
}

bool IndexedReader::next(double& x, double& y, double& z, float& i, std::uint8_t& r,
                         std::uint8_t& g, std::uint8_t& b, std::uint8_t& a, unsigned& column,
                         unsigned& row) {
    double px, py, pz;
    float intensity;
    std::uint8_t red, green, blue;
    unsigned c, w;
    a = 255;
    if (!take(px, py, pz, intensity, red, green, blue, c, w)) return false;
    x = px, y = py, z = pz, i = intensity, r = red, g = green, b = blue, column = c, row = w;
    return true;
}

CLRReader::CLRReader(const std::string& path) : m_matrix(identity()) {
    m_files.push_back(openOrExit(path, "rb"));
    std::uint8_t header[kCLRHeader + 1];
    get(m_files[0].get(), header, sizeof header);
    m_columns = load<std::uint32_t>(header + 104);
    m_rows = load<std::uint32_t>(header + 108);
    m_format = header[112];
    m_blocks = load<std::uint32_t>(header + 116);
    if (m_format == 2) {
        m_points.resize(m_rows);
        m_packed.resize(5008);
    } else {
        m_points.resize(std::size_t{kBatch} * m_blocks);
    }
    for (std::uint32_t block = 1; block < m_blocks; ++block) {
        m_files.push_back(openOrExit(path, "rb"));
        const long blockSize =
            1 + static_cast<long>(sizeof(RawPoint)) * static_cast<long>(m_columns) * m_rows;
        std::fseek(m_files.back().get(), static_cast<long>(kCLRHeader) + block * blockSize + 1,
                   SEEK_SET);
    }
}

void CLRReader::readLine() {
    for (std::uint32_t row = 0; row < m_rows; row += kChunk) {
        std::uint32_t length = 0;
        get(m_files[0].get(), &length, sizeof length);
        get(m_files[0].get(), m_packed.data(), std::min(length, std::uint32_t{5000}));
        decodeChunk(m_packed.data(), std::min(kChunk, m_rows - row), &m_points[row]);
    }
}

bool CLRReader::readOn() {
    const std::uint64_t all = std::uint64_t{m_columns} * m_rows;
    if (m_cellsRead >= all) return false;
    if (m_format == 2) {
        readLine();
        m_have = m_rows;
    } else {
        m_have = static_cast<std::uint32_t>(std::min<std::uint64_t>(kBatch, all - m_cellsRead));
        for (std::uint32_t block = 0; block < m_blocks; ++block) {
            get(m_files[block].get(), &m_points[std::size_t{block} * kBatch],
                m_have * sizeof(RawPoint));
        }
        if (m_blocks > 1) mergeBlocks();
    }
    m_cellsRead += m_have;
    m_at = 0;
    return true;
}

namespace {

double rangeOf(const RawPoint& p) {
    const double x = p.x / 10000.0, y = p.y / 10000.0, z = p.z / 10000.0;
    return std::sqrt(x * x + y * y + z * z);
}

/// Whether a return takes the place of the one that was kept so far: both in metres. Returns within
/// 1 cm of one another go by the interval from 0 to 200 m, then by closeness to its middle.
bool takesOver(double kept, double found) {
    constexpr double kTolerance = 0.01, kFarthest = 200.0, kMiddle = 100.0;
    const double farther = found - kept;
    if (farther > kTolerance) return true;
    if (farther <= -kTolerance) return false;
    const bool keptInside = kept <= kFarthest, foundInside = found <= kFarthest;
    if (keptInside && !foundInside) return false;
    return keptInside != foundInside || std::fabs(kept - kMiddle) > std::fabs(found - kMiddle);
}

}  // namespace

void CLRReader::mergeBlocks() {
    for (std::uint32_t k = 0; k < m_have; ++k) {
        RawPoint best{};
        double kept = 0;
        for (std::uint32_t block = 0; block < m_blocks; ++block) {
            const RawPoint& p = m_points[std::size_t{block} * kBatch + k];
            if (p.intensity <= 0) continue;
            const double found = rangeOf(p);
            if (best.intensity > 0 && !takesOver(kept, found)) continue;
            best = p;
            kept = found;
        }
        m_points[k] = best;
    }
}

bool CLRReader::next(double& x, double& y, double& z, float& i, std::uint8_t& r, std::uint8_t& g,
                     std::uint8_t& b, std::uint8_t& a, unsigned& column, unsigned& row) {
    double px, py, pz;
    float intensity;
    unsigned c, w;
    a = 255, r = g = b = 0;
    if (!take(px, py, pz, intensity, c, w)) return false;
    x = px, y = py, z = pz, i = intensity, column = c, row = w;
    return true;
}

RawPoint* CLRReader::takeLine() {
    if (m_column == m_columns) return nullptr;
    ++m_column;
    m_points.resize(std::max<std::size_t>(m_points.size(), m_rows));
    if (m_format == 2) {
        readLine();
    } else {
        get(m_files[0].get(), m_points.data(), m_rows * sizeof(RawPoint));
    }
    return m_points.data();
}

}  // namespace brisko::limits
