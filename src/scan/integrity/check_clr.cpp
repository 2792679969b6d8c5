#include "layouts/records.h"
#include "scan/formats/native/native_layout.h"
#include "scan/integrity/native_scan_check.h"

#include <algorithm>
#include <optional>

namespace brisko::scan {
namespace {

/// Goes through the blocks of a raw scan, record by record or piece by piece.
class CLRCheck : private NativeScanCheck<CLRFileHeader> {
public:
    using NativeScanCheck::NativeScanCheck;

    void run() {
        if (!checkHeader()) return;
        beginBlocks(clr_header::kSize, 0);
        const bool compressed = clr::isCompressed(m_header, m_stream.size());
        const std::uint32_t blocks = m_header.GetBlockCount();
        bool more = true;
        for (std::uint64_t block = 0; block < blocks && more; ++block) {
            more = checkFlag(block) && (compressed ? checkLines(block) : checkRecords(block));
            m_check.blocks += more;
        }
        if (more) checkEnd(compressed);
        finish();
    }

private:
    bool checkHeader() {
        if (!hasWholeHeader(clr_header::kSize)) return false;
        if (!isKnown(formatOf(m_header))) {
            addUnknownFormat(112, "CLR (0 to 3)");
            return false;
        }
        constexpr std::size_t kMost = 0x7fffffff;
        if (m_header.GetAzimuthResolution() > kMost || m_header.GetZenithResolution() > kMost) {
            add("header", {}, 104, "a grid of negative size");
            return false;
        }
        checkHeaderAngles(m_check, m_header);
        return true;
    }

    void checkEnd(bool compressed) {
        const std::uint64_t left = m_stream.left();
        const std::string text = countOf(left, "byte") + " after the last of " +
                                 countOf(m_header.GetBlockCount(), "announced block");
        if (clr::isLeftOver(m_header, compressed, left)) {
            add("block", {}, m_stream.offset(), text);
        } else if (left > 0) {
            m_check.notes.push_back(text);
        }
    }

    bool checkFlag(std::uint64_t block) {
        if (m_stream.take(clr_block::kHeaderSize)) return true;
        addMissingBlock(block, m_stream.offset());
        return false;
    }

    bool checkRecords(std::uint64_t block) {
        const std::uint64_t begin = m_stream.offset();
        const std::uint64_t announced =
            std::uint64_t{m_header.GetAzimuthResolution()} * m_header.GetZenithResolution();
        const std::uint64_t there = std::min(announced, m_stream.left() / clr_record::kSize);
        if (there < announced) {
            add("block", block, begin - clr_block::kHeaderSize,
                "the grid has " + countOf(announced, "cell") + ", the file ends after " +
                    std::to_string(there));
        }
        for (std::uint64_t i = 0; i < there; ++i) {
            const std::uint64_t offset = m_stream.offset();
            checkRecord(decodeRawRecord(m_stream.take(clr_record::kSize)), block, i, offset);
        }
        m_check.records += there;
        return there == announced;
    }

    bool checkLines(std::uint64_t block) {
        const std::uint64_t rows = m_header.GetZenithResolution();
        for (std::uint64_t column = 0; column < m_header.GetAzimuthResolution(); ++column) {
            for (std::uint64_t row = 0; row < rows; row += kPiecePoints) {
                const std::size_t points = std::min(rows - row, kPiecePoints);
                const Piece piece = clr::takePiece(m_stream, points, m_records);
                if (!checkPiece(piece, block, column, column * rows + row)) return false;
            }
        }
        return true;
    }

    /// False when nothing after the piece can be found.
    bool checkPiece(const Piece& piece, std::uint64_t block, std::uint64_t column,
                    std::uint64_t firstRecord) {
        if (piece.state != PieceState::Sound) {
            add("piece", block, piece.offset,
                "column " + std::to_string(column) + ": " + clr::pieceProblem(piece.state));
            return piece.state == PieceState::BadStream;
        }
        for (std::size_t i = 0; i < m_records.size(); ++i)
            checkRecord(m_records[i], block, firstRecord + i, piece.offset);
        m_check.records += m_records.size();
        return true;
    }

    void checkRecord(const RawRecord& record, std::uint64_t block, std::uint64_t number,
                     std::uint64_t offset) {
        if (number % kShowEvery == 0) m_progress->advanceTo(offset);
        if (isMeasured(record)) m_points->add(toCellPoint(record), block, number, offset);
    }

    std::vector<RawRecord> m_records;  // of a piece
};

}  // namespace

void checkCLRScan(ScanCheck& check, const ProgressFunction& progress) {
    CLRCheck(check, progress).run();
}

}  // namespace brisko::scan
