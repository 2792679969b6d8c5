// Formats of other programs, read and written through the scan library; checking.

#include "job.h"
#include "synthetic/check_values.h"
#include "synthetic/point_feed.h"

#include <brisko_scan/check.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_reader.h>
#include <brisko_scan/scan_writer.h>

#include <vector>

namespace brisko::bench {

namespace {

constexpr std::size_t kBatch = 4096;

/// A function of its own, so that the sums stay in registers.
[[gnu::noinline]] PointSum added(PointSum sum, const std::vector<double>& positions,
                                 const std::vector<float>& intensities,
                                 const std::vector<std::uint8_t>& colours, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
        const double* const p = &positions[3 * k];
        const std::uint8_t* const c = &colours[3 * k];
        sum.add(p[0], p[1], p[2], intensities[k], c[0], c[1], c[2]);
    }
    return sum;
}

PointSum readAll(const std::string& path) {
    std::vector<double> positions(3 * kBatch);
    std::vector<float> intensities(kBatch);
    std::vector<std::uint8_t> colours(3 * kBatch);
    PointArrays arrays;
    arrays.positions = positions.data();
    arrays.intensities = intensities.data();
    arrays.colours = colours.data();
    scan::ReadOptions options;
    options.frame = Frame::Scanner;
    scan::ScanReader reader = scan::ScanReader::open(path, options);
    PointSum sum;
    while (const std::size_t count = reader.read(arrays, kBatch))
        sum = added(sum, positions, intensities, colours, count);
    return sum;
}

/// The file is made from the indexed scan before the clock starts.
void read(benchmark::State& state, const std::string& extension) {
    const std::string path = outputPath("library" + extension);
    scan::ConvertOptions options;
    options.input = inputPath("grid.cl3");
    options.output = path;
    options.overwrite = true;
    const std::uint64_t written = scan::convertScan(options).points;
    const JobMemory memory;
    PointSum sum;
    for (auto _ : state)
        sum = readAll(path);
    if (sum.points != written) state.SkipWithError("not all points came back");
    report(state, memory, static_cast<double>(sum.points), sum.value());
    removeFiles({path});
}

/// What the batches of other languages are held against.
void readIndexed(benchmark::State& state) {
    const JobMemory memory;
    PointSum sum;
    for (auto _ : state)
        sum = readAll(inputPath("grid.cl3"));
    report(state, memory, static_cast<double>(sum.points), sum.value());
}

void checkIndexed(benchmark::State& state) {
    const JobMemory memory;
    std::uint64_t points = 0, findings = 0;
    for (auto _ : state) {
        const scan::ScanCheck check = scan::checkScan(inputPath("grid.cl3"), 1);
        points = check.points;
        findings = check.findings.count();
    }
    if (findings > 0) state.SkipWithError("the scan is damaged");
    report(state, memory, static_cast<double>(points), static_cast<double>(points));
}

scan::ScanInfo gridInfo() {
    scan::ScanInfo info;
    info.columns = gridColumns();
    info.rows = gridRows();
    info.hasGrid = true;
    info.storesColour = true;
    return info;
}

void write(benchmark::State& state, const std::string& extension) {
    const std::string path = outputPath("library" + extension);
    const std::uint32_t rows = gridRows();
    PointFeed feed(gridColumns(), rows);
    std::vector<CellPoint> cells;
    const JobMemory memory;
    std::uint64_t points = 0;
    for (auto _ : state) {
        state.PauseTiming();
        scan::WriteOptions options;
        options.overwrite = true;
        scan::ScanWriter writer = scan::ScanWriter::create(path, gridInfo(), options);
        feed.run([&] {},
                 [&](const Point* p, std::size_t count, std::uint32_t column, std::uint32_t row) {
                     cells.clear();
                     for (const Point* const end = p + count; p != end; ++p) {
                         CellPoint cell;
                         cell.x = p->x, cell.y = p->y, cell.z = p->z;
                         cell.intensity = p->intensity;
                         cell.red = p->red, cell.green = p->green, cell.blue = p->blue;
                         cell.column = column, cell.row = row;
                         cells.push_back(cell);
                         if (++row == rows) row = 0, ++column;
                     }
                     state.ResumeTiming();
                     writer.write(cells.data(), cells.size());
                     state.PauseTiming();
                 },
                 [&] {});
        state.ResumeTiming();
        points = writer.commit();
    }
    report(state, memory, static_cast<double>(points), checkFile(path, 0));
    removeFiles({path});
}

}  // namespace

void addJobs() {
    addJob("scan-batch", readIndexed);
    addJob("check", checkIndexed);
    for (const char* format : {"e57", "las", "pcd"}) {
        addJob((std::string(format) + "-in").c_str(), read, "." + std::string(format));
        addJob((std::string(format) + "-out").c_str(), write, "." + std::string(format));
    }
}

}  // namespace brisko::bench
