#pragma once

#include "base/read_errors.h"
#include "layouts/alignment_matrix.h"

#include <brisko_codec/alignment.h>
#include <brisko_codec/column_range.h>
#include <brisko_codec/read_problem.h>

#include <memory>
#include <string>

namespace brisko {

/// A reader of this library, or a wrapper around one: what it knows besides the documented interface.
class AlignedReader {
public:
    virtual Alignment alignment() const = 0;
    virtual Frame frame() const = 0;
    /// Holds from the next read on.
    virtual void setFrame(Frame frame) = 0;
    /// For a wrapper that needs the points as measured and aligns them itself: points then come in
    /// the scanner's frame, while whatever judges them on the way (skip codecs, bounds) still sees
    /// them in the frame that was chosen. Holds from the next read on.
    /// Returns: false when the points have no known frame and come as they are.
    virtual bool deliverAsMeasured() = 0;
    /// What is wrong with the scan, as far as the pass has come.
    virtual ReadProblem readProblem() const = 0;
    /// How often the reader met what its answers do not show (base/read_errors.h), since it was made.
    virtual std::uint64_t readErrorCount() const = 0;
    /// Holds from the next pass on. Returns: false when its passes cannot be limited.
    virtual bool setColumnRange(const ColumnRange& columns,
                                std::shared_ptr<const CL3TileTable> tiles) = 0;

protected:
    ~AlignedReader() = default;
};

/// Loads the alignment of a scan from its ALG file. The matrix stays as it is unless the answer is
/// File: a file that is missing, cannot be read, does not parse, or holds an element that is not a
/// finite number aligns nothing.
///   errors  may be null
AlignmentSource loadAlignment(const std::string& path, AlignmentMatrix& matrix,
                              ReadErrors* errors = nullptr);

/// The alignment that lies beside a scan.
Alignment alignmentBeside(const std::string& scanPath, ReadErrors& errors);

}  // namespace brisko
