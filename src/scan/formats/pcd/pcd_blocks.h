#pragma once

#include "scan/formats/pcd/pcd_header.h"
#include "scan/formats/ptx/line_reader.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// Values of some points of a PCD file, one array for each role that a field has; the others are empty. Colours
/// that are packed into a number are that number.
using PcdColumns = std::array<std::vector<double>, kPcdRoles>;

/// Some points of a PCD file.
struct PcdBlock {
    std::uint64_t first = 0;  // of the points
    std::size_t count = 0;
    std::vector<std::uint8_t> bytes;  // as they are stored, where they are numbers
    LineStretch lines;                // where they are text
    PcdColumns columns;
};

/// The points of a file block by block, however they are stored.
class PcdBlocks {
public:
    virtual ~PcdBlocks() = default;

    /// The next points, as they are stored. False at the end, after a look at whether the file has what its
    /// header announces. Throws ScanError(Damaged).
    virtual bool fetch(PcdBlock& block) = 0;
    /// Brings the values into the columns; those that are no numbers are NaN. May be called by several threads at
    /// once, for blocks of their own. Throws ScanError(Damaged).
    virtual void decode(PcdBlock& block) const = 0;
    virtual void rewind() = 0;
};

/// header: of that file. Throws ScanError(Damaged) where the file is too short for its points.
std::unique_ptr<PcdBlocks> openPcdBlocks(const std::string& path, const PcdHeader& header);

/// The same for the form of text.
std::unique_ptr<PcdBlocks> openPcdLines(const std::string& path, const PcdHeader& header);

/// Makes the arrays of the roles that there are as long as the block.
void makePcdRoom(const PcdHeader& header, PcdBlock& block);

[[noreturn]] void failPcdTooShort(const std::string& path, const PcdHeader& header);

}  // namespace brisko::scan
