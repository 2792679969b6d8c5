#pragma once

#include <array>
#include <optional>

namespace brisko::scan {

/// A pose as translation and quaternion: tx ty tz qw qx qy qz.
using Viewpoint = std::array<double, 7>;
/// The same as a matrix, row by row, for column vectors.
using PoseMatrix = std::array<double, 16>;

/// How far elements of a matrix may be from a rigid motion: matrices in text files have few digits.
inline constexpr double kPoseTolerance = 1e-4;

/// The quaternion may be of any length but 0. Nothing for numbers that are no pose.
std::optional<PoseMatrix> matrixOf(const Viewpoint& pose);

/// The rigid motion nearest to a matrix. Nothing where the matrix is none to `tolerance` in each element.
std::optional<Viewpoint> viewpointOf(const PoseMatrix& matrix, double tolerance);

}  // namespace brisko::scan
