#include "pcplib/processes/indexing.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/point_records.h>

#include "base/companion_path.h"
#include "base/file.h"
#include "codec/actual_cl3_codec.h"
#include "codec/actual_clr_codec.h"
#include "codec/batch_source.h"
#include "codec/cl3_completeness.h"
#include "layouts/layout.h"
#include "pcplib/processes/band_transfer.h"
#include "pcplib/processes/indexed_output.h"
#include "pcplib/processes/process_progress.h"

#include <limits>
#include <memory>

namespace QelPcpLib {

using brisko::ActualCL3Codec;
using brisko::ActualCLRCodec;
using brisko::PointBuffers;

namespace {

constexpr std::uint64_t kRecordBytes = brisko::cl3_record::kSize1;  // for the share that is done

/// Writes a batch of points into given cells.
bool writeBatch(IndexedOutput& output, const PointBuffers& points, const PointBuffers& cells,
                std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (!output.Write(points.position(i), points.intensity(i), points.colour(i),
                          cells.column(i), cells.row(i))) {
            return false;
        }
    }
    return !output.HasWriteError();
}

/// Walks a scan and the raw scan it came from in step. False when they do not hold as many points.
bool transferInStep(ActualCL3Codec& scan, ActualCLRCodec& raw, IndexedOutput& output,
                    ProcessProgress& steps) {
    PointBuffers points, cells;
    std::uint64_t done = 0;
    if (!scan.startPass() || !raw.startPass()) return false;
    for (;;) {
        const std::size_t count = scan.readBatch(points.arrays(), PointBuffers::kCapacity);
        if (raw.readBatch({.columns = cells.arrays().columns, .rows = cells.arrays().rows},
                          PointBuffers::kCapacity) != count) {
            return false;
        }
        if (count == 0) return true;
        if (!writeBatch(output, points, cells, count)) return false;
        done += count;
        steps.reach(done * kRecordBytes);
    }
}

/// Follows the order of an index whose tiles come band by band.
bool transferStreaming(ActualCL3Codec& scan, IndexedOutput& output, ProcessProgress& steps) {
    PointBuffers points;
    std::uint64_t done = 0;
    if (!scan.startPass()) return false;
    for (;;) {
        const std::size_t count = scan.readBatch(points.arrays(), PointBuffers::kCapacity);
        if (count == 0) return scan.endedInStep();
        if (!writeBatch(output, points, points, count)) return false;
        done += count;
        steps.reach(done * kRecordBytes);
    }
}

/// Where the tiles of a scan lie; null where they do not fill their files exactly.
std::shared_ptr<const brisko::CL3TileTable> findTiles(const std::string& input,
                                                      const std::string& index,
                                                      std::uint32_t tileSize) {
    brisko::CL3CellReader reader;
    auto table = std::make_shared<brisko::CL3TileTable>();
    CL3FileHeader header;
    if (!reader.open(input.c_str()) || !reader.findTiles(*table) || !header.Read(input.c_str())) {
        return nullptr;
    }
    std::uint64_t points = 0;
    for (const auto& tile : table->tiles())
        points += tile.points;
    const auto record = brisko::createCL3Point(header.GetPointFormat());
    const std::uint64_t tiles = table->tiles().size();
    const std::uint64_t scanBytes = brisko::cl3_header::kSize +
                                    tiles * brisko::cl3_block::kHeaderSize +
                                    points * record->GetSize();
    const std::uint64_t indexBytes =
        brisko::ij_header::kSize + tiles * brisko::ijTileBytes(tileSize);
    const bool fills = scanBytes == brisko::fileLength(input.c_str()) &&
                       indexBytes == brisko::fileLength(index.c_str());
    return fills ? table : nullptr;
}

/// The same by bands, on several threads. False where the scan has to be gone through from front to back.
bool transferByBand(const std::string& input,
                    const std::shared_ptr<const brisko::CL3TileTable>& tiles,
                    const brisko::IJHeader& grid, std::size_t threads, IndexedOutput& output,
                    ProcessProgress& steps) {
    const auto openReader = [&input]() -> std::unique_ptr<brisko::ActualBriskoCodec> {
        auto reader = std::make_unique<ActualCL3Codec>();
        if (!reader->Open(input.c_str())) return nullptr;
        reader->setFrame(brisko::Frame::Scanner);
        return reader;
    };
    return transferBands({openReader, tiles, grid.columns, grid.rows}, threads, output.Bands(),
                         [&steps](std::uint64_t, std::uint64_t points) {
                             steps.reachThrough(points * kRecordBytes);
                         });
}

/// Asks for one column after the other, for an index whose tiles do not follow bands.
bool transferByColumn(const std::string& input, ActualCL3Codec& scan, IndexedOutput& output,
                      ProcessProgress& steps) {
    brisko::CL3CellReader reader;
    if (!reader.open(input.c_str())) return false;
    reader.setFrame(brisko::Frame::Scanner);
    std::vector<brisko::CellPoint> points;
    std::uint64_t done = 0;
    for (std::uint64_t column = 0; column < reader.endColumn(); ++column) {
        const auto at = static_cast<std::uint32_t>(column);
        const brisko::CellWindow window{at, at + 1, 0, std::numeric_limits<std::uint32_t>::max()};
        if (reader.readWindow(window, points) == brisko::CellState::Damaged) return false;
        for (const brisko::CellPoint& p : points) {
            const double position[] = {p.x, p.y, p.z};
            const std::uint8_t colour[] = {p.red, p.green, p.blue};
            if (!output.Write(position, p.intensity, colour, p.column, p.row)) return false;
        }
        if (output.HasWriteError()) return false;
        done += points.size();
        steps.reach(done * kRecordBytes);
    }
    // Entries that no column asked for, or two that share a record, would show here.
    return static_cast<std::uint64_t>(scan.GetPointCount()) == done && scan.endedInStep();
}

/// Whether a reader delivers the tiles of an index band by band.
bool followsBands(std::uint32_t tileSize) {
    return tileSize != 0 && brisko::kTileSize % tileSize == 0;
}

}  // namespace

