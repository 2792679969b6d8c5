#include "pcplib/processes/sort_clr.h"

#include "base/file.h"
#include "base/input_window.h"
#include "base/output_file.h"
#include "base/text.h"
#include "codec/clr_cells.h"
#include "layouts/compressed_lines.h"
#include "layouts/layout.h"
#include "layouts/output_limit.h"
#include "layouts/records.h"
#include "pcplib/files/pcp_file.h"
#include "pcplib/files/trace.h"
#include "pcplib/processes/process_progress.h"
#include "pcplib/processes/sorted_lines.h"
#include "pcplib/processes/staged_copy.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <vector>

namespace QelPcpLib {

using brisko::formatText;
using brisko::kLongestPiece;
using brisko::kPiecePoints;
using brisko::RawRecord;
namespace clr_record = brisko::clr_record;

namespace {

/// A CLR scan on its way into a copy with sorted lines; both files stand after their headers.
struct ClrCopy {
    const std::string& path;  // of the scan
    const CLRFileHeader& header;
    brisko::CLRGrid grid;  // 0 x 0 where the header announces no lines
    brisko::InputWindow& input;
    brisko::OutputFile& output;
    const std::string& outputPath;
    ProcessProgress& progress;

    /// Copies the byte before a block. Returns false at the end of the scan.
    bool copyBlockFlag() {
        const auto flag = input.atLeast(1);
        if (flag.empty()) return false;
        output.append(flag.first(1));
        input.skip(1);
        progress.reach(input.position());
        return true;
    }
    /// Whether the copy still is of a size that the scan can give reason for.
    bool hasRoomFor(std::uint64_t bytes) const {
        const std::uint64_t most = brisko::largestOutputFor(input.fileSize());
        return output.position() <= most && bytes <= most - output.position();
    }
    bool good() const { return !input.failed() && !output.failed() && hasRoomFor(0); }
};

/// The lines of plain blocks, one block after the other.
class PlainLines {
public:
    explicit PlainLines(ClrCopy& copy)
        : m_copy(copy),
          m_lineSize(static_cast<std::size_t>(copy.grid.rows * clr_record::kSize)),
          m_lines(copy.output, copy.outputPath, copy.grid.rows, copy.progress) {}

    bool sortBlock();
    bool good() const { return m_fits && m_lines.good() && m_copy.good(); }

private:
    void turnWholeLines(std::span<std::uint8_t> bytes, std::uint64_t firstLine);
    bool sortLongOrCutLine(std::uint64_t k);

    ClrCopy& m_copy;
    std::size_t m_lineSize;
    SortedLines m_lines;
    bool m_fits = true;  // what a cut line lacks
};

/// Returns false when the scan ends inside the block, or nothing can be written any more.
bool PlainLines::sortBlock() {
    const std::uint64_t columns = m_copy.grid.columns;
    for (std::uint64_t k = 0; k < columns;) {
        const auto bytes = m_copy.input.atLeast(std::min(m_lineSize, m_copy.input.capacity()));
        const auto lines = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size() / m_lineSize, columns - k));
        if (lines > 0) {
            turnWholeLines(bytes.first(lines * m_lineSize), k);
            k += lines;
        } else if (!sortLongOrCutLine(k++)) {
            return false;
        }
        m_copy.progress.reach(m_copy.input.position());
        if (!good()) return false;
    }
    return true;
}

/// Turns lines where they lie in the window, and writes them in one go.
void PlainLines::turnWholeLines(std::span<std::uint8_t> bytes, std::uint64_t firstLine) {
    const auto rows = static_cast<std::size_t>(m_copy.grid.rows);
    std::uint64_t k = firstLine;
    for (std::size_t at = 0; at < bytes.size(); at += m_lineSize, ++k) {
        std::uint8_t* const line = bytes.data() + at;
        if (runsAgainstOrder(k, ClassifyLine(line, rows))) ReverseLine(line, rows);
    }
    m_copy.output.append(bytes);
    m_copy.input.skip(bytes.size());
}

