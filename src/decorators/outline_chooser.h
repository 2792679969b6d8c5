#pragma once

#include <brisko_codec/color_codec.h>

namespace brisko {

/// A codec that looks for the photos that show a point.
class OutlineChooser {
public:
    /// Holds from the next Open on.
    void setOutlines(PhotoOutlines outlines) { m_outlines = outlines; }

protected:
    OutlineChooser() = default;
    virtual ~OutlineChooser() = default;
    PhotoOutlines outlines() const { return m_outlines; }

private:
    PhotoOutlines m_outlines = PhotoOutlines::Corners;
};

}  // namespace brisko