std::uint16_t closeOutput(IndexedOutput& output, bool transferred, ProcessProgress& steps,
                          const ActualCL3Codec& scan, std::uint64_t readErrors,
                          IndexingTrouble* trouble) {
    const bool closed = output.Close();
    const bool isUnreadable = readErrors > 0 || scan.readErrorCount() > 0;
    if (trouble) *trouble = {!closed, isUnreadable, scan.readProblem()};
    if (!closed || !transferred || isUnreadable) return indexing_result::kNotConverted;
    steps.finish();
    return indexing_result::kDone;
}

std::uint16_t Indexing(const std::string& input, const std::string& rawScan,
                       const std::string& output, CProgressCallback* callback,
                       IndexingTrouble* trouble) {
    const auto records = brisko::findCompleteCL3(input);
    ActualCL3Codec scan;
    ActualCLRCodec raw;
    scan.ignoreIndex();
    CL3FileHeader plain;
    if (!records || !plain.Read(input.c_str()) || !scan.Open(input.c_str()) ||
        !raw.Open(rawScan.c_str()) || !raw.startPass()) {
        return indexing_result::kBadInput;
    }
    scan.setFrame(brisko::Frame::Scanner);
    std::size_t columns = 0, rows = 0;
    unsigned tileSize = 0;
    raw.GetGridSize(columns, rows, tileSize);

    GridHeader header(plain, columns, rows);
    IndexedOutput out;
    if (!out.Open(output, header, scan.alignment())) return indexing_result::kBadOutput;
    if (callback) callback->MarkStarted();
    ProcessProgress steps(callback, *records * kRecordBytes);
    const bool transferred = transferInStep(scan, raw, out, steps);
    return closeOutput(out, transferred, steps, scan, raw.readErrorCount(), trouble);
}

std::uint16_t Indexing2(const std::string& input, const std::string& output,
                        CProgressCallback* callback, IndexingTrouble* trouble) {
    const std::string index = brisko::companionForReading(input, ".ij");
    const auto records = brisko::findCompleteCL3(input);
    ActualCL3Codec scan;
    CL3FileHeader plain;
    if (!records || !plain.Read(input.c_str()) || !brisko::isCompleteIndex(index) ||
        !scan.Open(input.c_str())) {
        return indexing_result::kBadInput;
    }
    scan.setFrame(brisko::Frame::Scanner);
    unsigned columns = 0, rows = 0, tileSize = 0;
    scan.GetGridResolution(columns, rows, tileSize);

    GridHeader header(plain, columns, rows);
    IndexedOutput out;
    if (!out.Open(output, header, scan.alignment())) return indexing_result::kBadOutput;
    if (callback) {
        callback->ClearAbort();
        callback->MarkStarted();
    }
    ProcessProgress steps(callback, *records * kRecordBytes);
    bool transferred = false;
    // Points of smaller tiles come in another order.
    const std::size_t threads = tileSize == brisko::kTileSize ? bandThreads(columns, rows) : 1;
    if (const auto tiles = threads > 1 ? findTiles(input, index, tileSize) : nullptr) {
        const brisko::IJHeader grid{.columns = columns, .rows = rows};
        transferred = transferByBand(input, tiles, grid, threads, out, steps);
        if (!transferred && !out.Open(output, header, scan.alignment()))
            return indexing_result::kBadOutput;
    }
    if (!transferred) {
        transferred = followsBands(tileSize) ? transferStreaming(scan, out, steps)
                                             : transferByColumn(input, scan, out, steps);
    }
    return closeOutput(out, transferred, steps, scan, 0, trouble);
}

}  // namespace QelPcpLib
