#include <brisko_codec/cloud_transformation.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>

/// Column by column: element of row r and column c at 4c + r.
struct CloudTransformationMatrix {
    std::array<double, 16> m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
};

Transformation::~Transformation() = default;

bool Transformation::IsSpecial() {
    return false;
}

CloudTransformation::CloudTransformation()
    : m_matrix(std::make_shared<CloudTransformationMatrix>()) {
}

CloudTransformation::CloudTransformation(const CloudTransformation& other)
    : Transformation(other),
      m_matrix(std::make_shared<CloudTransformationMatrix>(*other.m_matrix)) {
}

CloudTransformation& CloudTransformation::operator=(const CloudTransformation& other) {
    if (this != &other) *m_matrix = *other.m_matrix;
    return *this;
}

CloudTransformation::~CloudTransformation() = default;

void CloudTransformation::transform(double& x, double& y, double& z, float&, std::uint8_t&,
                                    std::uint8_t&, std::uint8_t&, std::uint8_t&) {
    const auto& m = m_matrix->m;
    const auto row = [&](std::size_t r) {
        return m[r] * x + m[r + 4] * y + m[r + 8] * z + m[r + 12];
    };
    // All three before the first is stored: each needs the old coordinates.
    const double newX = row(0), newY = row(1), newZ = row(2);
    x = newX;
    y = newY;
    z = newZ;
}

void CloudTransformation::SetTransformationMatrix(double (&m)[16]) {
    for (std::size_t row = 0; row < 4; ++row) {
        for (std::size_t column = 0; column < 4; ++column) {
            m_matrix->m[4 * column + row] = m[4 * row + column];
        }
    }
}

void CloudTransformation::SetTransposedMatrix(double (&m)[16]) {
    std::copy(std::begin(m), std::end(m), m_matrix->m.begin());
}
