#include "pcplib/processes/clr_block_copy.h"

#include "base/checked.h"
#include "base/input_window.h"
#include "layouts/layout.h"
#include "layouts/piece_reader.h"

#include <algorithm>
#include <vector>

namespace QelPcpLib {

using brisko::kPiecePoints;

namespace {

constexpr std::size_t kWindow = std::size_t{1} << 20;

/// The window on a file, after its header.
brisko::InputWindow openContent(std::FILE* file) {
    brisko::InputWindow input(file, kWindow);
    const auto header = input.atLeast(brisko::clr_header::kSize);
    input.skip(std::min(header.size(), brisko::clr_header::kSize));
    return input;
}

bool writeZeros(std::uint64_t count, BlockSink& sink) {
    while (count > 0 && sink.good()) {
        const auto part = std::min<std::uint64_t>(count, kWindow);
        sink.output.appendZeros(part);
        sink.progress.reach(sink.output.position());
        count -= part;
    }
    return sink.good();
}

/// A compressed piece of points that are all zero.
std::vector<std::uint8_t> emptyPiece(std::size_t points) {
    const std::vector<brisko::RawRecord> records(points);
    std::vector<std::uint8_t> bytes;
    brisko::encodeCompressedLine(records.data(), records.size(), bytes);
    return bytes;
}

/// The blocks of a file with compressed lines.
class CompressedBlocks {
public:
    CompressedBlocks(std::FILE* file, const CLRFileHeader& header, BlockSink& sink)
        : m_input(openContent(file)),
          m_grid(brisko::gridOf(header)),
          m_sink(sink),
          m_pieces(brisko::divideRoundingUp(m_grid.rows, kPiecePoints)),
          m_piecesLeft(brisko::checkedMultiply(m_grid.columns * m_pieces, header.GetBlockCount())),
          m_emptyPiece(emptyPiece(kPiecePoints)),
          m_emptyLastPiece(emptyPiece(pointsOfLastPiece())) {}

    /// Returns false when nothing can follow.
    bool copyBlock() {
        if (!copyFlag()) return false;
        for (std::uint64_t line = 0; line < m_grid.columns; ++line) {
            for (std::uint64_t piece = 0; piece < m_pieces; ++piece) {
                if (!copyPiece(piece + 1 == m_pieces)) return false;
                if (m_piecesLeft) --*m_piecesLeft;
            }
        }
        return true;
    }

private:
    std::size_t pointsOfLastPiece() const {
        if (m_grid.rows == 0) return 0;
        return static_cast<std::size_t>((m_grid.rows - 1) % kPiecePoints + 1);
    }

    bool copyFlag();
    bool copyPiece(bool isLast);
    bool endFile();
    bool writeEmptyPiece(bool isLast);

    brisko::InputWindow m_input;
    brisko::CLRGrid m_grid;
    BlockSink& m_sink;
    std::uint64_t m_pieces;                     // of a line
    std::optional<std::uint64_t> m_piecesLeft;  // in all blocks; nothing: beyond all counting
    std::vector<std::uint8_t> m_emptyPiece, m_emptyLastPiece;
    bool m_ended = false;  // the file is
};

/// The file holds no more pieces. Returns whether the empty ones in their place have room.
bool CompressedBlocks::endFile() {
    m_ended = true;
    if (m_input.failed() || !m_piecesLeft) return false;
    const auto bytes = brisko::checkedMultiply(*m_piecesLeft, m_emptyPiece.size());
    return bytes && m_sink.hasRoomFor(*bytes);
}

bool CompressedBlocks::copyFlag() {
    const auto flag = m_input.atLeast(1);
    if (flag.empty() || m_ended) {
        if (!m_ended && !endFile()) return false;
        m_sink.output.appendZeros(1);
    } else {
        m_sink.output.append(flag.first(1));
        m_input.skip(1);
    }
    m_sink.progress.reach(m_sink.output.position());
    return m_sink.good();
}

bool CompressedBlocks::copyPiece(bool isLast) {
    if (m_ended) return writeEmptyPiece(isLast);
    const brisko::Piece piece = brisko::findPiece(m_input);
    if (piece.state == brisko::PieceState::BadLength) return false;
    // A piece that the file holds only in part is left out.
    if (!piece.isWhole()) return endFile() && writeEmptyPiece(isLast);
    m_sink.output.append(piece.bytes);
    m_input.skip(piece.bytes.size());
    m_sink.progress.reach(m_sink.output.position());
    return m_sink.good();
}

bool CompressedBlocks::writeEmptyPiece(bool isLast) {
    m_sink.output.append(isLast ? m_emptyLastPiece : m_emptyPiece);
    m_sink.progress.reach(m_sink.output.position());
    return m_sink.good();
}

}  // namespace

std::optional<std::uint64_t> plainBlockSize(const brisko::CLRGrid& grid) {
    const auto records = brisko::checkedMultiply(grid.cells(), brisko::clr_record::kSize);
    return records ? brisko::checkedAdd(*records, brisko::clr_block::kHeaderSize) : std::nullopt;
}

bool copyPlainBlocks(std::FILE* file, const CLRFileHeader& header, BlockSink& sink) {
    const auto blockSize = plainBlockSize(brisko::gridOf(header));
    const auto size =
        blockSize ? brisko::checkedMultiply(*blockSize, header.GetBlockCount()) : std::nullopt;
    if (!size || !sink.hasRoomFor(*size)) return false;
    brisko::InputWindow input = openContent(file);
    std::uint64_t left = *size;
    while (left > 0 && sink.good()) {
        auto bytes = input.atLeast(1);
        if (bytes.empty()) break;
        bytes = bytes.first(static_cast<std::size_t>(std::min<std::uint64_t>(left, bytes.size())));
        sink.output.append(bytes);
        input.skip(bytes.size());
        left -= bytes.size();
        sink.progress.reach(sink.output.position());
    }
    return !input.failed() && writeZeros(left, sink);
}

bool copyCompressedBlocks(std::FILE* file, const CLRFileHeader& header, BlockSink& sink) {
    if (!sink.hasRoomFor(header.GetBlockCount())) return false;
    CompressedBlocks blocks(file, header, sink);
    for (std::uint32_t block = 0; block < header.GetBlockCount(); ++block) {
        if (!blocks.copyBlock()) return false;
    }
    return sink.good();
}

}  // namespace QelPcpLib
