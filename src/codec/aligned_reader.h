#pragma once

#include <brisko_codec/alignment.h>

namespace brisko {

/// A reader that keeps an alignment, or wraps one that does.
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

protected:
    ~AlignedReader() = default;
};

}  // namespace brisko
