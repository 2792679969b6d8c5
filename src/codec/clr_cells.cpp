#include "codec/clr_cells.h"

#include "base/checked.h"
#include "base/file.h"
#include "codec/clr_compressed_cells.h"
#include "codec/clr_plain_cells.h"
#include "layouts/layout.h"

namespace brisko {

namespace {

// Point formats 0, 1 and 3 are plain records.
constexpr std::uint8_t kCompressed = 2;
constexpr std::uint8_t kLastFormat = 3;

}  // namespace

CLRGrid gridOf(const CLRFileHeader& header) {
    const auto columns = static_cast<std::int64_t>(header.GetAzimuthResolution());
    const auto rows = static_cast<std::int64_t>(header.GetZenithResolution());
    if (columns <= 0 || rows <= 0) return {};
    // Both counts have 31 bits on disk, so that no product of theirs overflows.
    return {static_cast<std::uint64_t>(columns), static_cast<std::uint64_t>(rows)};
}

bool hasPlainRecords(const CLRFileHeader& header, std::uint64_t fileSize) {
    const std::uint8_t format = header.GetPointFormat();
    if (format != kCompressed) return format <= kLastFormat;
    const std::uint64_t cells = gridOf(header).cells();
    const auto recordBytes = checkedMultiply(cells, clr_record::kSize);
    if (cells == 0 || !recordBytes) return false;
    const auto blockBytes =
        checkedMultiply(*recordBytes + clr_block::kHeaderSize, header.GetBlockCount());
    return blockBytes && checkedAdd(*blockBytes, clr_header::kSize) == fileSize;
}

std::unique_ptr<CLRCells> openCLRCells(std::FILE* file, const CLRFileHeader& header,
                                       FirstProblem& problem) {
    if (header.GetPointFormat() > kLastFormat) {
        problem.note(ReadProblemKind::BadHeader, FirstProblem::File::Scan, 0);
        return nullptr;
    }
    if (hasPlainRecords(header, fileLength(file))) {
        return std::make_unique<CLRPlainCells>(file, header, problem);
    }
    return std::make_unique<CLRCompressedCells>(file, header, problem);
}

}  // namespace brisko
