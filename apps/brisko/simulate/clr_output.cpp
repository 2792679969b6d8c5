#include "common/failure.h"
#include "simulate/column_bands.h"
#include "simulate/scan_output.h"

#include <brisko_codec/block_header.h>
#include <brisko_codec/compressed_lines.h>
#include <brisko_codec/point_records.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <span>

// CLR files are written here record by record rather than through the library's writer, which knows
// neither compressed lines nor several blocks.

namespace brisko::tool {

namespace {

constexpr std::size_t kHeaderSize = 120;
constexpr std::size_t kRecordSize = 20;
constexpr std::uint8_t kCompressedLines = 2;
constexpr std::uint8_t kAllTopDown = 3;

/// A file written from front to end.
class SequentialFile {
public:
    SequentialFile(const std::string& stagedPath, const std::string& path)
        : m_path(path), m_file(std::fopen(stagedPath.c_str(), "wbe")) {
        if (!m_file) fail();
    }

    std::FILE* stream() { return m_file.get(); }

    void append(const std::vector<std::uint8_t>& bytes) {
        if (std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) != bytes.size()) fail();
        m_length += bytes.size();
    }
    /// Counts bytes that somebody else put into the stream.
    void count(std::uint64_t bytes) {
        if (std::ferror(m_file.get()) != 0) fail();
        m_length += bytes;
    }
    std::uint64_t close() {
        if (std::fclose(m_file.release()) != 0) fail();
        return m_length;
    }

private:
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    [[noreturn]] void fail() const {
        throw Failure(ExitCode::NotWritten,
                      m_path + ": cannot be written: " + std::strerror(errno));
    }

    std::string m_path;
    std::unique_ptr<std::FILE, Closer> m_file;
    std::uint64_t m_length = 0;
};

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

std::uint64_t plainLength(const ScanPlan& plan) {
    return kHeaderSize + plan.blocks * (1 + kRecordSize * plan.grid.cells());
}

/// Better told at once than after an hour of writing.
void requireSpace(const ScanPlan& plan, const std::string& stagedPath, const std::string& path) {
    if (plan.pointFormat == kCompressedLines) return;
    std::error_code error;
    const auto space =
        std::filesystem::space(std::filesystem::path(stagedPath).parent_path(), error);
    if (error || space.available >= plainLength(plan)) return;
    throw Failure(ExitCode::NotWritten, path + ": needs " + std::to_string(plainLength(plan)) +
                                            " bytes, the disk has " +
                                            std::to_string(space.available) +
                                            "; free some space or choose another folder");
}

}  // namespace

WrittenScan writeCLR(const ScanPlan& plan, const Scanner& scanner, std::uint32_t file,
                     const StagedScan& staged, const std::string& path, const TellCells& tell) {
    requireSpace(plan, staged.path(), path);
    SequentialFile out(staged.path(), path);
    plan.header().Write(out.stream());
    out.count(kHeaderSize);

    WrittenScan written;
    for (std::uint32_t block = 0; block < plan.blocks; ++block) {
        const ScanPass pass = plan.pass(file, block);
        CLRBlockHeader blockHeader;
        blockHeader.SetFlag(pass.flag);
        blockHeader.Write(out.stream());
        out.count(1);
        forEachBand(
            plan.grid.columns, columnsOfBand(plan.grid.rows),
            [&](ColumnBand band) { return encodeBand(plan, scanner, pass, band); },
            [&](ColumnBand band, EncodedBand& encoded) {
                out.append(encoded.bytes);
                written.include(encoded.content);
                tell(block * plan.grid.cells() + std::uint64_t{band.end} * plan.grid.rows);
            });
    }
    written.bytes = out.close();
    requireLength(staged.path(), written.bytes, path);
    return written;
}

}  // namespace brisko::tool
