#include "codec/clr_cells.h"

#include "codec/clr_compressed_cells.h"
#include "codec/clr_plain_cells.h"

namespace brisko {

CLRGrid gridOf(const CLRFileHeader& header) {
    const auto columns = static_cast<std::int64_t>(header.GetAzimuthResolution());
    const auto rows = static_cast<std::int64_t>(header.GetZenithResolution());
    if (columns <= 0 || rows <= 0) return {};
    // Both counts have 31 bits on disk, so that no product of theirs overflows.
    return {static_cast<std::uint64_t>(columns), static_cast<std::uint64_t>(rows)};
}

std::unique_ptr<CLRCells> openCLRCells(std::FILE* file, const CLRFileHeader& header) {
    switch (header.GetPointFormat()) {
        case 0:
        case 1:
        case 3:
            return std::make_unique<CLRPlainCells>(file, header);
        case 2:
            return std::make_unique<CLRCompressedCells>(file, header);
        default:
            return nullptr;
    }
}

}  // namespace brisko
