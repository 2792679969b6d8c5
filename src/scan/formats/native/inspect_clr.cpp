#include "scan/files/input_file.h"
#include "scan/formats/native/native_layout.h"
#include "scan/formats/native/scan_layout.h"

#include <brisko_scan/text.h>

#include <algorithm>

namespace brisko::scan {
namespace {

using clr::Wide;

std::string cutShort(const std::string& path, const std::string& place) {
    return path + ": the file ends " + place + "; it was not written to its end";
}

std::string leftOver(const ScanLayout& layout, std::uint64_t offset) {
    return layout.path + ": byte " + std::to_string(offset) + ": " +
           countOf(layout.bytes - offset, "byte") + " after the last of " +
           countOf(layout.header->GetBlockCount(), "announced block");
}

/// Plain blocks all have the same size, so the size of the file shows what is there.
std::string walkPlain(const CLRFileHeader& header, ScanLayout& layout) {
    const Wide cells = Wide{layout.columns} * layout.rows;
    const Wide block = clr::plainBlockSize(header);
    const Wide end = clr_header::kSize + block * header.GetBlockCount();
    if (layout.bytes >= end) {
        layout.records = static_cast<std::uint64_t>(cells * header.GetBlockCount());
        const auto offset = static_cast<std::uint64_t>(end);
        return clr::isLeftOver(header, false, layout.bytes - offset) ? leftOver(layout, offset)
                                                                     : "";
    }
    const std::uint64_t there = layout.bytes - clr_header::kSize;
    const auto complete = static_cast<std::uint64_t>(there / block);
    const auto rest = static_cast<std::uint64_t>(there % block);
    layout.records = complete * static_cast<std::uint64_t>(cells);
    if (rest > 0) layout.records += (rest - clr_block::kHeaderSize) / clr_record::kSize;
    return cutShort(layout.path, "inside block " + std::to_string(complete) + " of " +
                                     std::to_string(header.GetBlockCount()));
}

/// Compressed lines are walked piece by piece, without decoding them. Each step takes bytes of the
/// file, so the walk ends however large the grid is said to be.
class PieceWalk {
public:
    PieceWalk(ByteStream& file, ScanLayout& layout) : m_file(file), m_layout(layout) {
        m_file.seek(clr_header::kSize);
    }

    std::string run() {
        const std::uint32_t blocks = m_layout.header->GetBlockCount();
        for (std::uint32_t block = 0; block < blocks; ++block) {
            m_file.seek(m_file.offset() + clr_block::kHeaderSize);
            for (std::uint32_t column = 0; column < m_layout.columns; ++column) {
                const std::string problem = walkLine();
                if (problem.empty()) continue;
                return m_layout.path + ": column " + std::to_string(column) + " of block " +
                       std::to_string(block) + ", byte " + std::to_string(m_file.offset()) + ": " +
                       problem;
            }
        }
        return m_file.left() > 0 ? leftOver(m_layout, m_file.offset()) : "";
    }

private:
    std::string walkLine() {
        for (std::uint64_t row = 0; row < m_layout.rows; row += kPiecePoints) {
            const Piece piece = findPiece(m_file);
            if (piece.state == PieceState::CutShort) return kCutShort;
            if (piece.state == PieceState::BadLength || piece.length == 0) {
                return clr::pieceProblem(PieceState::BadLength);
            }
            m_file.seek(piece.offset + piece.bytes.size());
            m_layout.records += std::min<std::uint64_t>(kPiecePoints, m_layout.rows - row);
        }
        return "";
    }

    static constexpr const char* kCutShort = "the file ends here; it was not written to its end";

    ByteStream& m_file;
    ScanLayout& m_layout;
};

std::string findProblem(ByteStream& file, const CLRFileHeader& header, ScanLayout& layout) {
    if (file.size() < clr_header::kSize) return layout.path + ": the file ends inside its header";
    if (!isKnown(formatOf(header))) {
        return layout.path + ": point format " + std::to_string(header.GetPointFormat()) +
               " is not one of CLR (0 to 3); is this a CLR file?";
    }
    constexpr std::size_t kMost = 0x7fffffff;
    if (header.GetAzimuthResolution() > kMost || header.GetZenithResolution() > kMost) {
        return layout.path + ": the header announces a grid of negative size";
    }
    layout.columns = static_cast<std::uint32_t>(header.GetAzimuthResolution());
    layout.rows = static_cast<std::uint32_t>(header.GetZenithResolution());
    return clr::isCompressed(header, file.size()) ? PieceWalk(file, layout).run()
                                                  : walkPlain(header, layout);
}

}  // namespace

ScanLayout inspectCLR(const std::string& path) {
    ByteStream file(path);
    ScanLayout layout;
    layout.path = path;
    layout.isCL3 = false;
    layout.bytes = file.size();
    auto header = std::make_unique<CLRFileHeader>();
    readHeader(*header, path);
    const CLRFileHeader& fields = *header;
    layout.header = std::move(header);
    const std::string problem = findProblem(file, fields, layout);
    if (!problem.empty()) layout.problems.push_back(problem);
    addAngleProblem(layout);
    return layout;
}

}  // namespace brisko::scan
