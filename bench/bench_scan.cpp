#include "bench_scan.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace brisko::bench {

BenchGrid benchGrid() {
    const char* const columns = std::getenv("BRISKO_BENCH_COLUMNS");
    const unsigned long count = columns ? std::strtoul(columns, nullptr, 10) : 800;
    return {static_cast<std::uint32_t>(count > 0 ? count : 800), 2500};
}

BenchPoint benchPoint(std::uint32_t column, std::uint32_t row) {
    const std::uint32_t mixed = (column * 2654435761U) ^ (row * 40503U);
    const double range = 5.0 + 0.001 * (mixed >> 20);
    const double across = 0.00157 * column - 3.0, up = 0.001 * row - 1.2;
    return {.x = range * (1 - across * across / 8),
            .y = range * across,
            .z = range * up,
            .intensity = static_cast<float>(1 + (mixed >> 8 & 2047)),
            .red = static_cast<std::uint8_t>(mixed),
            .green = static_cast<std::uint8_t>(mixed >> 8),
            .blue = static_cast<std::uint8_t>(mixed >> 16),
            .present = (mixed >> 4) % 9 != 0};
}

CL3FileHeader benchHeader() {
    CL3FileHeader header;
    header.SetStopAzimuthAngle(360.0F);
    header.SetStopZenithAngle(150.0F);
    header.SetDeltaAzimuthAngle(360.0F / static_cast<float>(benchGrid().columns));
    header.SetDeltaZenithAngle(150.0F / static_cast<float>(benchGrid().rows));
    return header;
}

namespace {

/// A rotation about z, so that the readers have an alignment to apply.
const double kMatrix[16] = {0.955336489125606,
                            -0.295520206661340,
                            0,
                            12.5,
                            0.295520206661340,
                            0.955336489125606,
                            0,
                            -3.25,
                            0,
                            0,
                            1,
                            0.75,
                            0,
                            0,
                            0,
                            1};

class Folder {
public:
    Folder() {
        std::string name =
            (std::filesystem::temp_directory_path() / "brisko-bench-XXXXXX").string();
        if (!mkdtemp(name.data())) std::abort();
        m_path = name;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    std::string operator/(const std::string& name) const { return (m_path / name).string(); }

private:
    std::filesystem::path m_path;
};

const Folder& folder() {
    static const Folder folder;
    return folder;
}

template <class Write>
void forEachPoint(const Write& write) {
    const BenchGrid grid = benchGrid();
    for (std::uint32_t column = 0; column < grid.columns; ++column) {
        for (std::uint32_t row = 0; row < grid.rows; ++row) {
            const BenchPoint p = benchPoint(column, row);
            if (p.present) write(p, column, row);
        }
    }
}

template <class GridWriter>
void writeGridScan(const std::string& path) {
    GridWriter writer;
    CL3FileHeader header = benchHeader();
    writer.Open(path.c_str(), &header);
    double matrix[16];
    std::copy(std::begin(kMatrix), std::end(kMatrix), matrix);
    writer.SetMatrixTransform(matrix);
    forEachPoint([&](const BenchPoint& p, std::uint32_t column, std::uint32_t row) {
        writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255, column, row);
    });
    writer.Close();
    if (writer.HasWriteError()) std::abort();
}

BenchScans makeScans() {
    const BenchScans scans{folder() / "scan.cl3", folder() / "grid.cl3", folder() / "raw.clr"};
    CL3WriterCodec writer;
    CL3FileHeader header = benchHeader();
    writer.Open(scans.plain.c_str(), &header);
    forEachPoint([&](const BenchPoint& p, std::uint32_t, std::uint32_t) {
        writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255);
    });
    writer.Close();
    if (writer.HasWriteError()) std::abort();
    if (!writeAlignmentFile((folder() / "scan.alg").c_str(), kMatrix, {})) std::abort();
    writeGridScan<CL3IJWriterGridCodec>(scans.indexed);
    writeGridScan<CLRWriterGridCodec>(scans.raw);
    return scans;
}

}  // namespace

const BenchScans& benchScans() {
    static const BenchScans scans = makeScans();
    return scans;
}

std::string benchOutput(const std::string& name) {
    return folder() / name;
}

}  // namespace brisko::bench
