#pragma once

#include "scan/formats/scan_output.h"

#include <brisko_codec/alignment.h>

#include <algorithm>
#include <string>

namespace brisko::scan {

/// Throws ScanError(NotWritten) after a writer reported an error.
[[noreturn]] void failToWrite(const std::string& shownPath);

/// The box around all points given.
class PointBox {
public:
    void add(const CellPoint& p) {
        const double values[3] = {p.x, p.y, p.z};
        for (int axis = 0; axis < 3; ++axis) {
            m_box.max[axis] = std::max(m_box.max[axis], values[axis]);
            m_box.min[axis] = std::min(m_box.min[axis], values[axis]);
        }
    }
    const AlignmentBox& box() const { return m_box; }

private:
    AlignmentBox m_box;
};

/// Writes the ALG file of a format whose writer leaves that to its caller, unless the alignment is
/// the identity.
void writeAlignmentBeside(const OutputTarget& target, const PointBox& box);

// Reading back what a writer has completed: sizes, counts in headers, and for an indexed scan every
// entry. They throw ScanError(NotWritten) when the files do not hold what was given.
void checkIndexedCL3(const OutputTarget& target, std::uint64_t points);
void checkPlainCL3(const OutputTarget& target, std::uint64_t points);
void checkCLR(const OutputTarget& target);

}  // namespace brisko::scan
