#include "common/input_file.h"
#include "scan/header_file.h"
#include "scan/native_layout.h"
#include "scan/scan_layout.h"

#include <algorithm>

namespace brisko::tool {
namespace {

using clr::Wide;

std::string cutShort(const std::string& path, const std::string& place) {
    return path + ": the file ends " + place + "; it was not written to its end";
}

/// Plain blocks all have the same size, so the size of the file tells.
std::string plainProblem(const ScanLayout& layout, Wide expected) {
    if (layout.bytes >= expected) return "";
    const Wide block = clr::kBlockFlag + clr::kRecord * Wide{layout.columns} * layout.rows;
    const auto complete = static_cast<std::uint64_t>((layout.bytes - clr::kHeader) / block);
    return cutShort(layout.path, "inside block " + std::to_string(complete) + " of " +
                                     std::to_string(layout.header->GetBlockCount()));
}

/// Compressed lines are walked piece by piece. Each step takes bytes of the file, so the walk ends
/// however large the grid is said to be.
std::string compressedProblem(InputFile& file, const ScanLayout& layout) {
    const std::uint64_t pieces =
        (std::uint64_t{layout.rows} + clr::kPiecePoints - 1) / clr::kPiecePoints;
    std::uint64_t offset = clr::kHeader;
    for (std::uint32_t block = 0; block < layout.header->GetBlockCount(); ++block) {
        offset += clr::kBlockFlag;
        for (std::uint32_t column = 0; column < layout.columns; ++column) {
            for (std::uint64_t piece = 0; piece < pieces; ++piece) {
                std::uint8_t length[clr::kPieceLength];
                const bool isThere = file.readAt(offset, length, sizeof length);
                if (isThere) offset += clr::kPieceLength + u32(length);
                if (isThere && offset <= file.size()) continue;
                return cutShort(layout.path, "inside column " + std::to_string(column) +
                                                 " of block " + std::to_string(block));
            }
        }
    }
    return offset <= file.size() ? "" : cutShort(layout.path, "inside its last block");
}

std::string findProblem(InputFile& file, const CLRFileHeader& header, ScanLayout& layout) {
    if (file.size() < clr::kHeader) return layout.path + ": the file ends inside its header";
    if (header.GetPointFormat() > 3) {
        return layout.path + ": point format " + std::to_string(header.GetPointFormat()) +
               " is not one of CLR (0 to 3); is this a CLR file?";
    }
    constexpr std::size_t kMost = 0x7fffffff;
    if (header.GetAzimuthResolution() > kMost || header.GetZenithResolution() > kMost) {
        return layout.path + ": the header announces a grid of negative size";
    }
    layout.columns = static_cast<std::uint32_t>(header.GetAzimuthResolution());
    layout.rows = static_cast<std::uint32_t>(header.GetZenithResolution());
    const Wide cells = Wide{layout.columns} * layout.rows;
    const Wide records = cells * header.GetBlockCount();
    const Wide plainSize =
        clr::kHeader + header.GetBlockCount() * Wide{clr::kBlockFlag} + records * clr::kRecord;
    std::string problem = clr::isCompressed(header, file.size()) ? compressedProblem(file, layout)
                                                                 : plainProblem(layout, plainSize);
    if (problem.empty()) layout.records = static_cast<std::uint64_t>(records);
    return problem;
}

}  // namespace

ScanLayout inspectCLR(const std::string& path) {
    InputFile file(path);
    ScanLayout layout;
    layout.path = path;
    layout.kind = ScanKind::CLR;
    layout.bytes = file.size();
    auto header = std::make_unique<CLRFileHeader>();
    readHeader(*header, path);
    const CLRFileHeader& fields = *header;
    layout.header = std::move(header);
    const std::string problem = findProblem(file, fields, layout);
    if (!problem.empty()) layout.problems.push_back(problem);
    return layout;
}

}  // namespace brisko::tool
