#include "limits/modes.h"
#include "limits/readers.h"
#include "synthetic/check_values.h"

#include <fcntl.h>
#include <unistd.h>

namespace brisko::limits {

namespace {

using bench::PointSum;

double cells() {
    return static_cast<double>(options().columns) * options().rows;
}

double pointsOfIndexed() {
    const std::uint64_t records = fileSize(inputPath("grid.cl3")) - kCL3Header;
    return static_cast<double>(records) / static_cast<double>(kRecord);
}

double cellsOf(const std::string& file) {
    return file == "raw5.clr" ? static_cast<double>(options().columns / 4) * options().rows
                              : cells();
}

/// Every point of a reader with a grid, through its virtual call.
double sumOf(GridReader& reader) {
    PointSum sum;
    double x, y, z;
    float i;
    std::uint8_t r, g, b, a;
    unsigned column, row;
    while (reader.next(x, y, z, i, r, g, b, a, column, row)) {
        sum.add(x, y, z, i, r, g, b);
        sum.addCell(column, row);
    }
    return sum.value();
}

}  // namespace

void readCL3() {
    constexpr std::uint32_t kBatch = 65536;
    Bytes batch(kBatch * kRecord);
    measure("cl3-inline", cells(), [&](Watch& watch) {
        watch.start();
        PointSum sum;
        const Matrix matrix = alignment();
        const File file = openOrExit(inputPath("scan.cl3"), "rb");
        for (std::uint32_t blocks = cl3Blocks(file.get()); blocks > 0; --blocks) {
            std::uint32_t left = blockPoints(file.get());
            while (left) {
                const std::uint32_t count = std::min(left, kBatch);
                get(file.get(), batch.data(), std::size_t{count} * kRecord);
                const std::uint8_t* record = batch.data();
                for (std::uint32_t k = 0; k < count; ++k, record += kRecord) {
                    double x, y, z;
                    float i;
                    std::uint8_t r, g, b;
                    if (!decodeRecord(record, x, y, z, i, r, g, b)) continue;
                    project(matrix.m, x, y, z);
                    sum.add(x, y, z, i, r, g, b);
                }
                left -= count;
            }
        }
        watch.stop();
        return sum.value();
    });
}

void readCL3Virtual() {
    measure("cl3-virtual", cells(), [](Watch& watch) {
        watch.start();
        const auto reader = makeCL3Reader(inputPath("scan.cl3"));
        PointSum sum;
        double x, y, z;
        float i;
        std::uint8_t r, g, b, a;
        for (bool more = reader->first(x, y, z, i, r, g, b, a); more;
             more = reader->next(x, y, z, i, r, g, b, a)) {
            sum.add(x, y, z, i, r, g, b);
        }
        watch.stop();
        return sum.value();
    });
}

namespace {

/// Every point of the indexed scan that is wanted.
template <class Wanted>
void sumIndexed(const char* name, const Wanted& isWanted) {
    measure(name, pointsOfIndexed(), [&isWanted](Watch& watch) {
        watch.start();
        IndexedReader reader(inputPath("grid.cl3"), alignment());
        PointSum sum;
        double x, y, z;
        float i;
        std::uint8_t r, g, b;
        unsigned column, row;
        while (reader.take(x, y, z, i, r, g, b, column, row)) {
            if (!isWanted(x, y, z)) continue;
            sum.add(x, y, z, i, r, g, b);
            sum.addCell(column, row);
        }
        watch.stop();
        return sum.value();
    });
}

}  // namespace

void readIndexed() {
    sumIndexed("grid-inline", [](double, double, double) { return true; });
}

void readIndexedNear() {
    sumIndexed("near-inline", [](double x, double y, double z) {
        return x * x + y * y + z * z <= bench::kNear * bench::kNear;
    });
}

void readIndexedVirtual() {
    measure("grid-virtual", pointsOfIndexed(), [](Watch& watch) {
        watch.start();
        const double sum = sumOf(*makeIndexedReader(inputPath("grid.cl3")));
        watch.stop();
        return sum;
    });
}

void readCLR(const std::string& file) {
    measure(file + "-inline", cellsOf(file), [&](Watch& watch) {
        watch.start();
        CLRReader reader(inputPath(file));
        PointSum sum;
        double x, y, z;
        float i;
        unsigned column, row;
        while (reader.take(x, y, z, i, column, row)) {
            sum.add(x, y, z, i, 0, 0, 0);
            sum.addCell(column, row);
        }
        watch.stop();
        return sum.value();
    });
}

void readCLRVirtual(const std::string& file) {
    measure(file + "-virtual", cellsOf(file), [&](Watch& watch) {
        watch.start();
        const double sum = sumOf(*makeCLRReader(inputPath(file)));
        watch.stop();
        return sum;
    });
}

namespace {

/// Where the tiles of the indexed scan begin; found before the clock runs.
std::vector<long> tileOffsets(std::FILE* file) {
    std::vector<long> offsets;
    long at = kCL3Header;
    for (std::uint32_t blocks = cl3Blocks(file); blocks > 0; --blocks) {
        std::fseek(file, at, SEEK_SET);
        offsets.push_back(at + static_cast<long>(kBlockHeader));
        at = offsets.back() + static_cast<long>(blockPoints(file)) * static_cast<long>(kRecord);
    }
    return offsets;
}

}  // namespace

void readCells() {
    constexpr std::uint64_t kReads = 400'000, kStride = 1'234'577;
    const std::string path = inputPath("grid.cl3");
    const auto offsets = tileOffsets(openOrExit(path, "rb").get());
    const std::uint32_t rows = options().rows, down = tilesAlong(rows);
    const std::uint64_t all = std::uint64_t{options().columns} * rows;
    measure("cells", static_cast<double>(kReads), [&](Watch& watch) {
        const int file = open(path.c_str(), O_RDONLY);
        const int index = open(inputPath("grid.ij").c_str(), O_RDONLY);
        PointSum sum;
        std::uint64_t cell = 0;
        watch.start();
        for (std::uint64_t k = 0; k < kReads; ++k) {
            cell = (cell + kStride) % all;
            const auto column = static_cast<std::uint32_t>(cell / rows);
            const auto row = static_cast<std::uint32_t>(cell % rows);
            const std::size_t tile = std::size_t{column / kTile} * down + row / kTile;
            const std::size_t inTile = column % kTile * std::size_t{kTile} + row % kTile;
            std::uint32_t entry = 0;
            const auto entryAt = kIJHeader + tile * (12 + 4 * kTileCells) + 12 + 4 * inTile;
            if (pread(index, &entry, 4, static_cast<off_t>(entryAt)) != 4 || !entry) continue;
            std::uint8_t record[kRecord];
            const long at = offsets[tile] + static_cast<long>((entry - 1) * kRecord);
            if (pread(file, record, kRecord, at) != static_cast<ssize_t>(kRecord)) continue;
            double x, y, z;
            float i;
            std::uint8_t r, g, b;
            decodeRecord(record, x, y, z, i, r, g, b);
            project(alignment().m, x, y, z);
            sum.add(x, y, z, i, r, g, b);
            sum.addCell(column, row);
        }
        watch.stop();
        close(index);
        close(file);
        return sum.value();
    });
}

}  // namespace brisko::limits
