#include "layouts/records.h"
#include "scan/files/input_file.h"
#include "scan/files/named_output.h"
#include "scan/formats/native/native_check.h"
#include "scan/formats/native/native_layout.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/repair.h"

#include <brisko_scan/text.h>

#include <algorithm>

namespace brisko::scan {
namespace {

using clr::Wide;

/// Copies blocks as far as they go, and fills up what is missing with empty cells.
class CLRRepair {
public:
    explicit CLRRepair(const RepairOptions& options)
        : m_options(options), m_salvage(options.most), m_stream(options.input) {
        readHeader(m_header, options.input);
        requireHeader();
        m_columns = m_header.GetAzimuthResolution();
        m_rows = m_header.GetZenithResolution();
        m_compressed = clr::isCompressed(m_header, m_stream.size());
    }

    Salvage run() {
        writeRepaired(m_options, m_salvage, m_header, [this](const OutputTarget& target) {
            m_salvage.columns = static_cast<std::uint32_t>(m_columns);
            m_salvage.rows = static_cast<std::uint32_t>(m_rows);
            writeScan(target);
            writeAlignmentBeside(target, m_box);
        });
        return std::move(m_salvage);
    }

private:
    void requireHeader() const {
        constexpr std::size_t kMost = 0x7fffffff;
        const std::size_t columns = m_header.GetAzimuthResolution();
        const std::size_t rows = m_header.GetZenithResolution();
        requireWholeHeader(m_options, m_stream.size(), clr_header::kSize);
        if (!isKnown(formatOf(m_header))) refuseFormat(m_options, 112, m_header, "CLR (0 to 3)");
        if (columns == 0 || rows == 0 || columns > kMost || rows > kMost) {
            refuseInput(m_options, "byte 104: the header announces no grid");
        }
    }

    void lose(const char* kind, std::uint64_t block, std::uint64_t offset, std::uint64_t cells,
              const std::string& text) {
        m_salvage.lostCells += cells;
        m_salvage.losses.add({kind, m_options.input, block, offset, text});
    }

    void writeScan(const OutputTarget& target) {
        NamedOutput file(target.path, target.shownPath);
        m_output = &file;
        TaskProgress progress(m_options.progress, "repair", m_stream.size(), "bytes");
        m_progress = &progress;
        file.write(m_stream.take(clr_header::kSize), clr_header::kSize);
        const std::uint32_t blocks = writeBlocks();
        file.close();
        m_header.SetBlockCount(blocks);
        rewriteHeader(target.path, m_header, target.shownPath);
    }

    /// Blocks of which the file holds nothing are not written: they would add nothing.
    std::uint32_t writeBlocks() {
        const std::uint32_t announced = m_header.GetBlockCount();
        std::uint32_t block = 0;
        m_whole = true;
        while (block < announced && m_whole && hasCells()) {
            requireProportion();
            const std::uint64_t begin = m_stream.offset();
            m_output->write(m_stream.take(clr_block::kHeaderSize), clr_block::kHeaderSize);
            if (m_compressed) {
                copyLines(block);
            } else {
                copyRecords(block, begin);
            }
            ++block;
        }
        if (block < announced) {
            lose("block", block, m_stream.offset(), 0,
                 countOf(announced - block, "block") + " of " + std::to_string(announced) +
                     " not found");
        }
        return block;
    }

    bool hasCells() const {
        const std::uint64_t least = m_compressed ? kPieceLengthSize + 1 : clr_record::kSize;
        return m_stream.left() >= clr_block::kHeaderSize + least;
    }

    /// What one more block would take at most.
    void requireProportion() const {
        constexpr std::uint64_t kEmptyPiece = kPieceLengthSize + 6 * kPiecePoints + 1;
        const Wide pieces = Wide{m_columns} * ((m_rows + kPiecePoints - 1) / kPiecePoints);
        const Wide more = m_compressed ? pieces * kEmptyPiece : clr::plainBlockSize(m_header);
        if (isInProportion(m_output->size() + more, m_stream.size())) return;
        refuseInput(m_options, "byte 104: the header claims " + std::to_string(m_columns) + " x " +
                                   std::to_string(m_rows) +
                                   " cells, out of all proportion to the file");
    }

