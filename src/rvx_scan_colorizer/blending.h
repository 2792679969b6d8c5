#pragma once

#include "rvx_scan_colorizer/projection.h"
#include "rvx_scan_colorizer/station_files.h"

#include <algorithm>
#include <cstdint>

namespace brisko {

/// How a photo is blended over those before it: its share grows from 0 at the photo's edge to 1 at
/// some distance inside. Which edges count depends on the camera. All blending rules are here: a new
/// one is a value of Edges, its choice in edgesOf and its case in weightAt.
class Blending {
public:
    enum class Edges {
        All,
        AllButRight,
        UpperHalf,       // only the upper half is the view; with seams at its lower right corner
        UpperHalfPlain,  // the same without the seams
    };
    /// The rule for photos of a camera.
    static Edges edgesOf(const CameraTraits& traits, int cameraStep, StationKind station) {
        if (traits.showsUpperHalf(cameraStep)) {
            return station == StationKind::WithOffset ? Edges::UpperHalfPlain : Edges::UpperHalf;
        }
        return traits.rightEdgeBlends ? Edges::All : Edges::AllButRight;
    }

    Blending() = default;
    /// Sizes are those of the working frame; `width` is the distance over which the share grows.
    Blending(Edges edges, const ImageSize& size, double width)
        : m_edges(edges),
          m_columns(size.width),
          m_rows(size.height),
          m_width(width),
          m_wholeWidth(static_cast<int>(roundHalfUp(width))) {}

    /// The photo's share at a pixel, 0 to 1.
    double weightAt(const Pixel& pixel) const {
        const auto [column, row] = pixel;
        switch (m_edges) {
            case Edges::All:
                return share(std::min({column, row, m_columns - column, m_rows - row}));
            case Edges::AllButRight:
                return share(std::min({column, row, m_rows - row}));
            case Edges::UpperHalf:
                return weightInUpperHalf(pixel);
            case Edges::UpperHalfPlain:
                return share(std::min({column, row, m_rows / 2 + m_wholeWidth - row}));
        }
        return 0;
    }

private:
    /// Most pixels are far inside: a comparison takes less time than a division.
    double share(int distance) const {
        return distance >= m_width ? 1 : std::clamp(distance / m_width, 0.0, 1.0);
    }

    double weightInUpperHalf(const Pixel& pixel) const {
        const auto [column, row] = pixel;
        const int half = m_rows / 2, lowerEdge = half + m_wholeWidth;
        const int toRight = m_columns - column;
        const bool isRight = toRight < m_wholeWidth;
        if (row > lowerEdge && isRight) {
            // Below the view, towards the next photo: here the share falls inwards.
            const bool isCorner = m_rows - row + toRight < m_wholeWidth;
            return isCorner ? 0 : 1 - share(toRight);
        }
        // The seam crosses the corner as a diagonal; before it the right edge counts.
        const bool isBeforeSeam =
            half < row && row < lowerEdge && isRight && lowerEdge - row + toRight < m_wholeWidth;
        if (isBeforeSeam) return share(toRight);
        return share(std::min({column, row, lowerEdge - row}));
    }

    Edges m_edges = Edges::All;
    int m_columns = 0, m_rows = 0;
    double m_width = 1;
    int m_wholeWidth = 1;
};

}  // namespace brisko
