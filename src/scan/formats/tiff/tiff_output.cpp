#include "base/file.h"
#include "scan/formats/e57/xml_writer.h"
#include "scan/formats/scan_output.h"
#include "scan/formats/tiff/tiff_tiles.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

using tiff::kTileSize;

constexpr const char* kBandNames[] = {"range", "intensity", "x", "y", "z", "red", "green", "blue"};
constexpr std::uint32_t kBandsWithoutColour = 5;

std::string item(const std::string& attributes, const std::string& value) {
    return "<Item " + attributes + ">" + e57::XmlWriter::asItStands(value) + "</Item>\n";
}

std::string matrixText(const Matrix& matrix) {
    std::string text;
    for (const double value : matrix)
        text += (text.empty() ? "" : " ") + e57::XmlWriter::digits(value);
    return text;
}

/// Names of the bands and what belongs to the whole scan, as GDAL keeps such things.
std::string metadata(const OutputTarget& target, std::uint32_t bands) {
    std::string text = "<GDALMetadata>\n";
    for (std::uint32_t band = 0; band < bands; ++band) {
        const std::string number = std::to_string(band);
        text += item("name=\"DESCRIPTION\" sample=\"" + number + "\" role=\"description\"",
                     kBandNames[band]);
    }
    if (!target.name.empty()) text += item("name=\"scan\"", target.name);
    text += item("name=\"matrix\"", matrixText(target.matrix));
    return text + "</GDALMetadata>\n";
}

/// An array of the grid: pixel (column, row) is the cell. Bands of 256 columns are kept in memory, as tiles.
class TiffOutput : public ScanOutput {
public:
    explicit TiffOutput(const OutputTarget& target)
        : m_columns(target.columns),
          m_rows(target.rows),
          m_bands(target.withColour ? std::size(kBandNames) : kBandsWithoutColour),
          m_rowTiles((target.rows + kTileSize - 1) / kTileSize),
          m_order(kTileSize, target.shownPath),
          m_file(target.path, target.shownPath,
                 {target.columns, target.rows, m_bands, metadata(target, m_bands)}),
          m_cells(std::size_t{m_bands} * m_rowTiles * tiff::kTileCells, kNothing) {}

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& point : points) {
            if (point.column >= m_columns || point.row >= m_rows) {
                ++m_leftOut.outsideGrid;
                continue;
            }
            if (!isFinite(point)) {
                ++m_leftOut.notFinite;
                continue;
            }
            m_order.require(point.column);
            while (point.column / kTileSize != m_band)
                finishBand();
            put(point);
            count(point);
        }
    }

    void finish() override {
        while (m_band * kTileSize < m_columns)
            finishBand();
        m_file.close();
    }

private:
    static constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();

    static bool isFinite(const CellPoint& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z) &&
               std::isfinite(p.intensity);
    }

    void put(const CellPoint& p) {
        float* cell = m_cells.data() + std::size_t{p.row} * kTileSize + p.column % kTileSize;
        const auto next = [&](double value) {
            *cell = static_cast<float>(value);
            cell += m_rowTiles * tiff::kTileCells;
        };
        next(std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z));
        next(static_cast<double>(p.intensity));
        next(p.x);
        next(p.y);
        next(p.z);
        if (m_bands == kBandsWithoutColour) return;
        next(p.red);
        next(p.green);
        next(p.blue);
    }

    void finishBand() {
        const float* tile = m_cells.data();
        for (std::uint32_t band = 0; band < m_bands; ++band) {
            for (std::uint32_t rowTile = 0; rowTile < m_rowTiles; ++rowTile) {
                m_file.write(m_band, rowTile, band, tile);
                tile += tiff::kTileCells;
            }
        }
        std::fill(m_cells.begin(), m_cells.end(), kNothing);
        ++m_band;
    }

    std::uint32_t m_columns, m_rows, m_bands, m_rowTiles;
    BandOrder m_order;
    tiff::TileFile m_file;
    std::vector<float> m_cells;  // of each band its tiles, of each tile its rows
    std::uint32_t m_band = 0;    // of columns
};

}  // namespace

std::unique_ptr<ScanOutput> createTiffOutput(const OutputTarget& target) {
    return std::make_unique<TiffOutput>(target);
}

}  // namespace brisko::scan
