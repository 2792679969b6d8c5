#include "base/output_file.h"
#include "layouts/layout.h"
#include "layouts/records.h"
#include "simulator/scan_output.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>

// CLR files are written here record by record rather than through the library's writer, which knows
// neither compressed lines nor several blocks.

namespace brisko::simulator {

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

}  // namespace brisko::simulator
