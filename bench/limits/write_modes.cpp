#include "limits/modes.h"
#include "limits/readers.h"
#include "limits/writers.h"
#include "synthetic/check_values.h"
#include "synthetic/point_feed.h"

#include <cmath>

/// Modes that write. What was there is removed before a run, and what it wrote after it.
namespace brisko::limits {

namespace {

using bench::checkFile;
using bench::PointFeed;

void writeGrid(const std::string& mode, std::unique_ptr<GridWriter> (*make)(const std::string&),
               std::size_t headerSize) {
    PointFeed feed(options().columns, options().rows);
    const std::string path = outputPath("reference.out"), index = path + ".ij";
    measure(mode, static_cast<double>(feed.cells()), [&](Watch& watch) {
        removeFiles({path, index});
        watch.start();
        const auto writer = make(path);
        watch.stop();
        feed.run([&] { watch.start(); },
                 [&](const Point* p, std::size_t count, std::uint32_t column, std::uint32_t row) {
                     for (const Point* const end = p + count; p != end; ++p) {
                         writer->write(p->x, p->y, p->z, p->intensity, p->red, p->green, p->blue,
                                       255, column, row);
                         if (++row == options().rows) row = 0, ++column;
                     }
                 },
                 [&] { watch.stop(); });
        watch.start();
        writer->close();
        watch.stop();
        const double check = checkFile(path, headerSize) + checkFile(index, kIJHeader);
        removeFiles({path, index});
        return check;
    });
}

/// Moves the points of a reader into a band.
template <class Take>
double convert(Watch& watch, std::uint32_t columns, std::uint32_t rows, const Take& take) {
    const std::string path = outputPath("reference.cl3"), index = outputPath("reference.ij");
    Band band(path, index, columns, rows);
    Point p{};
    unsigned column, row;
    while (take(p, column, row))
        band.add(p, column, row);
    band.close();
    watch.stop();
    const double check = checkFile(path, kCL3Header) + checkFile(index, kIJHeader);
    removeFiles({path, index});
    return check;
}

}  // namespace

void writeCL3() {
    PointFeed feed(options().columns, options().rows);
    const std::string path = outputPath("reference.out");
    measure("w-cl3-virtual", static_cast<double>(feed.cells()), [&](Watch& watch) {
        removeFiles({path});
        watch.start();
        const auto writer = makeCL3Writer(path);
        watch.stop();
        feed.run([&] { watch.start(); },
                 [&](const Point* p, std::size_t count, std::uint32_t, std::uint32_t) {
                     for (const Point* const end = p + count; p != end; ++p) {
                         writer->write(p->x, p->y, p->z, p->intensity, p->red, p->green, p->blue,
                                       255);
                     }
                 },
                 [&] { watch.stop(); });
        watch.start();
        writer->close();
        watch.stop();
        const double check = checkFile(path, kCL3Header);
        removeFiles({path});
        return check;
    });
}

void writeIndexed() {
    writeGrid("w-grid-virtual", makeIndexedWriter, kCL3Header);
}

void writeCLR() {
    writeGrid("w-clr-virtual", makeCLRWriter, kCLRHeader);
}

void convertCLR(const std::string& file) {
    const std::uint32_t columns = file == "raw5.clr" ? options().columns / 4 : options().columns;
    measure("conv-" + file, static_cast<double>(columns) * options().rows, [&](Watch& watch) {
        watch.start();
        CLRReader reader(inputPath(file));
        return convert(watch, reader.columns(), reader.rows(),
                       [&](Point& p, unsigned& column, unsigned& row) {
                           return reader.take(p.x, p.y, p.z, p.intensity, column, row);
                       });
    });
}

void convertIndexed() {
    measure("conv-grid", static_cast<double>(options().columns) * options().rows, [](Watch& watch) {
        watch.start();
        IndexedReader reader(inputPath("grid.cl3"), identity());
        return convert(
            watch, reader.columns(), reader.rows(), [&](Point& p, unsigned& column, unsigned& row) {
                return reader.take(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, column, row);
            });
    });
}

namespace {

enum class Direction { Unknown, Rising, Falling };

double elevationOf(const RawPoint& p) {
    const double x = p.x, y = p.y;
    return std::atan2(static_cast<double>(p.z), std::sqrt(x * x + y * y));
}

Direction directionOf(const RawPoint* line, std::uint32_t rows) {
    std::uint32_t first = 0, last = rows - 1;
    while (first < rows && line[first].intensity < 1)
        ++first;
    while (last > first && line[last].intensity < 1)
        --last;
    if (last <= first) return Direction::Unknown;
    return elevationOf(line[last]) > elevationOf(line[first]) ? Direction::Rising
                                                              : Direction::Falling;
}

}  // namespace

void sortLines(const std::string& file) {
    const std::string path = outputPath("reference.clr");
    measure("sort-" + file, static_cast<double>(options().columns) * options().rows,
            [&](Watch& watch) {
                watch.start();
                CLRReader reader(inputPath(file));
                File output = openOrExit(path, "wb");
                const std::uint32_t rows = reader.rows();
                const Bytes header =
                    clrHeader(reader.columns(), rows, reader.format(), reader.blocks());
                put(output.get(), header.data(), header.size());
                std::fputc(0, output.get());
                for (std::uint32_t column = 0; RawPoint* line = reader.takeLine(); ++column) {
                    const Direction direction = directionOf(line, rows);
                    const Direction wrong = column & 1 ? Direction::Rising : Direction::Falling;
                    if (direction == wrong) std::reverse(line, line + rows);
                    put(output.get(), line, rows * sizeof(RawPoint));
                }
                output.reset();
                watch.stop();
                const double check = checkFile(path, kCLRHeader);
                removeFiles({path});
                return check;
            });
}

}  // namespace brisko::limits
