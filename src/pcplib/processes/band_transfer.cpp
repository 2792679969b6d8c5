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
using brisko::ColumnRun;
using brisko::kTileSize;
using brisko::PackedBand;
using brisko::PackedTile;

namespace {

/// What the bands may take together that are at work or wait for their turn.
constexpr std::uint64_t kMemory = std::uint64_t{256} << 20;
constexpr std::uint64_t kTileMemory = PackedTile::kBytes + brisko::kTileCells;
/// Fewer cells are done before the threads are there.
constexpr std::uint64_t kWorthwhileCells = std::uint64_t{1} << 18;

/// A band on its way.
struct Band {
    std::unique_ptr<ActualBriskoCodec> reader;
    std::uint32_t number = 0;
    PackedBand points;
    std::uint64_t count = 0;
    bool isSound = false;
};

/// The points of a batch, from one of them on, that belong to the same column and tile.
ColumnRun runAt(const brisko::PointArrays& points, std::size_t from, std::size_t count) {
    const std::uint32_t column = points.columns[from], rowTile = points.rows[from] / kTileSize;
    std::size_t end = from + 1;
    while (end < count && points.columns[end] == column && points.rows[end] / kTileSize == rowTile)
        ++end;
    return {points.positions + 3 * from, points.intensities + from, points.colours + 3 * from,
            points.rows + from, end - from};
}

/// Puts a batch into a band. False for points that have no place there, or come in an unusual order.
bool putBatch(const brisko::PointArrays& points, std::size_t count, std::uint64_t rowTiles,
              Band& band) {
    for (std::size_t i = 0; i < count;) {
        const ColumnRun run = runAt(points, i, count);
        const std::uint32_t offset = points.columns[i] - band.number * kTileSize;
        const std::uint32_t rowTile = points.rows[i] / kTileSize;
        if (offset >= kTileSize || rowTile >= rowTiles || !band.points.add(offset, rowTile, run))
            return false;
        i += run.count;
    }
    return true;
}

/// Reads a band. False where anything is wrong with it.
bool readBand(const BandSource& source, Band& band) {
    ActualBriskoCodec& reader = *band.reader;
    auto* const batches = dynamic_cast<brisko::BatchSource*>(&reader);
    const std::uint64_t first = std::uint64_t{band.number} * kTileSize;
    const auto end = std::min<std::uint64_t>(first + kTileSize, source.columns);
    const auto rowTiles =
        static_cast<std::uint32_t>(brisko::divideRoundingUp(source.rows, kTileSize));
    band.points.clear(rowTiles);
    reader.setColumnRange({static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(end)},
                          source.tiles);
    if (!batches || !batches->startPass()) return false;
    brisko::PointBuffers buffers;
    const brisko::PointArrays points = buffers.arrays();
    for (;;) {
        const std::size_t count = batches->readBatch(points, brisko::PointBuffers::kCapacity);
        if (count == 0) break;
        band.count += count;
        if (!putBatch(points, count, rowTiles, band)) return false;
    }
    return !reader.readProblem() && reader.readErrorCount() == 0;
}

std::uint64_t bandsThatFit(std::uint64_t rowTiles) {
    return kMemory / (rowTiles * kTileMemory);
}

/// Twice as many as threads, so that nobody waits for the one that writes.
std::size_t bandsInMemory(const BandSource& source, std::size_t threads) {
    const std::uint64_t rowTiles = brisko::divideRoundingUp(source.rows, kTileSize);
    return static_cast<std::size_t>(std::min<std::uint64_t>(2 * threads, bandsThatFit(rowTiles)));
}

}  // namespace

std::size_t bandThreads(std::uint64_t columns, std::uint64_t rows) {
    const std::uint64_t bands = brisko::divideRoundingUp(columns, kTileSize);
    const std::uint64_t tiles = brisko::divideRoundingUp(rows, kTileSize);
    if (columns * rows < kWorthwhileCells || bands < 2 || bandsThatFit(tiles) < 2) {
        return 1;
    }
    const std::uint64_t fitting = bandsThatFit(tiles) - 1;  // one more band waits
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
        band.count = 0;
        band.isSound = band.reader && readBand(source, band);
    };
    brisko::PiecesAhead<Band> ahead(threads, fetch, work,
                                    {.pieces = bandsInMemory(source, threads)});
    std::uint64_t points = 0;
    while (Band* const band = ahead.next()) {
        if (!band->isSound) return false;
        output.append(band->points);
        points += band->count;
        const std::uint64_t columns = (std::uint64_t{band->number} + 1) * kTileSize;
        onBand(std::min(columns, source.columns), points);
        if (output.failed()) return true;
    }
    return true;
}

}  // namespace QelPcpLib