    void copyRecords(std::uint32_t block, std::uint64_t begin) {
        const std::uint64_t cells = m_columns * m_rows;
        const std::uint64_t there = std::min(cells, m_stream.left() / clr_record::kSize);
        for (std::uint64_t i = 0; i < there; ++i) {
            const std::uint8_t* const record = m_stream.take(clr_record::kSize);
            count(decodeRawRecord(record));
            m_output->write(record, clr_record::kSize);
            if (i % kShowEvery == 0) m_progress->advanceTo(m_stream.offset());
        }
        m_whole = there == cells;
        if (m_whole) return;
        constexpr std::uint8_t kEmpty[clr_record::kSize] = {};
        for (std::uint64_t i = there; i < cells; ++i) {
            m_output->write(kEmpty, sizeof kEmpty);
            if (i % kShowEvery == 0) m_progress->advanceTo(m_stream.offset());
        }
        lose("block", block, begin, cells - there,
             "the file ends inside it, after " + std::to_string(there) + " of " +
                 countOf(cells, "cell"));
    }

    void copyLines(std::uint32_t block) {
        for (std::uint64_t column = 0; column < m_columns; ++column) {
            for (std::uint64_t row = 0; row < m_rows; row += kPiecePoints) {
                copyPiece(block, column, row);
            }
            m_progress->advanceTo(m_stream.offset());
        }
    }

    void copyPiece(std::uint32_t block, std::uint64_t column, std::uint64_t row) {
        const std::uint64_t points = std::min(m_rows - row, kPiecePoints);
        m_records.clear();
        if (m_whole) {
            const Piece piece = clr::takePiece(m_stream, points, m_records);
            if (piece.state == PieceState::Sound) {
                m_output->write(piece.bytes.data(), piece.bytes.size());
                countRecords();
                return;
            }
            // What could be decoded before the file ends is kept; the rest of the line is empty.
            if (piece.state != PieceState::CutShort) m_records.clear();
            endOfPieces(piece, block, column, row, points);
        }
        countRecords();
        m_records.resize(points);
        m_bytes.clear();
        encodeCompressedLine(m_records.data(), points, m_bytes);
        m_output->write(m_bytes.data(), m_bytes.size());
    }

    /// A piece that is not sound is lost alone if its length says where the next one begins.
    void endOfPieces(const Piece& piece, std::uint32_t block, std::uint64_t column,
                     std::uint64_t row, std::uint64_t points) {
        const bool goesOn = piece.state == PieceState::BadStream;
        const std::uint64_t cells =
            goesOn ? points : m_columns * m_rows - column * m_rows - row - m_records.size();
        m_whole = goesOn;
        lose("piece", block, piece.offset, cells,
             "column " + std::to_string(column) + ": " + clr::pieceProblem(piece.state) + "; " +
                 countOf(cells, "cell") + " lost");
    }

    void countRecords() {
        for (const RawRecord& record : m_records)
            count(record);
    }
    void count(const RawRecord& record) {
        if (!isMeasured(record)) return;
        ++m_salvage.points;
        m_box.add(toCellPoint(record));
    }

    static constexpr std::uint64_t kShowEvery = 1 << 14;  // records

    const RepairOptions& m_options;
    Salvage m_salvage;
    ByteStream m_stream;
    CLRFileHeader m_header;
    std::uint64_t m_columns = 0, m_rows = 0;
    bool m_compressed = false;
    bool m_whole = true;  // nothing was met after which the way is lost
    NamedOutput* m_output = nullptr;
    TaskProgress* m_progress = nullptr;
    PointBox m_box;
    std::vector<RawRecord> m_records;   // of a piece
    std::vector<std::uint8_t> m_bytes;  // of a piece that is written anew
};

}  // namespace

Salvage repairCLR(const RepairOptions& options) {
    return CLRRepair(options).run();
}

}  // namespace brisko::scan
