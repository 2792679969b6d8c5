#include "simulator/scene.h"

#include <algorithm>
#include <utility>

namespace brisko::simulator {

namespace {

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
