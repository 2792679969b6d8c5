#include <brisko_codec/writers.h>
#include <brisko_scan/scan_error.h>

#include "layouts/ij_index.h"
#include "layouts/layout.h"
#include "simulator/scan_output.h"

namespace brisko::simulator {

namespace {

constexpr std::uint64_t kBlockPoints = 1000000;

[[noreturn]] void fail(const std::string& path) {
    throw scan::ScanError(scan::ErrorKind::NotWritten, path, "cannot be written",
                          "free some space or choose another folder");
}

/// Columns of cells, one after another.
std::vector<Measurement> measureBand(const ScanPlan& plan, const Scanner& scanner,
                                     ColumnBand band) {
    const std::size_t rows = plan.grid.rows;
    std::vector<Measurement> cells(rows * (band.end - band.first));
    for (std::uint32_t column = band.first; column < band.end; ++column) {
        scanner.measureColumn(plan.pass(0, 0), column,
                              std::span(cells).subspan(rows * (column - band.first), rows));
    }
    if (!plan.colour) {
        for (Measurement& cell : cells)
            cell.colour = {};
    }
    return cells;
}

/// Hands every measured cell to `put`, in file order, for as long as the writer can write.
template <class Writer, class Put>
WrittenScan writePoints(const ScanPlan& plan, const Scanner& scanner, const Writer& writer,
                        const std::string& path, const ReportCells& report, const Put& put) {
    WrittenScan written;
    forEachBand(
        plan.grid.columns, columnsOfBand(plan.grid.rows),
        [&](ColumnBand band) { return measureBand(plan, scanner, band); },
        [&](ColumnBand band, const std::vector<Measurement>& cells) {
            const Measurement* cell = cells.data();
            for (std::uint32_t column = band.first; column < band.end; ++column) {
                for (std::uint32_t row = 0; row < plan.grid.rows; ++row, ++cell) {
                    if (cell->measured()) put(*cell, column, row);
                }
            }
            if (writer.HasWriteError()) fail(path);
            written.include(cells);
            report(std::uint64_t{band.end} * plan.grid.rows);
        });
    return written;
}

std::uint64_t plainLength(std::uint64_t points) {
    // The writer has begun a block when the last one is full, and ends an empty block twice.
    const std::uint64_t blocks = points / kBlockPoints + 1 + (points % kBlockPoints == 0);
    return cl3_header::kSize + blocks * cl3_block::kHeaderSize + points * cl3_record::kSize1;
}

}  // namespace

WrittenScan writeCL3(const ScanPlan& plan, const Scanner& scanner, const scan::StagedScan& staged,
                     const std::string& path, const ReportCells& report) {
    CL3WriterCodec writer;
    CLRFileHeader header = plan.header();
    if (!writer.Open(staged.path().c_str(), &header)) fail(path);
    WrittenScan written =
        writePoints(plan, scanner, writer, path, report,
                    [&](const Measurement& cell, std::uint32_t, std::uint32_t) {
                        writer.WritePoint(cell.x, cell.y, cell.z, cell.intensity, cell.colour.red,
                                          cell.colour.green, cell.colour.blue, 255);
                    });
    if (!writer.Close() || writer.HasWriteError()) fail(path);
    written.bytes = plainLength(written.returns);
    requireLength(staged.path(), written.bytes, path);
    return written;
}

WrittenScan writeIndexedCL3(const ScanPlan& plan, const Scanner& scanner, const Pose& pose,
                            const scan::StagedScan& staged, const std::string& path,
                            const ReportCells& report) {
    CL3IJWriterGridCodec writer;
    CLRFileHeader header = plan.header();
    if (!writer.Open(staged.path().c_str(), &header) || writer.HasWriteError()) fail(path);
    if (plan.alignment) writer.SetMatrixTransform(pose.matrix().data());
    WrittenScan written =
        writePoints(plan, scanner, writer, path, report,
                    [&](const Measurement& cell, std::uint32_t column, std::uint32_t row) {
                        writer.WritePoint(cell.x, cell.y, cell.z, cell.intensity, cell.colour.red,
                                          cell.colour.green, cell.colour.blue, 255, column, row);
                    });
    if (!writer.Close() || writer.HasWriteError()) fail(path);
    const std::uint64_t tiles = plan.grid.tiles();
    written.bytes =
        cl3_header::kSize + tiles * cl3_block::kHeaderSize + written.returns * cl3_record::kSize1;
    requireLength(staged.path(), written.bytes, path);
    requireLength(staged.companion(".ij"), ij_header::kSize + tiles * ijTileBytes(kTileSize), path);
    return written;
}

}  // namespace brisko::simulator
