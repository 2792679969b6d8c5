#include "apps/damaged_scan.h"

#include <gtest/gtest.h>
#include <tiffio.h>
#include <cmath>

/// TIFF files of grids, read back by the library of the format.
namespace brisko::scan {
namespace {

using namespace brisko::test;

using TiffFile = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

/// A band, cell by cell: rows of the picture are rows of the grid.
std::vector<float> readBand(TIFF* file, std::uint32_t columns, std::uint32_t rows,
                            std::uint16_t band) {
    std::vector<float> cells(std::size_t{columns} * rows), tile(256 * 256);
    for (std::uint32_t column = 0; column < columns; column += 256) {
        for (std::uint32_t row = 0; row < rows; row += 256) {
            EXPECT_GT(TIFFReadTile(file, tile.data(), column, row, 0, band), 0);
            for (std::uint32_t r = row; r < std::min(rows, row + 256); ++r) {
                const std::uint32_t width = std::min(256U, columns - column);
                std::copy_n(&tile[(r - row) * 256], width, &cells[r * columns + column]);
            }
        }
    }
    return cells;
}

TEST(Tiff, HoldsEachCellOfTheGridAndNothingWhereNothingReturned) {
    constexpr std::uint32_t kColumns = 300, kRows = 270;
    const TempFolder folder;
    writeTiledScan(folder, "a");
    convert(folder / "a.cl3", folder / "a.tif");
    const TiffFile file(TIFFOpen((folder / "a.tif").c_str(), "r"), TIFFClose);
    ASSERT_TRUE(file);
    std::array<std::vector<float>, 8> bands;
    for (std::uint16_t band = 0; band < bands.size(); ++band)
        bands[band] = readBand(file.get(), kColumns, kRows, band);

    std::vector<bool> isFull(bands[0].size());
    const std::unique_ptr<ScanInput> scan = openScan(folder / "a.cl3");
    std::vector<CellPoint> points;
    for (scan->read(points); !points.empty(); scan->read(points)) {
        for (const CellPoint& p : points) {
            const std::size_t cell = std::size_t{p.row} * kColumns + p.column;
            const std::array<double, 8> wanted = {std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z),
                                                  static_cast<double>(p.intensity),
                                                  p.x,
                                                  p.y,
                                                  p.z,
                                                  static_cast<double>(p.red),
                                                  static_cast<double>(p.green),
                                                  static_cast<double>(p.blue)};
            isFull[cell] = true;
            for (std::size_t band = 0; band < bands.size(); ++band)
                ASSERT_EQ(bands[band][cell], static_cast<float>(wanted[band])) << band;
        }
    }
    for (std::size_t cell = 0; cell < isFull.size(); ++cell) {
        for (const auto& band : bands)
            ASSERT_EQ(std::isnan(band[cell]), !isFull[cell]) << cell;
    }
}

}  // namespace
}  // namespace brisko::scan
