#pragma once

#include <brisko_codec/alignment.h>

namespace brisko {

/// A reader that keeps an alignment, or wraps one that does.
class AlignedReader {
public:
    virtual Alignment alignment() const = 0;
    /// Holds from the next read on.
    virtual void setFrame(Frame frame) = 0;

protected:
    ~AlignedReader() = default;
};

}  // namespace brisko
