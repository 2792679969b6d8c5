#include "simulator/scan_output.h"

#include "base/output_file.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"
#include "layouts/records.h"

#include <brisko_codec/writers.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <span>
#include <system_error>

namespace brisko::simulator {

void WrittenScan::include(const std::vector<Measurement>& cells) {
    for (const Measurement& cell : cells) {
        if (!cell.measured()) continue;
        ++returns;
        const double place[3] = {cell.x, cell.y, cell.z};
        for (int axis = 0; axis < 3; ++axis) {
            box.min[axis] = std::min(box.min[axis], place[axis]);
            box.max[axis] = std::max(box.max[axis], place[axis]);
        }
    }
}

void WrittenScan::include(const WrittenScan& other) {
    returns += other.returns;
    for (int axis = 0; axis < 3; ++axis) {
        box.min[axis] = std::min(box.min[axis], other.box.min[axis]);
        box.max[axis] = std::max(box.max[axis], other.box.max[axis]);
    }
}

void requireWritten(bool written, const std::string& path) {
    if (written) return;
    throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                          std::string("cannot be written: ") + std::strerror(errno));
}

void requireLength(const std::string& stagedPath, std::uint64_t length, const std::string& path) {
    std::error_code error;
    const std::uint64_t found = std::filesystem::file_size(stagedPath, error);
    if (error)
        throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                              "cannot be read back: " + error.message());
    if (found == length) return;
    throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                          "holds " + std::to_string(found) + " bytes where " +
                              std::to_string(length) + " were written",
                          "check the disk");
}

// CLR files are written here record by record rather than through the library's writer, which knows
// neither compressed lines nor several blocks.

namespace {

std::vector<std::uint8_t> bytesOf(const CLRFileHeader& header) {
    struct Release {
        void operator()(char* text) const { std::free(text); }
    };
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&text, &size);
    if (!stream) throw std::bad_alloc();
    header.Write(stream);
    const bool complete = std::fclose(stream) == 0;
    const std::unique_ptr<char, Release> owner(text);
    if (!complete) throw std::bad_alloc();
    return {text, text + size};
}

RawRecord toRecord(const Measurement& cell) {
    if (!cell.measured()) return {};
    return {toStoredLength(cell.x), toStoredLength(cell.y), toStoredLength(cell.z), 0,
            toStoredIntensity(cell.intensity)};
}

void appendRecords(std::span<const Measurement> line, std::vector<std::uint8_t>& bytes) {
    std::size_t at = bytes.size();
    bytes.resize(at + line.size() * clr_record::kSize);
    for (const Measurement& cell : line) {
        encodeRawRecord(toRecord(cell), bytes.data() + at);
        at += clr_record::kSize;
    }
}

void appendCompressed(std::span<const Measurement> line, std::vector<std::uint8_t>& bytes) {
    std::vector<RawRecord> records;
    records.reserve(line.size());
    for (const Measurement& cell : line)
        records.push_back(toRecord(cell));
    encodeCompressedLine(records.data(), records.size(), bytes);
}

/// Columns as they lie in the file, and what they hold.
struct EncodedBand {
    std::vector<std::uint8_t> bytes;
    WrittenScan content;
};

EncodedBand encodeBand(const ScanPlan& plan, const Scanner& scanner, const ScanPass& pass,
                       ColumnBand band) {
    EncodedBand encoded;
    std::vector<Measurement> line(plan.grid.rows);
    if (plan.pointFormat != CLRPointFormat::Compressed) {
        encoded.bytes.reserve(std::size_t{band.end - band.first} * line.size() * clr_record::kSize);
    }
    for (std::uint32_t column = band.first; column < band.end; ++column) {
        scanner.measureColumn(pass, column, line);
        encoded.content.include(line);
        // The mirror swings up one column and down the next; only format 3 has been sorted.
        const bool upwards = column % 2 == 1 && plan.pointFormat != CLRPointFormat::OneWay;
        if (upwards) std::reverse(line.begin(), line.end());
        if (plan.pointFormat == CLRPointFormat::Compressed) {
            appendCompressed(line, encoded.bytes);
        } else {
            appendRecords(line, encoded.bytes);
        }
    }
    return encoded;
}

}  // namespace

WrittenScan writeCLR(const ScanPlan& plan, const Scanner& scanner, std::uint32_t file,
                     const scan::StagedScan& staged, const std::string& path,
                     const ReportCells& report) {
    OutputFile out;
    requireWritten(out.create(staged.path().c_str()), path);
    out.append(bytesOf(plan.header()));
    WrittenScan written;
    for (std::uint32_t block = 0; block < plan.blocks; ++block) {
        const ScanPass pass = plan.pass(file, block);
        out.append({&pass.flag, clr_block::kHeaderSize});
        forEachBand(
            plan.grid.columns, columnsOfBand(plan.grid.rows),
            [&](ColumnBand band) { return encodeBand(plan, scanner, pass, band); },
            [&](ColumnBand band, const EncodedBand& encoded) {
                out.append(encoded.bytes);
                requireWritten(!out.failed(), path);
                written.include(encoded.content);
                report(block * plan.grid.cells() + std::uint64_t{band.end} * plan.grid.rows);
            });
    }
    written.bytes = out.position();
    requireWritten(out.close(), path);
    requireLength(staged.path(), written.bytes, path);
    return written;
}

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
