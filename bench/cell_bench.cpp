// Single cells of an indexed scan, all over its grid.

#include "job.h"
#include "synthetic/check_values.h"

namespace brisko::bench {

namespace {

void readCells(benchmark::State& state) {
    constexpr std::uint64_t kReads = 400'000, kStride = 1'234'577;
    const std::uint32_t rows = gridRows();
    const std::uint64_t all = std::uint64_t{gridColumns()} * rows;
    CL3CellReader reader;
    CellPoint point;
    if (!reader.open(inputPath("grid.cl3").c_str())) state.SkipWithError("the scan does not open");
    // The way to the last cell leads past all tiles: warm from here on.
    reader.readCell(gridColumns() - 1, rows - 1, point);
    const JobMemory memory;
    PointSum sum;
    for (auto _ : state) {
        std::uint64_t cell = 0;
        for (std::uint64_t k = 0; k < kReads; ++k) {
            cell = (cell + kStride) % all;
            const auto column = static_cast<std::uint32_t>(cell / rows);
            const auto row = static_cast<std::uint32_t>(cell % rows);
            if (reader.readCell(column, row, point) != CellState::Point) continue;
            sum.add(point.x, point.y, point.z, point.intensity, point.red, point.green, point.blue);
            sum.addCell(point.column, point.row);
        }
    }
    report(state, memory, static_cast<double>(kReads), sum.value());
}

}  // namespace

void addJobs() {
    addJob("cells", readCells);
}

}  // namespace brisko::bench
