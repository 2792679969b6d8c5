#pragma once

/// Which points a skip codec lets through. Coordinates are metres, as the wrapped reader delivers
/// them. Every comparison is false for a NaN.
namespace brisko {

/// Points at most so far from the origin.
struct DistanceValidator {
    double maximumDistance;

    bool accepts(double x, double y, double z) const {
        return maximumDistance * maximumDistance >= x * x + y * y + z * z;
    }
};

/// Points strictly inside a box.
struct BbPointValidator {
    double minX, minY, minZ;
    double maxX, maxY, maxZ;

    bool accepts(double x, double y, double z) const {
        return minX < x && x < maxX && minY < y && y < maxY && minZ < z && z < maxZ;
    }
};

/// Points that do not lie exactly at the origin, where scanners leave what they could not measure.
struct InvalidPointValidator {
    bool accepts(double x, double y, double z) const { return !(x == 0 && y == 0 && z == 0); }
};

}  // namespace brisko
