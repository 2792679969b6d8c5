#pragma once

#include "base/ordered_work.h"
#include "scan/formats/ply/ply_vertices.h"
#include "scan/formats/scan_input.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// The vertices of a PLY file as the points of a scan: x, y, z; red, green, blue; intensity; column, row.
/// Intensities are taken as they are, if no range is given.
class PlyInput : public ScanInput {
public:
    PlyInput(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override;
    void rewind() final;
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_vertices->count(); }
    const char* stepUnit() const override { return "points"; }
    std::string remark() const override;

private:
    struct Piece : ply::VertexBlock {
        std::vector<CellPoint> points;
        std::uint64_t notFinite = 0;
    };

    bool has(Role role) const { return m_vertices->typeOf(role).has_value(); }
    void survey();
    void decode(Piece& piece) const;

    std::optional<IntensityRange> m_intensities;
    std::optional<ply::Vertices> m_vertices;
    bool m_hasIntensity = false;
    double m_colourScale = 1;  // to 0 to 255
    bool m_foreignCells = false;
    std::uint64_t m_done = 0, m_notFinite = 0;
    PiecesAhead<Piece> m_pieces;
};

}  // namespace brisko::scan
