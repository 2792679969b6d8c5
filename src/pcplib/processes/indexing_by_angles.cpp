
#include "codec/actual_cl3_codec.h"
#include "codec/batch_source.h"
#include "codec/cl3_completeness.h"
#include "pcplib/processes/angle_grid.h"
#include "pcplib/processes/band_spill.h"
#include "pcplib/processes/indexed_output.h"
#include "pcplib/processes/indexing.h"
#include "pcplib/processes/process_progress.h"

#include <algorithm>

namespace QelPcpLib {

using brisko::ActualCL3Codec;
using brisko::PointBuffers;

namespace {

constexpr std::uint64_t kRecordBytes = brisko::cl3_record::kSize1;  // for the share that is done

bool sortByBands(ActualCL3Codec& scan, const AngleGrid& grid, BandSpill& spill,
                 ProcessProgress& steps) {
    PointBuffers points;
    std::uint64_t done = 0;
    if (!scan.startPass()) return false;
    for (;;) {
        const std::size_t count = scan.readBatch(points.arrays(), PointBuffers::kCapacity);
        if (count == 0) return spill.finish();
        for (std::size_t i = 0; i < count; ++i) {
            const double* const p = points.position(i);
            const std::uint8_t* const c = points.colour(i);
            const PlacedPoint point{{p[0], p[1], p[2], points.intensity(i), c[0], c[1], c[2]},
                                    grid.cellOf(p[0], p[1], p[2])};
            if (!spill.add(point)) return false;
        }
        done += count;
        steps.reach(done * kRecordBytes);
    }
}

/// Places the points of the bands one band after the other.
class BandPlacer {
public:
    BandPlacer(const AngleGrid& grid, IndexedOutput& output) : m_grid(grid), m_output(output) {}

    bool place(std::uint32_t band, BandSpill& spill) {
        m_first = band * brisko::kTileSize;
        FreeCells free(std::min(brisko::kTileSize, m_grid.columns() - m_first), m_grid.rows());
        return spill.take(band, [&](const PlacedPoint& p) { return placeOne(free, p); }) &&
               !m_output.HasWriteError();
    }
    std::uint64_t placed() const { return m_placed; }

private:
    /// A point that a full band passed on starts at the first column of this one.
    Placing placeOne(FreeCells& free, const PlacedPoint& point) {
        const std::uint32_t column = std::max(point.cell.column, m_first) - m_first;
        const auto cell = free.take({column, point.cell.row});
        if (!cell) return Placing::BandIsFull;
        ++m_placed;
        const brisko::CL3Record& r = point.record;
        const double position[] = {r.x, r.y, r.z};
        const std::uint8_t colour[] = {r.red, r.green, r.blue};
        const bool written =
            m_output.Write(position, r.intensity, colour, m_first + cell->column, cell->row);
        return written ? Placing::Done : Placing::Failed;
    }

    const AngleGrid& m_grid;
    IndexedOutput& m_output;
    std::uint32_t m_first = 0;  // column of the band
    std::uint64_t m_placed = 0;
};

bool placeAll(const AngleGrid& grid, BandSpill& spill, IndexedOutput& output, std::uint64_t records,
              ProcessProgress& steps) {
    BandPlacer placer(grid, output);
    const auto bands =
        static_cast<std::uint32_t>(brisko::divideRoundingUp(grid.columns(), brisko::kTileSize));
    for (std::uint32_t band = 0; band < bands; ++band) {
        if (!placer.place(band, spill)) return false;
        steps.reach((records + placer.placed()) * kRecordBytes);
    }
    return spill.isEmpty();
}

}  // namespace

std::uint16_t IndexingByAngles(const std::string& input, const std::string& output,
                               const std::string& spillPath, CProgressCallback* callback,
                               IndexingTrouble* trouble) {
    const auto records = brisko::findCompleteCL3(input);
    CL3FileHeader header;
    if (!header.Read(input.c_str())) return indexing_result::kBadInput;
    const auto grid = AngleGrid::fromHeader(header);
    ActualCL3Codec scan;
    scan.ignoreIndex();
    const bool fits = records && grid && *records <= std::uint64_t{grid->columns()} * grid->rows();
    if (!fits || !scan.Open(input.c_str())) return indexing_result::kBadInput;
    scan.setFrame(brisko::Frame::Scanner);

    GridHeader gridHeader(header, grid->columns(), grid->rows());
    IndexedOutput out;
    BandSpill spill(spillPath);
    if (!spill.isOpen() || !out.Open(output, gridHeader, scan.alignment())) {
        return indexing_result::kBadOutput;
    }
    if (callback) callback->MarkStarted();
    ProcessProgress steps(callback, 2 * *records * kRecordBytes);
    const bool placed =
        sortByBands(scan, *grid, spill, steps) && placeAll(*grid, spill, out, *records, steps);
    return closeOutput(out, placed, steps, scan, 0, trouble);
}

}  // namespace QelPcpLib
