#include "simulator/lens.h"

#include <cmath>

namespace brisko::simulator {

PicturePlace Lens::shown(const PicturePlace& ideal) const {
    const auto [u, v] = ideal;
    const double r2 = u * u + v * v;
    const double radial = 1 + r2 * (k1 + r2 * (k2 + r2 * k3));
    return {u * radial + p1 * (r2 + 2 * u * u) + 2 * p2 * u * v,
            v * radial + p2 * (r2 + 2 * v * v) + 2 * p1 * u * v};
}

PicturePlace Lens::ideal(const PicturePlace& shown) const {
    constexpr int kMostSteps = 50;
    constexpr double kTolerance = 1e-9;  // millimetres, far below any pixel
    PicturePlace ideal = shown;
    for (int step = 0; step < kMostSteps; ++step) {
        const PicturePlace reached = this->shown(ideal);
        const double right = reached.right - shown.right, up = reached.up - shown.up;
        if (std::abs(right) + std::abs(up) < kTolerance) break;
        // Newton's step: the derivatives of both coordinates by both.
        const auto [u, v] = ideal;
        const double r2 = u * u + v * v;
        const double radial = 1 + r2 * (k1 + r2 * (k2 + r2 * k3));
        const double slope = 2 * (k1 + r2 * (2 * k2 + r2 * 3 * k3));
        const double rightByU = radial + u * u * slope + 6 * p1 * u + 2 * p2 * v;
        const double upByV = radial + v * v * slope + 6 * p2 * v + 2 * p1 * u;
        const double mixed = u * v * slope + 2 * p1 * v + 2 * p2 * u;
        const double determinant = rightByU * upByV - mixed * mixed;
        ideal.right -= (right * upByV - up * mixed) / determinant;
        ideal.up -= (up * rightByU - right * mixed) / determinant;
    }
    return ideal;
}

}  // namespace brisko::simulator
