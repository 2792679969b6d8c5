#pragma once

namespace brisko::simulator {

/// A place in the picture plane: millimetres from the principal point, right and up.
struct PicturePlace {
    double right = 0, up = 0;
};

/// How a lens bends the picture: radial and tangential terms in powers of millimetres.
struct Lens {
    double k1 = 0, k2 = 0, k3 = 0;
    double p1 = 0, p2 = 0;

    /// Where a point appears that a lens without distortion would show at `ideal`.
    PicturePlace shown(const PicturePlace& ideal) const;
    /// The way back, found step by step; only for places that the lens reaches.
    PicturePlace ideal(const PicturePlace& shown) const;
};

}  // namespace brisko::simulator
