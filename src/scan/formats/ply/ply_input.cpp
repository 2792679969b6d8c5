#include "scan/formats/ply/ply_input.h"

#include "scan/formats/point_pieces.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/threads.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns

std::uint8_t toColour(double value) {
    if (!(value > 0)) return 0;
    return static_cast<std::uint8_t>(std::min(value, 255.0) + 0.5);
}

/// Infinite beyond all floats.
float toFloat(double value) {
    constexpr float kMost = std::numeric_limits<float>::max();
    if (std::abs(value) > static_cast<double>(kMost)) return std::numeric_limits<float>::infinity();
    return static_cast<float>(value);
}

bool isFinite(const CellPoint& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z) &&
           std::isfinite(p.intensity);
}

double shareOf(double value, const IntensityRange& range) {
    return (value - range.min) / (range.max - range.min);
}

/// The range of colours of other types than uchar follows from the largest of them.
double colourScale(double largest) {
    if (largest <= 1) return 255;
    return largest <= 255 ? 1 : 1 / 257.0;
}

/// What the cells of all vertices show of the grid.
class GridSurvey {
public:
    void add(double column, double row) {
        constexpr double kMost = std::numeric_limits<std::int32_t>::max() - 1;
        const auto isCell = [](double place) {
            return place >= 0 && place <= kMost && place == std::floor(place);
        };
        m_isGrid = m_isGrid && isCell(column) && isCell(row);
        if (!m_isGrid) return;
        const auto here = static_cast<std::uint32_t>(column);
        m_rows = std::max(m_rows, static_cast<std::uint32_t>(row) + 1);
        m_byColumns &= here + 1 >= m_columns;
        m_byBands &= here / kBand >= m_band;
        m_columns = std::max(m_columns, here + 1);
        m_band = here / kBand;
    }

    bool isGrid() const { return m_isGrid; }
    void describeIn(ScanInfo& info) const {
        info.hasGrid = m_isGrid && m_columns > 0;
        if (!info.hasGrid) return;
        info.columns = m_columns;
        info.rows = m_rows;
        info.bandColumns = m_byColumns ? 1 : m_byBands ? kBand : m_columns;
    }

private:
    bool m_isGrid = true, m_byColumns = true, m_byBands = true;
    std::uint32_t m_columns = 0, m_rows = 0, m_band = 0;
};

}  // namespace

PlyInput::PlyInput(const std::string& path, const ReadOptions& options)
    : m_intensities(options.intensities),
      m_pieces(
          jobThreads(), [this](Piece& piece) { return m_vertices->fetch(piece); },
          [this](Piece& piece) { decode(piece); }, kShortFilesAlone) {
    m_info.path = path;
    m_info.format = formatOf(path);
    rewind();
    m_hasIntensity = has(Role::Intensity);
    m_info.storesColour = has(Role::Red) && has(Role::Green) && has(Role::Blue);
    m_info.records = m_vertices->count();
    survey();
}

void PlyInput::rewind() {
    m_pieces.rewind();
    m_vertices.emplace(m_info.path);
    m_done = m_notFinite = 0;
}

/// Takes a pass over the vertices where only that shows what their cells or colours mean.
void PlyInput::survey() {
    // Several stations share their cells.
    const bool hasCells = has(Role::Column) && has(Role::Row) && !has(Role::Station);
    bool isPlain = true;
    for (const Role role : {Role::Red, Role::Green, Role::Blue})
        isPlain &= m_vertices->typeOf(role) == ply::Type::U8;
    const bool hasOtherColour = m_info.storesColour && !isPlain;
    if (!hasCells && !hasOtherColour) return;

    m_vertices->want({Role::Column, Role::Row, Role::Red, Role::Green, Role::Blue});
    if (!hasOtherColour) m_vertices->want({Role::Column, Role::Row});
    GridSurvey grid;
    double largest = 0;
    PiecesAhead<ply::VertexBlock> blocks(
        jobThreads(), [this](ply::VertexBlock& block) { return m_vertices->fetch(block); },
        [this](ply::VertexBlock& block) { m_vertices->decode(block); }, kShortFilesAlone);
    while (const ply::VertexBlock* const block = blocks.next()) {
        for (std::size_t i = 0; hasCells && i < block->count; ++i)
            grid.add(block->of(Role::Column)[i], block->of(Role::Row)[i]);
        for (std::size_t i = 0; hasOtherColour && i < block->count; ++i) {
            for (const Role role : {Role::Red, Role::Green, Role::Blue})
                largest = std::max(largest, block->of(role)[i]);
        }
    }
    if (hasOtherColour) m_colourScale = colourScale(largest);
    m_foreignCells = hasCells && !grid.isGrid();
    if (hasCells) grid.describeIn(m_info);
    rewind();
}

void PlyInput::decode(Piece& piece) const {
    m_vertices->decode(piece);
    piece.points.resize(piece.count);
    const double *const x = piece.of(Role::X), *const y = piece.of(Role::Y),
                        *const z = piece.of(Role::Z), *const intensity = piece.of(Role::Intensity),
                        *const red = piece.of(Role::Red), *const green = piece.of(Role::Green),
                        *const blue = piece.of(Role::Blue), *const column = piece.of(Role::Column),
                        *const row = piece.of(Role::Row);
    const bool hasIntensity = m_hasIntensity, hasColour = m_info.storesColour,
               hasGrid = m_info.hasGrid;
    const std::optional<IntensityRange> range = m_intensities;
    const double colourScale = m_colourScale;
    const std::size_t count = piece.count;
    CellPoint* out = piece.points.data();
    for (std::size_t i = 0; i < count; ++i) {
        CellPoint& point = *out;
        point = {};
        point.x = x[i];
        point.y = y[i];
        point.z = z[i];
        if (hasIntensity) {
            point.intensity = toFloat(range ? shareOf(intensity[i], *range) * BriskoCodec::i_range
                                            : intensity[i]);
        }
        if (hasColour) {
            point.red = toColour(red[i] * colourScale);
            point.green = toColour(green[i] * colourScale);
            point.blue = toColour(blue[i] * colourScale);
        }
        if (hasGrid) {
            point.column = static_cast<std::uint32_t>(column[i]);
            point.row = static_cast<std::uint32_t>(row[i]);
        }
        out += isFinite(point);
    }
    const auto kept = static_cast<std::size_t>(out - piece.points.data());
    piece.notFinite = count - kept;
    piece.points.resize(kept);
}

void PlyInput::read(std::vector<CellPoint>& points) {
    points.clear();
    while (points.empty()) {
        Piece* const piece = m_pieces.next();
        if (!piece) return;
        points.swap(piece->points);
        m_done = piece->end;
        m_notFinite += piece->notFinite;
    }
}

std::string PlyInput::remark() const {
    if (m_foreignCells) {
        return "its columns and rows are not whole numbers from 0 on; the points are taken as a "
               "cloud";
    }
    if (m_notFinite == 0) return {};
    return countOf(m_notFinite, "vertex without finite numbers") + " passed over";
}

}  // namespace brisko::scan
