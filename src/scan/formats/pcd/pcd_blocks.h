#pragma once

#include "scan/formats/pcd/pcd_header.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// Some points of a PCD file, one array for each role that a field has; the others are empty. Colours
/// that are packed into a number are that number.
using PcdColumns = std::array<std::vector<double>, kPcdRoles>;
inline constexpr std::size_t kPcdBlock = 4096;  // points

/// The points of a file block by block, however they are stored.
class PcdBlocks {
public:
    virtual ~PcdBlocks() = default;

    /// The next points; values that are no numbers are NaN. Returns how many, at most kPcdBlock; 0 at the
    /// end, after a look at whether the file has what its header announces.
    /// Throws ScanError(Damaged).
    virtual std::size_t next(PcdColumns& columns) = 0;
    virtual void rewind() = 0;
};

/// header: of that file. Throws ScanError(Damaged) where the file is too short for its points.
std::unique_ptr<PcdBlocks> openPcdBlocks(const std::string& path, const PcdHeader& header);

/// The same for the form of text.
std::unique_ptr<PcdBlocks> openPcdLines(const std::string& path, const PcdHeader& header);

/// Makes the arrays of the roles that there are as long as a block.
void makePcdRoom(const PcdHeader& header, PcdColumns& columns);

[[noreturn]] void failPcdTooShort(const std::string& path, const PcdHeader& header);

}  // namespace brisko::scan
