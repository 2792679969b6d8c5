#include "layouts/records.h"
#include "scan/formats/native/native_layout.h"
#include "scan/integrity/native_scan_check.h"

#include <algorithm>
#include <optional>

namespace brisko::scan {
namespace {

struct CLRPart : NativePart {
    using NativePart::NativePart;
    std::vector<RawRecord> records;  // of a piece
};

/// Goes through the blocks of a raw scan, record by record or piece by piece.
class CLRCheck : private NativeScanCheck<CLRFileHeader> {
public:
    using NativeScanCheck::NativeScanCheck;

    void run() {
        if (!checkHeader()) return;
        beginBlocks(clr_header::kSize, 0);
        m_isCompressed = clr::isCompressed(m_header, m_stream.size());
        checkParts([this] { return std::make_unique<CLRPart>(m_check, m_header); },
                   [this](CLRPart& part) { return nextStretch(part); },
                   [this](CLRPart& part) { look(part); });
        if (m_isBlockMissing) addMissingBlock(m_blocks, m_stream.offset());
        if (m_whole) checkEnd();
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

    void checkEnd() {
        const std::uint64_t left = m_stream.left();
        const std::string text = countOf(left, "byte") + " after the last of " +
                                 countOf(m_header.GetBlockCount(), "announced block");
        if (clr::isLeftOver(m_header, m_isCompressed, left)) {
            add("block", {}, m_stream.offset(), text);
        } else if (left > 0) {
            m_check.notes.push_back(text);
        }
    }

    bool nextStretch(CLRPart& part) {
        if (m_stretch.isLast() && !nextBlock()) return false;
        m_stretch.first = m_stretch.end();
        m_stretch.offset += m_stretch.bytes;
        m_stretch.count = 0;
        if (m_isCompressed) {
            findPieces(part);
        } else {
            m_stretch.count = std::min(m_stretch.there - m_stretch.first, kShowEvery);
            m_stretch.bytes = m_stretch.count * clr_record::kSize;
            m_stream.seek(m_stretch.offset + m_stretch.bytes);
        }
        return true;
    }

    bool nextBlock() {
        if (!m_whole || m_blocks == m_header.GetBlockCount()) return false;
        const std::uint64_t begin = m_stream.offset();
        m_isBlockMissing = m_stream.left() < clr_block::kHeaderSize;
        if (m_isBlockMissing) {
            m_whole = false;
            return false;
        }
        m_stream.seek(begin + clr_block::kHeaderSize);
        const std::uint64_t cells =
            std::uint64_t{m_header.GetAzimuthResolution()} * m_header.GetZenithResolution();
        const std::uint64_t there =
            m_isCompressed ? cells : std::min(cells, m_stream.left() / clr_record::kSize);
        m_stretch = {.block = m_blocks++,
                     .begin = begin,
                     .announced = cells,
                     .there = there,
                     .offset = m_stream.offset()};
        m_whole = there == cells;
        return true;
    }

    /// Up to the end of the part, or to one after which nothing can be found. The part itself reads them: it has
    /// their bytes at hand when it looks at them.
    void findPieces(CLRPart& part) {
        ByteStream& stream = part.stream;
        const std::uint64_t begin =
            part.stretches.empty() ? m_stretch.offset : part.stretches.front().offset;
        stream.seek(m_stretch.offset);
        do {
            const Piece piece = findPiece(stream);
            m_stretch.count += pointsOfPiece(m_stretch.end());
            stream.seek(piece.offset + piece.bytes.size());
            m_whole = piece.isWhole();
        } while (m_whole && stream.offset() - begin < kPartBytes &&
                 m_stretch.end() < m_stretch.announced);
        m_stretch.bytes = stream.offset() - m_stretch.offset;
        m_stream.seek(stream.offset());
        if (!m_whole) m_stretch.there = m_stretch.end();
    }

    /// That begins with that record of a block.
    std::size_t pointsOfPiece(std::uint64_t record) const {
        const std::uint64_t rows = m_header.GetZenithResolution();
        return static_cast<std::size_t>(
            std::min<std::uint64_t>(rows - record % rows, kPiecePoints));
    }

    void look(CLRPart& part) const {
        const Stretch& last = part.stretches.back();
        if (!m_isCompressed) part.stream.readUpTo(last.offset + last.bytes);
        for (const Stretch& stretch : part.stretches) {
            const bool isWhole =
                m_isCompressed ? checkPieces(part, stretch) : checkRecords(part, stretch);
            part.check.blocks += isWhole && stretch.isLast();
        }
    }

    /// False where records of the block are missing.
    static bool checkRecords(CLRPart& part, const Stretch& stretch) {
        const bool isWhole = stretch.there == stretch.announced;
        if (stretch.isFirst() && !isWhole) {
            part.check.findings.add({"block", part.check.path, stretch.block, stretch.begin,
                                     "the grid has " + countOf(stretch.announced, "cell") +
                                         ", the file ends after " + std::to_string(stretch.there)});
        }
        part.takeRecords(stretch, clr_record::kSize,
                         [&](const std::uint8_t* in, std::uint64_t number, std::uint64_t offset) {
                             checkRecord(part, decodeRawRecord(in), stretch.block, number, offset);
                         });
        part.check.records += stretch.count;
        return isWhole;
    }

    /// False when nothing after the last piece can be found.
    bool checkPieces(CLRPart& part, const Stretch& stretch) const {
        part.stream.seek(stretch.offset);
        for (std::uint64_t record = stretch.first; record < stretch.end();) {
            const std::size_t points = pointsOfPiece(record);
            const Piece piece = clr::takePiece(part.stream, points, part.records);
            if (!checkPiece(part, piece, stretch.block, record)) return false;
            record += points;
        }
        return true;
    }

    bool checkPiece(CLRPart& part, const Piece& piece, std::uint64_t block,
                    std::uint64_t firstRecord) const {
        if (piece.state != PieceState::Sound) {
            const std::uint64_t column = firstRecord / m_header.GetZenithResolution();
            part.check.findings.add(
                {"piece", part.check.path, block, piece.offset,
                 "column " + std::to_string(column) + ": " + clr::pieceProblem(piece.state)});
            return piece.state == PieceState::BadStream;
        }
        for (std::size_t i = 0; i < part.records.size(); ++i)
            checkRecord(part, part.records[i], block, firstRecord + i, piece.offset);
        part.check.records += part.records.size();
        return true;
    }

    static void checkRecord(CLRPart& part, const RawRecord& record, std::uint64_t block,
                            std::uint64_t number, std::uint64_t offset) {
        if (number % kShowEvery == 0) part.steps.push_back(offset);
        if (isMeasured(record)) part.points.add(toCellPoint(record), block, number, offset);
    }

    bool m_isCompressed = false;
    std::uint64_t m_blocks = 0;     // that begin in the file
    bool m_isBlockMissing = false;  // of the next one nothing is there
    bool m_whole = true;            // nothing was cut or missing so far
};

}  // namespace

void checkCLRScan(ScanCheck& check, const ProgressFunction& progress) {
    CLRCheck(check, progress).run();
}

}  // namespace brisko::scan
