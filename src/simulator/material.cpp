#include "simulator/material.h"

#include "simulator/noise.h"

#include <algorithm>

namespace brisko::simulator {

namespace {

/// The tile, brick, plank or field around a place.
struct Field {
    std::int64_t column = 0;
    std::int64_t row = 0;
    bool other = false;  // on a joint, or a field of the other colour
};

Field fieldAt(const Material& material, double u, double v) {
    Field field;
    double across = v / material.height;
    field.row = static_cast<std::int64_t>(std::floor(across));
    double along = u / material.width;
    if (material.pattern == Pattern::Bricks) along += 0.5 * static_cast<double>(field.row & 1);
    if (material.pattern == Pattern::Planks) {
        along += toUnitInterval(scatter(static_cast<std::uint64_t>(field.row)));
    }
    field.column = static_cast<std::int64_t>(std::floor(along));
    if (material.pattern == Pattern::Checker) {
        field.other = ((field.column + field.row) & 1) != 0;
        return field;
    }
    along -= static_cast<double>(field.column);
    across -= static_cast<double>(field.row);
    field.other =
        along * material.width < material.joint || across * material.height < material.joint;
    return field;
}

/// -1 to 1, a fixed number for each field.
double fieldTint(const Field& field) {
    const std::uint64_t place =
        (static_cast<std::uint64_t>(field.column) << 32) ^ static_cast<std::uint32_t>(field.row);
    return 2 * toUnitInterval(scatter(place)) - 1;
}

}  // namespace

Texel sampleMaterial(const Material& material, double u, double v) {
    if (material.pattern == Pattern::Plain) return {material.colour, material.reflectance};
    const Field field = fieldAt(material, u, v);
    if (field.other) return {material.otherColour, material.otherReflectance};
    const double tint = 1 + material.variation * fieldTint(field);
    return {material.colour * tint, std::clamp(material.reflectance * tint, 0.0, 1.0)};
}

}  // namespace brisko::simulator
