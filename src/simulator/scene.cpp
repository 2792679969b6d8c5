#include "simulator/scene.h"

#include "simulator/noise.h"

#include <algorithm>
#include <utility>

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

std::vector<Shape> shapesOf(const std::vector<Body>& bodies) {
    std::vector<Shape> shapes;
    shapes.reserve(bodies.size());
    for (const Body& body : bodies)
        shapes.push_back(body.shape);
    return shapes;
}

std::vector<std::size_t> materialsOf(const std::vector<Body>& bodies) {
    std::vector<std::size_t> materials;
    materials.reserve(bodies.size());
    for (const Body& body : bodies)
        materials.push_back(body.material);
    return materials;
}

std::uint8_t toByte(double share) {
    return static_cast<std::uint8_t>(std::clamp(share, 0.0, 1.0) * 255.0 + 0.5);
}

Colour lit(const Vector3& colour, const Vector3& normal, const Light& light) {
    const double facing = std::max(0.0, dot(normal, light.direction));
    const double brightness = light.ambient + (1 - light.ambient) * facing;
    return {toByte(colour.x * brightness), toByte(colour.y * brightness),
            toByte(colour.z * brightness)};
}

}  // namespace

Texel sampleMaterial(const Material& material, double u, double v) {
    if (material.pattern == Pattern::Plain) return {material.colour, material.reflectance};
    const Field field = fieldAt(material, u, v);
    if (field.other) return {material.otherColour, material.otherReflectance};
    const double tint = 1 + material.variation * fieldTint(field);
    return {material.colour * tint, std::clamp(material.reflectance * tint, 0.0, 1.0)};
}

Scene::Scene(const std::vector<Body>& bodies, std::vector<Material> materials, const Light& light)
    : m_materialOf(materialsOf(bodies)),
      m_shapes(shapesOf(bodies)),
      m_materials(std::move(materials)),
      m_light(light) {
}

Hit Scene::cast(const Vector3& origin, const Vector3& direction) const {
    const ShapeTree::Found found = m_shapes.first(Ray(origin, direction));
    if (found.shape == ShapeTree::kNothing) return {};

    const Vector3 position = origin + direction * found.crossing.distance;
    const Contact contact = m_shapes.shape(found.shape).contact(found.crossing, position);
    const Vector3 normal = dot(contact.normal, direction) > 0 ? -contact.normal : contact.normal;
    const Material& material = m_materials[m_materialOf[found.shape]];
    const Texel texel = sampleMaterial(material, contact.u, contact.v);
    return {found.crossing.distance, position,          normal, lit(texel.colour, normal, m_light),
            texel.reflectance,       material.mirroring};
}

}  // namespace brisko::simulator
