#include "base/text.h"
#include "layouts/clr_record.h"
#include "layouts/piece_reader.h"
#include "pcplib/files/trace.h"
#include "pcplib/processes/clr_copy.h"
#include "pcplib/processes/sorted_lines.h"

#include <algorithm>
#include <array>

namespace QelPcpLib {

using brisko::formatText;
using brisko::kLongestPiece;
using brisko::kPiecePoints;
using brisko::RawRecord;

namespace {

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

}  // namespace

bool sortCompressedBlocks(ClrCopy& copy) {
    CompressedLines lines(copy);
    for (std::uint32_t block = 0; block < copy.header.GetBlockCount(); ++block) {
        if (!lines.sortBlock(block)) break;
    }
    return lines.good();
}

}  // namespace QelPcpLib