/// A line that the window does not hold as a whole. Returns false when the scan ends in it; a line
/// that has not even begun there is not written.
bool PlainLines::sortLongOrCutLine(std::uint64_t k) {
    bool ended = false;
    while (m_lines.missing() > 0 && !ended && m_copy.good()) {
        const auto bytes = m_copy.input.atLeast(clr_record::kSize);
        ended = bytes.size() < clr_record::kSize;
        if (!bytes.empty()) m_copy.input.skip(m_lines.add(bytes));
        m_copy.progress.reach(m_copy.input.position());
    }
    if (m_lines.isEmpty()) return false;
    m_fits = m_copy.hasRoomFor(m_lines.missing() * clr_record::kSize);
    if (!good()) return false;
    m_lines.finishLine(k);
    return !ended;
}

/// Returns false when a line does not fit into 32 bits, the scan cannot be read or the copy cannot be
/// written.
bool sortPlainBlocks(ClrCopy& copy) {
    const std::uint64_t lineSize = copy.grid.rows * clr_record::kSize;
    const std::uint32_t blocks = copy.header.GetBlockCount();
    if (blocks > 0 && lineSize > std::numeric_limits<std::uint32_t>::max()) return false;
    PlainLines lines(copy);
    for (std::uint32_t block = 0; block < blocks; ++block) {
        if (!copy.copyBlockFlag() || !lines.sortBlock()) break;
    }
    return lines.good();
}

std::string pieceMessage(std::size_t points) {
    // Deliberate: two blanks before iRetPnt.
    return formatText("Start decode\nEnd decode\nConvert ptData  iRetPnt=%zu\n", points);
}

/// The lines of compressed blocks, one block after the other.
class CompressedLines {
public:
    explicit CompressedLines(ClrCopy& copy)
        : m_copy(copy), m_lines(copy.output, copy.outputPath, copy.grid.rows, copy.progress) {}

    bool sortBlock(std::uint32_t block);
    bool good() const { return m_fits && m_lines.good() && m_copy.good(); }

private:
    enum class Outcome { Done, ScanEnds, Damaged };

    Outcome sortLine(std::uint64_t k);
    Outcome takePiece();
    void finishLine(std::uint64_t k);
    void reportDamage(std::uint32_t block);

    ClrCopy& m_copy;
    SortedLines m_lines;
    TraceBuffer m_trace;
    std::array<RawRecord, kPiecePoints> m_points;
    std::uint64_t m_written = 0;    // lines of the block
    std::uint32_t m_badLength = 0;  // of the piece that is damaged
    bool m_fits = true;             // what a cut line lacks
    const std::string m_fullPieceMessage = pieceMessage(kPiecePoints);
};

/// Returns false when nothing can follow the block.
bool CompressedLines::sortBlock(std::uint32_t block) {
    m_trace.add(formatText("Read block :%d\n", static_cast<std::int32_t>(block)));
    if (!m_copy.copyBlockFlag()) return false;
    m_written = 0;
    Outcome outcome = Outcome::Done;
    for (std::uint64_t k = 0; k < m_copy.grid.columns && outcome == Outcome::Done && good(); ++k) {
        outcome = sortLine(k);
    }
    if (outcome == Outcome::Damaged) {
        reportDamage(block);
        return false;
    }
    if (m_written != m_copy.header.GetAzimuthResolution()) m_trace.add("Check!!\n");
    return outcome == Outcome::Done && good();
}

CompressedLines::Outcome CompressedLines::sortLine(std::uint64_t k) {
    while (m_lines.missing() > 0) {
        const Outcome outcome = takePiece();
        if (outcome == Outcome::Done) continue;
        if (outcome == Outcome::ScanEnds && !m_lines.isEmpty()) finishLine(k);
        return outcome;
    }
    finishLine(k);
    return Outcome::Done;
}

