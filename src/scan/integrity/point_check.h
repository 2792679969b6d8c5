#pragma once

#include "scan/integrity/direction_range.h"
#include "scan/integrity/scan_check.h"

#include <brisko_codec/cell_reader.h>

#include <optional>

namespace brisko::scan {

/// Looks at single points: finite numbers, and directions that the header speaks of.
class PointCheck {
public:
    PointCheck(ScanCheck& check, const CLFileHeader& header);

    /// A record that holds a point; its number within the block counts from 0.
    void add(const CellPoint& point, std::uint64_t block, std::uint64_t number,
             std::uint64_t offset);
    /// Where much lies outside, the header speaks of other angles than the points do, and no single
    /// point is to blame.
    void finish();

private:
    void note(const char* kind, const CellPoint& point, std::uint64_t block, std::uint64_t number,
              std::uint64_t offset, const std::string& what);

    ScanCheck& m_check;
    std::optional<DirectionRange> m_range;
    std::uint64_t m_outside = 0;
};

/// Tells a header with angles that are not finite.
void checkHeaderAngles(ScanCheck& check, const CLFileHeader& header);
/// Tells an alignment file that is there and cannot be used.
void checkAlignmentFile(ScanCheck& check);

}  // namespace brisko::scan
