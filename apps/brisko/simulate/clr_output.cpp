#include "base/output_file.h"
#include "common/exit_code.h"
#include "simulate/column_bands.h"
#include "simulate/scan_output.h"

#include <brisko_codec/block_header.h>
#include <brisko_codec/compressed_lines.h>
#include <brisko_codec/point_records.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <span>

// CLR files are written here record by record rather than through the library's writer, which knows
// neither compressed lines nor several blocks.

namespace brisko::tool {

namespace {

constexpr std::size_t kRecordSize = 20;
constexpr std::uint8_t kCompressedLines = 2;
constexpr std::uint8_t kAllTopDown = 3;

/// What a header writes into a stream.
template <class Header>
std::vector<std::uint8_t> bytesOf(const Header& header) {
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

std::vector<std::uint8_t> blockHeader(std::uint8_t flag) {
    CLRBlockHeader header;
    header.SetFlag(flag);
    return bytesOf(header);
}

CLRPoint toRecord(const Measurement& cell) {
    if (!cell.measured()) return {0, 0, 0, 0, 0};
    CLRPoint point;
    point.SetX(cell.x);
    point.SetY(cell.y);
    point.SetZ(cell.z);
    point.SetIntensity(cell.intensity);
    return point;
}

/// The five values of a record, rounded as the record rounds them.
RawRecord toRawRecord(const Measurement& cell) {
    std::uint8_t bytes[kRecordSize];
    toRecord(cell).Encode(bytes);
    std::int32_t values[5];
    std::memcpy(values, bytes, sizeof values);
    return {values[0], values[1], values[2], values[3], values[4]};
}

void appendRecords(std::span<const Measurement> line, std::vector<std::uint8_t>& bytes) {
    std::size_t at = bytes.size();
    bytes.resize(at + line.size() * kRecordSize);
    for (const Measurement& cell : line) {
        toRecord(cell).Encode(bytes.data() + at);
        at += kRecordSize;
    }
}

void appendCompressed(std::span<const Measurement> line, std::vector<std::uint8_t>& bytes) {
    std::vector<RawRecord> records;
    records.reserve(line.size());
    for (const Measurement& cell : line)
        records.push_back(toRawRecord(cell));
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
    if (plan.pointFormat != kCompressedLines) {
        encoded.bytes.reserve(std::size_t{band.end - band.first} * line.size() * kRecordSize);
    }
    for (std::uint32_t column = band.first; column < band.end; ++column) {
        scanner.measureColumn(pass, column, line);
        encoded.content.include(line);
        // The mirror swings up one column and down the next; only format 3 has been sorted.
        const bool upwards = column % 2 == 1 && plan.pointFormat != kAllTopDown;
        if (upwards) std::reverse(line.begin(), line.end());
        if (plan.pointFormat == kCompressedLines) {
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
                     const TellCells& tell) {
    OutputFile out;
    requireWritten(out.create(staged.path().c_str()), path);
    out.append(bytesOf(plan.header()));
    WrittenScan written;
    for (std::uint32_t block = 0; block < plan.blocks; ++block) {
        const ScanPass pass = plan.pass(file, block);
        out.append(blockHeader(pass.flag));
        forEachBand(
            plan.grid.columns, columnsOfBand(plan.grid.rows),
            [&](ColumnBand band) { return encodeBand(plan, scanner, pass, band); },
            [&](ColumnBand band, const EncodedBand& encoded) {
                out.append(encoded.bytes);
                requireWritten(!out.failed(), path);
                written.include(encoded.content);
                tell(block * plan.grid.cells() + std::uint64_t{band.end} * plan.grid.rows);
            });
    }
    written.bytes = out.position();
    requireWritten(out.close(), path);
    requireLength(staged.path(), written.bytes, path);
    return written;
}

}  // namespace brisko::tool