/// Decodes the next piece. One that the scan holds only in part is not looked at; one whose stream is
/// damaged gives the points that can be had.
CompressedLines::Outcome CompressedLines::takePiece() {
    brisko::Piece piece = brisko::findPiece(m_copy.input);
    if (piece.state == brisko::PieceState::BadLength && good()) {
        m_badLength = piece.length;
        return Outcome::Damaged;
    }
    if (!piece.isWhole() || !good()) return Outcome::ScanEnds;

    const auto count =
        static_cast<std::size_t>(std::min<std::uint64_t>(kPiecePoints, m_lines.missing()));
    brisko::decodePiece(piece, count, m_points.data(), brisko::kPieceBuffer);
    m_copy.input.skip(piece.bytes.size());
    m_trace.add(count == kPiecePoints ? m_fullPieceMessage : pieceMessage(count));
    m_lines.add({reinterpret_cast<const std::uint8_t*>(m_points.data()),
                 count * brisko::clr_record::kSize});
    m_copy.progress.reach(m_copy.input.position());
    return Outcome::Done;
}

void CompressedLines::finishLine(std::uint64_t k) {
    m_fits = m_copy.hasRoomFor(m_lines.missing() * brisko::clr_record::kSize);
    if (!good()) return;
    // Deliberate: a line that runs the right way already is reported as one to check, too.
    if (!m_lines.finishLine(k)) m_trace.add("check!\n");
    ++m_written;
}

void CompressedLines::reportDamage(std::uint32_t block) {
    const auto length = static_cast<std::int32_t>(m_badLength);
    m_trace.add(formatText("iDataLength=%d / bufsize=%d\n", length, int{kLongestPiece}));
    m_trace.add("Invalid data length couldn't read!\r\n");
    m_trace.add(formatText("File:%s\n\nInvalid data length (%d) in block %d\n", m_copy.path.c_str(),
                           length, static_cast<std::int32_t>(block)));
}

/// Reports on standard output what it does. A piece length that no piece has ends the copy, and is
/// reported. Returns false when the scan cannot be read or the copy cannot be written.
bool sortCompressedBlocks(ClrCopy& copy) {
    CompressedLines lines(copy);
    for (std::uint32_t block = 0; block < copy.header.GetBlockCount(); ++block) {
        if (!lines.sortBlock(block)) break;
    }
    return lines.good();
}

/// Fits into the processor's second cache, and holds a few of the longest usual lines.
constexpr std::size_t kWindow = std::size_t{512} << 10;

bool failToOpen() {
    TraceOut("%s\n", CpFileException().what());
    return false;
}

/// Copies the header byte by byte; what a short file lacks of it is zero.
void copyHeader(brisko::InputWindow& input, brisko::OutputFile& output) {
    std::array<std::uint8_t, brisko::clr_header::kSize> bytes{};
    const auto found = input.atLeast(bytes.size());
    const std::size_t size = std::min(found.size(), bytes.size());
    std::copy_n(found.begin(), size, bytes.begin());
    input.skip(size);
    output.append(bytes);
}

}  // namespace

std::uint16_t SortCLR(const std::string& path, CProgressCallback* callback) {
    TraceOut("SortCLR\n");
    return runProcess(callback, kSortClrFailed,
                      [&](CProgressCallback* watched) { return ConvertClrFile(path, watched); });
}

bool ConvertClrFile(const std::string& path, CProgressCallback* callback) {
    StagedCopy result;
    const brisko::FilePtr file = brisko::openFile(path.c_str(), "rb");
    if (!file) return failToOpen();
    CLRFileHeader header;
    header.Read(file.get());
    if (std::ferror(file.get()) != 0 ||
        brisko::CLRPointFormat{header.GetPointFormat()} > brisko::CLRPointFormat::Compressed) {
        return false;
    }

    brisko::InputWindow input(file.get(), kWindow, brisko::kPieceBuffer);
    const bool plain = brisko::hasPlainRecords(header, input.fileSize());
    if (!plain) TraceOut("Read CLR file: %s\n", path.c_str());
    if (!result.create(path + ".Converted.clr", {path})) return failToOpen();

    ProcessProgress progress(callback, input.fileSize());
    copyHeader(input, result.output());
    ClrCopy copy{path,          header,  brisko::gridOf(header), input, result.output(),
                 result.path(), progress};
    return (plain ? sortPlainBlocks(copy) : sortCompressedBlocks(copy)) && result.publish(progress);
}

}  // namespace QelPcpLib
