// Cells of an indexed scan: single ones all over its grid, and all of them window by window.

#include "job.h"
#include "synthetic/check_values.h"

#include <vector>

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

/// Arrays for a window that is a part of a tile, in the order of the file.
class Window {
public:
    static constexpr std::uint32_t kColumns = 16, kRows = 256, kCells = kColumns * kRows;

    Window() {
        m_arrays.positions = {m_positions.data(), kRows * 3 * sizeof(double), 3 * sizeof(double)};
        m_arrays.intensities = {m_intensities.data(), kRows * sizeof(float), sizeof(float)};
        m_arrays.colours = {m_colours.data(), kRows * 3, 3};
        m_arrays.present = {m_present.data(), kRows, 1};
    }

    const CellArrays& arrays() const { return m_arrays; }

    [[gnu::noinline]] PointSum addedTo(PointSum sum, std::uint32_t column,
                                       std::uint32_t row) const {
        for (std::uint32_t i = 0; i < kCells; ++i) {
            if (m_present[i] == 0) continue;
            const double* const p = &m_positions[std::size_t{3} * i];
            const std::uint8_t* const c = &m_colours[std::size_t{3} * i];
            sum.add(p[0], p[1], p[2], m_intensities[i], c[0], c[1], c[2]);
            sum.addCell(column + i / kRows, row + i % kRows);
        }
        return sum;
    }

private:
    std::vector<double> m_positions = std::vector<double>(3 * kCells);
    std::vector<float> m_intensities = std::vector<float>(kCells);
    std::vector<std::uint8_t> m_colours = std::vector<std::uint8_t>(3 * kCells);
    std::vector<std::uint8_t> m_present = std::vector<std::uint8_t>(kCells);
    CellArrays m_arrays;
};

/// All cells, tile by tile, so that the points come in the order of the file.
void readWindows(benchmark::State& state) {
    constexpr std::uint32_t kTile = 256;
    const JobMemory memory;
    PointSum sum;
    for (auto _ : state) {
        Window window;
        CL3CellReader reader;
        if (!reader.open(inputPath("grid.cl3").c_str())) state.SkipWithError("it does not open");
        for (std::uint32_t tile = 0; tile < gridColumns(); tile += kTile) {
            for (std::uint32_t row = 0; row < gridRows(); row += Window::kRows) {
                for (std::uint32_t c = tile; c < tile + kTile; c += Window::kColumns) {
                    reader.readWindow({c, c + Window::kColumns, row, row + Window::kRows},
                                      window.arrays());
                    sum = window.addedTo(sum, c, row);
                }
            }
        }
    }
    report(state, memory, static_cast<double>(sum.points), sum.value());
}

}  // namespace

void addJobs() {
    addJob("cells", readCells);
    addJob("windows", readWindows);
}

}  // namespace brisko::bench
