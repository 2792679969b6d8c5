#include "convert/native_check.h"

#include "common/failure.h"
#include "common/input_file.h"
#include "common/progress.h"
#include "convert/point_filter.h"
#include "scan/native_layout.h"
#include "scan/scan_layout.h"

#include <cerrno>
#include <cmath>
#include <cstring>
#include <vector>

namespace brisko::tool {
namespace {

constexpr std::uint64_t kEntriesOfTile = std::uint64_t{256} * 256;

[[noreturn]] void failCheck(const OutputTarget& target, const std::string& what) {
    throw Failure(ExitCode::NotWritten, target.shownPath +
                                            ": what was written does not read back as it should (" +
                                            what + "); nothing was put in place");
}

void require(bool holds, const OutputTarget& target, const char* what) {
    if (!holds) failCheck(target, what);
}

void checkAlignment(const OutputTarget& target) {
    double matrix[16];
    const std::string path = companionOf(target.path, ".alg");
    require(readAlignmentFile(path.c_str(), matrix), target, "alignment");
    require(isSameMatrix(target.matrix, matrix), target, "alignment");
}

/// The entries of each tile number its points 1, 2, 3 and so on.
void checkEntries(const OutputTarget& target, const IndexLayout& index) {
    InputFile file(index.path);
    std::vector<std::uint8_t> tile(ij_tile::kHeaderSize + 4 * kEntriesOfTile);
    std::uint8_t header[ij_header::kSize];
    require(file.read(header, sizeof header) == sizeof header, target, "index header");
    for (std::uint32_t k = 0; k < index.tiles; ++k) {
        throwIfInterrupted();
        require(file.read(tile.data(), tile.size()) == tile.size(), target, "index length");
        std::uint32_t count = 0;
        std::memcpy(&count, tile.data() + 8, sizeof count);
        std::uint32_t points = 0;
        for (std::uint64_t i = 0; i < kEntriesOfTile; ++i) {
            std::uint32_t entry = 0;
            std::memcpy(&entry, tile.data() + ij_tile::kHeaderSize + 4 * i, sizeof entry);
            if (entry == 0) continue;
            require(entry == ++points, target, "index entries");
        }
        require(points == count, target, "points of a tile");
    }
}

}  // namespace

void failToWrite(const std::string& shownPath) {
    const std::string reason = errno != 0 ? std::strerror(errno) : "the disk may be full";
    throw Failure(ExitCode::NotWritten, shownPath + ": cannot be written: " + reason);
}

void writeAlignmentBeside(const OutputTarget& target, const PointBox& box) {
    if (isIdentity(target.matrix)) return;
    const std::string path = companionOf(target.path, ".alg");
    if (!writeAlignmentFile(path.c_str(), target.matrix, box.box())) {
        failToWrite(companionOf(target.shownPath, ".alg"));
    }
    checkAlignment(target);
}

void checkIndexedCL3(const OutputTarget& target, std::uint64_t points) {
    const ScanLayout layout = inspectCL3(target.path);
    if (!layout.problems.empty()) failCheck(target, layout.problems.front());
    require(layout.index.has_value(), target, "index");
    require(layout.columns == target.columns && layout.rows == target.rows, target, "grid");
    require(layout.header->GetBlockCount() == layout.index->tiles, target, "blocks");
    require(layout.records == points, target, "points");
    checkEntries(target, *layout.index);
    checkAlignment(target);
}

void checkPlainCL3(const OutputTarget& target, std::uint64_t points) {
    const ScanLayout layout = inspectCL3(target.path);
    if (!layout.problems.empty()) failCheck(target, layout.problems.front());
    require(layout.records == points, target, "points");
}

void checkCLR(const OutputTarget& target) {
    const ScanLayout layout = inspectCLR(target.path);
    if (!layout.problems.empty()) failCheck(target, layout.problems.front());
    require(layout.columns == target.columns && layout.rows == target.rows, target, "grid");
    require(layout.header->GetBlockCount() == 1, target, "blocks");
    constexpr std::uint64_t kHeaderAndFlag = 121;
    constexpr std::uint64_t kRecord = 20;
    require(layout.bytes == kHeaderAndFlag + kRecord * layout.records, target, "size");
}

}  // namespace brisko::tool
