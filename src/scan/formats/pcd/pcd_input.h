#pragma once

#include "base/ordered_work.h"
#include "scan/formats/pcd/pcd_blocks.h"
#include "scan/formats/scan_input.h"

#include <brisko_scan/check.h>
#include <brisko_scan/inspect.h>

namespace brisko::scan {

/// A PCD file as a scan: its viewpoint is the pose; organised points are a grid, points that are no
/// numbers missing returns.
class PcdInput : public ScanInput {
public:
    PcdInput(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override;
    void rewind() override;
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_header.points; }
    const char* stepUnit() const override { return "points"; }

private:
    struct Piece : PcdBlock {
        std::vector<CellPoint> points;
    };

    void takeIntensities(const std::optional<IntensityRange>& range);
    void survey();
    void decode(Piece& piece) const;
    bool hasUsualRecords() const;
    template <class Values>
    void takePoints(Values values, Piece& piece) const;

    PcdHeader m_header;
    std::unique_ptr<PcdBlocks> m_blocks;
    bool m_hasCellFields = false;
    double m_intensityFactor = 1, m_intensityShift = 0;
    double m_colourFactor = 1;  // of separate colours, to 0 to 255
    std::uint64_t m_done = 0;   // with and without a point
    PiecesAhead<Piece> m_pieces;
};

/// What the header says.
ScanReport describePcd(const std::string& path);

/// Everything that reading refuses.
void checkPcd(ScanCheck& check, const ProgressFunction& progress);

}  // namespace brisko::scan
