#include "common/input_file.h"
#include "scan/scan_layout.h"

#include <algorithm>

namespace brisko::tool {
namespace {

constexpr std::uint64_t kHeader = 120;  // bytes
constexpr std::uint64_t kBlockFlag = 1;
constexpr std::uint64_t kRecord = 20;
constexpr unsigned kCompressed = 2;        // point format
constexpr std::uint64_t kPieceLength = 4;  // in front of each piece of a compressed line
constexpr std::uint64_t kPiecePoints = 250;

using Wide = unsigned __int128;  // a product of three header fields does not overflow it

std::string cutShort(const std::string& path, const std::string& place) {
    return path + ": the file ends " + place + "; it was not written to its end";
}

/// Plain blocks all have the same size, so the size of the file tells.
std::string plainProblem(const ScanLayout& layout, Wide expected) {
    if (layout.bytes >= expected) return "";
    const Wide block = kBlockFlag + kRecord * Wide{layout.columns} * layout.rows;
    const auto complete = static_cast<std::uint64_t>((layout.bytes - kHeader) / block);
    return cutShort(layout.path, "inside block " + std::to_string(complete) + " of " +
                                     std::to_string(layout.header->GetBlockCount()));
}

std::uint64_t u32(const std::uint8_t* bytes) {
    std::uint64_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | bytes[i];
    return value;
}

/// Compressed lines are walked piece by piece. Each step takes bytes of the file, so the walk ends
/// however large the grid is said to be.
std::string compressedProblem(InputFile& file, const ScanLayout& layout) {
    const std::uint64_t pieces = (std::uint64_t{layout.rows} + kPiecePoints - 1) / kPiecePoints;
    std::uint64_t offset = kHeader;
    for (std::uint32_t block = 0; block < layout.header->GetBlockCount(); ++block) {
        offset += kBlockFlag;
        for (std::uint32_t column = 0; column < layout.columns; ++column) {
            for (std::uint64_t piece = 0; piece < pieces; ++piece) {
                std::uint8_t length[kPieceLength];
                const bool isThere = file.readAt(offset, length, sizeof length);
                if (isThere) offset += kPieceLength + u32(length);
                if (isThere && offset <= file.size()) continue;
                return cutShort(layout.path, "inside column " + std::to_string(column) +
                                                 " of block " + std::to_string(block));
            }
        }
    }
    return offset <= file.size() ? "" : cutShort(layout.path, "inside its last block");
}

std::string findProblem(InputFile& file, const CLRFileHeader& header, ScanLayout& layout) {
    if (file.size() < kHeader) return layout.path + ": the file ends inside its header";
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
    const Wide plainSize = kHeader + header.GetBlockCount() * Wide{kBlockFlag} + records * kRecord;
    // A sorted copy keeps the header of compressed lines but holds plain records.
    const bool compressed =
        header.GetPointFormat() == kCompressed && plainSize != file.size() && cells > 0;
    std::string problem =
        compressed ? compressedProblem(file, layout) : plainProblem(layout, plainSize);
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
    header->Read(path.c_str());
    const CLRFileHeader& fields = *header;
    layout.header = std::move(header);
    const std::string problem = findProblem(file, fields, layout);
    if (!problem.empty()) layout.problems.push_back(problem);
    return layout;
}

}  // namespace brisko::tool
