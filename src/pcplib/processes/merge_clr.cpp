#include "pcplib/processes/merge_clr.h"

#include "base/bytes.h"
#include "base/checked.h"
#include "base/file.h"
#include "base/input_window.h"
#include "base/output_file.h"
#include "codec/clr_cells.h"
#include "layouts/compressed_lines.h"
#include "layouts/layout.h"
#include "layouts/output_limit.h"
#include "pcplib/processes/process_progress.h"
#include "pcplib/processes/staged_copy.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <vector>

namespace QelPcpLib {

using brisko::kPiecePoints;

namespace {

// Blocks are copied as they are, exactly as many as a header announces and each in its full size. What
// a file that ends early lacks becomes empty cells.

/// Where the blocks go.
struct BlockSink {
    brisko::OutputFile& output;
    ProcessProgress& progress;
    std::uint64_t mostBytes;  // the output must not become larger

    bool hasRoomFor(std::uint64_t bytes) const {
        return output.position() <= mostBytes && bytes <= mostBytes - output.position();
    }
    bool good() const { return !output.failed() && hasRoomFor(0); }
};

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

/// Bytes of a block of plain records, its flag included; nothing when they do not fit into a number.
std::optional<std::uint64_t> plainBlockSize(const brisko::CLRGrid& grid) {
    const auto records = brisko::checkedMultiply(grid.cells(), brisko::clr_record::kSize);
    return records ? brisko::checkedAdd(*records, brisko::clr_block::kHeaderSize) : std::nullopt;
}

/// Returns false when the file cannot be read, or the blocks cannot be written.
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

/// The same for compressed lines, piece by piece. Returns false for a piece length that no piece has, too:
/// what follows it cannot be found.
bool copyCompressedBlocks(std::FILE* file, const CLRFileHeader& header, BlockSink& sink) {
    if (!sink.hasRoomFor(header.GetBlockCount())) return false;
    CompressedBlocks blocks(file, header, sink);
    for (std::uint32_t block = 0; block < header.GetBlockCount(); ++block) {
        if (!blocks.copyBlock()) return false;
    }
    return sink.good();
}

/// One of the two files.
struct Part {
    brisko::FilePtr file;
    CLRFileHeader header;
    std::uint64_t size = 0;
    bool plain = false;

    bool open(const std::string& path) {
        brisko::ReadErrors errors;
        file = brisko::openFile(path.c_str(), "rb");
        if (!file) return false;
        header.Read(file.get());
        size = brisko::fileLength(file.get(), &errors);
        if (std::ferror(file.get()) != 0 || !errors.none()) return false;
        plain = brisko::hasPlainRecords(header, size);
        return true;
    }
    bool hasBlocks() const { return header.GetBlockCount() > 0; }
};

bool isUsable(const CLRFileHeader& header) {
    return static_cast<std::int64_t>(header.GetAzimuthResolution()) >= 0 &&
           static_cast<std::int64_t>(header.GetZenithResolution()) >= 0 &&
           brisko::isKnown(brisko::CLRPointFormat{header.GetPointFormat()});
}

bool fitTogether(const Part& first, const Part& second) {
    const CLRFileHeader &a = first.header, &b = second.header;
    const bool sameKind = !first.hasBlocks() || !second.hasBlocks() || first.plain == second.plain;
    return isUsable(a) && a.GetAzimuthResolution() == b.GetAzimuthResolution() &&
           a.GetZenithResolution() == b.GetZenithResolution() &&
           a.GetPointFormat() == b.GetPointFormat() && sameKind;
}

/// The sum; nothing when the header's field cannot hold it.
std::optional<std::uint32_t> sumOfBlocks(const Part& first, const Part& second) {
    const std::uint64_t sum =
        std::uint64_t{first.header.GetBlockCount()} + second.header.GetBlockCount();
    if (sum > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(sum);
}

/// The size of the output: of plain records exactly, of compressed ones if both files are whole.
/// Nothing when it does not fit into a number.
std::optional<std::uint64_t> outputSize(const Part& first, const Part& second,
                                        std::uint32_t blocks) {
    if (!first.plain || !second.plain) return brisko::checkedAdd(first.size, second.size);
    const auto blockSize = plainBlockSize(brisko::gridOf(first.header));
    const auto content = blockSize ? brisko::checkedMultiply(*blockSize, blocks) : std::nullopt;
    return content ? brisko::checkedAdd(*content, brisko::clr_header::kSize) : std::nullopt;
}

/// The first file's header byte by byte, with the new count.
void writeHeader(const Part& part, std::uint32_t blocks, StagedCopy& result) {
    std::array<std::uint8_t, brisko::clr_header::kSize> bytes{};
    brisko::readAt(part.file.get(), 0, bytes.data(), bytes.size(), result.readErrors());
    brisko::storeU32(bytes.data() + brisko::clr_header::kBlockCount, blocks);
    result.output().append(bytes);
}

bool copyBlocks(const Part& part, BlockSink& sink) {
    return part.plain ? copyPlainBlocks(part.file.get(), part.header, sink)
                      : copyCompressedBlocks(part.file.get(), part.header, sink);
}

bool merge(const std::string& firstPath, const std::string& secondPath,
           const std::string& outputPath, CProgressCallback* callback) {
    StagedCopy result;
    Part first, second;
    if (!first.open(firstPath) || !second.open(secondPath)) return false;
    if (!fitTogether(first, second)) return false;
    const auto blocks = sumOfBlocks(first, second);
    const auto size = blocks ? outputSize(first, second, *blocks) : std::nullopt;
    const std::uint64_t inputSize = first.size + second.size;
    if (!size || !brisko::isOutputReasonable(*size, inputSize, outputPath)) return false;

    if (!result.create(outputPath, {firstPath, secondPath})) return false;
    ProcessProgress progress(callback, *size);
    writeHeader(first, *blocks, result);
    BlockSink sink{result.output(), progress, brisko::largestOutputFor(inputSize)};
    return copyBlocks(first, sink) && copyBlocks(second, sink) && result.publish(progress);
}

}  // namespace

std::uint16_t CombineMultiCLR(const std::string& first, const std::string& second,
                              const std::string& output, CProgressCallback* callback) {
    return runProcess(callback, kMergeClrFailed, [&](CProgressCallback* watched) {
        return merge(first, second, output, watched);
    });
}

}  // namespace QelPcpLib
