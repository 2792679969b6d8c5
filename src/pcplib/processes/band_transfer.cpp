#include "pcplib/processes/band_transfer.h"

#include "base/ordered_work.h"
#include "codec/batch_source.h"
#include "layouts/ij_index.h"

#include <brisko_codec/threads.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace QelPcpLib {

using brisko::ActualBriskoCodec;
using brisko::kTileSize;
using brisko::TileBand;

namespace {

/// What the bands may take together that are at work or wait for their turn.
constexpr std::uint64_t kMemory = std::uint64_t{256} << 20;
constexpr std::uint64_t kTileMemory = brisko::kTileCells * (sizeof(brisko::CL3Record) + 1);
/// Fewer cells are done before the threads are there.
constexpr std::uint64_t kWorthwhileCells = std::uint64_t{1} << 18;

/// A band on its way.
struct Band {
    std::unique_ptr<ActualBriskoCodec> reader;
    std::uint32_t number = 0;
    TileBand cells;
    brisko::PointsBox box;
    std::uint64_t points = 0;
    bool isSound = false;
};

/// Puts a batch into the cells of a band. False for a point that has none there, or is not finite.
bool putBatch(const brisko::PointBuffers& points, std::size_t count, std::uint64_t endRow,
              Band& band) {
    double sum = 0;  // 0, or not a number
    for (std::size_t i = 0; i < count; ++i) {
        const double* const p = points.position(i);
        const std::uint8_t* const colour = points.colour(i);
        const brisko::CL3Record record{p[0],      p[1],      p[2],     points.intensity(i),
                                       colour[0], colour[1], colour[2]};
        sum += (p[0] - p[0]) + (p[1] - p[1]) + (p[2] - p[2]);
        band.box.add({record.x, record.y, record.z});
        const std::uint32_t offset = points.column(i) - band.number * kTileSize;
        if (offset >= kTileSize || points.row(i) >= endRow ||
            !band.cells.put(offset, points.row(i), record, isMeasured(record))) {
            return false;
        }
    }
    return sum == 0;
}

/// Reads a band into its cells. False where anything is wrong with it.
bool readBand(const BandSource& source, Band& band) {
    ActualBriskoCodec& reader = *band.reader;
    auto* const batches = dynamic_cast<brisko::BatchSource*>(&reader);
    const std::uint64_t first = std::uint64_t{band.number} * kTileSize;
    const auto end = std::min<std::uint64_t>(first + kTileSize, source.columns);
    const std::uint64_t endRow = brisko::divideRoundingUp(source.rows, kTileSize) * kTileSize;
    reader.setColumnRange({static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end)},
                          source.tiles);
    if (!batches || !batches->startPass()) return false;
    brisko::PointBuffers points;
    for (;;) {
        const std::size_t count =
            batches->readBatch(points.arrays(), brisko::PointBuffers::kCapacity);
        if (count == 0) break;
        band.points += count;
        if (!putBatch(points, count, endRow, band)) return false;
    }
    return !reader.readProblem() && reader.readErrorCount() == 0;
}

}  // namespace

std::size_t bandThreads(std::uint64_t columns, std::uint64_t rows) {
    const std::uint64_t bands = brisko::divideRoundingUp(columns, kTileSize);
    const std::uint64_t tiles = brisko::divideRoundingUp(rows, kTileSize);
    if (columns * rows < kWorthwhileCells || bands < 2 || tiles > TileBand::kTilesInMemory) {
        return 1;
    }
    const std::uint64_t fitting = kMemory / (tiles * kTileMemory) - 1;  // one more band waits
    return static_cast<std::size_t>(std::clamp<std::uint64_t>(
        brisko::jobThreads(), 1, std::max<std::uint64_t>(std::min(fitting, bands), 1)));
}

bool transferBands(const BandSource& source, std::size_t threads, brisko::TileGridWriter& output,
                   const std::function<void(std::uint64_t, std::uint64_t)>& onBand) {
    const auto bands =
        static_cast<std::uint32_t>(brisko::divideRoundingUp(source.columns, kTileSize));
    std::uint32_t next = 0;
    const auto fetch = [&](Band& band) {
        if (next == bands) return false;
        if (!band.reader) band.reader = source.open();
        band.number = next++;
        return true;
    };
    const auto work = [&](Band& band) {
        band.box = {};
        band.points = 0;
        band.isSound = band.reader && readBand(source, band);
    };
    brisko::PiecesAhead<Band> ahead(threads, fetch, work, {.pieces = threads + 1});
    std::uint64_t points = 0;
    while (Band* const band = ahead.next()) {
        if (!band->isSound) return false;
        output.append(band->cells, band->box);
        points += band->points;
        const std::uint64_t columns = (std::uint64_t{band->number} + 1) * kTileSize;
        onBand(std::min(columns, source.columns), points);
        if (output.failed()) return true;
    }
    return true;
}

}  // namespace QelPcpLib
