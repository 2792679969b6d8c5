#pragma once

#include "scan/formats/e57/e57_file.h"
#include "scan/formats/e57/record_points.h"

#include <cstdint>
#include <optional>

namespace brisko::scan::e57 {

/// What the XML part may leave open, and then only a pass over a scan's records shows; of the fields that it is
/// about no others are decoded.
struct ScanSurvey {
    /// The cells that records lie in; nothing where there is no grid.
    std::optional<IndexBounds> columns, rows;
    /// Points come by bands of so many columns; 0: in any order.
    std::uint32_t bandColumns = 0;
    /// The range of intensities, where nothing else names it.
    std::optional<IntensityRange> intensities;
};

/// Takes no pass where the file itself says all of it. Throws ScanError(Damaged).
ScanSurvey surveyScan(PageReader& pages, const Scan& scan);

/// How the records become points.
PointRule ruleOf(const ScanSurvey& survey);

/// Whether the file names the range of a scan's intensities, or their type does.
bool namesIntensities(const Scan& scan);

}  // namespace brisko::scan::e57
