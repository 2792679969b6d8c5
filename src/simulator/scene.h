#pragma once

#include "simulator/geometry.h"
#include "simulator/shape_tree.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko::simulator {

/// How a surface is divided.
enum class Pattern {
    Plain,
    Tiles,    // a grid with joints
    Bricks,   // courses, every other one shifted by half a brick
    Planks,   // boards along u, their ends scattered
    Checker,  // two colours, no joints
};

/// What a surface is made of. Colours run from 0 to 1; lengths are metres.
struct Material {
    Pattern pattern = Pattern::Plain;
    Vector3 colour{};
    Vector3 otherColour{};  // of the joints, or of every other field
    double width = 1;       // of a tile, brick, plank or field
    double height = 1;
    double joint = 0;
    double variation = 0;    // from one tile to the next, as a share of the colour
    double reflectance = 1;  // for the scanner's light, 0 to 1
    double otherReflectance = 1;
    bool mirroring = false;  // sends light back only when struck head-on
};

/// A material at one place of a surface.
struct Texel {
    Vector3 colour{};
    double reflectance = 1;
};

/// u, v: metres along the surface.
Texel sampleMaterial(const Material& material, double u, double v);

struct Colour {
    std::uint8_t red = 0, green = 0, blue = 0;
};

/// What a ray meets first.
struct Hit {
    double distance = kNoHit;  // metres from the origin; kNoHit for open sky
    Vector3 position;          // metres, world frame
    Vector3 normal;            // of length 1, towards the side the ray came from
    Colour colour;             // as a photograph shows it, the same from every side
    double reflectance = 0;    // for the scanner's light, 0 to 1
    bool mirroring = false;    // sends light back only when struck head-on

    explicit operator bool() const { return distance < kNoHit; }
};

/// The light that colours are seen in.
struct Light {
    double ambient = 1;             // the share that comes from everywhere
    Vector3 direction = {0, 0, 1};  // towards the lamp or the sun, of length 1
};

/// A body and what it is made of: a place in the scene's list of materials.
struct Body {
    Shape shape;
    std::size_t material = 0;
};

/// Bodies in the world frame: metres, z up. Immutable, so any number of threads may look at it.
class Scene {
public:
    Scene(const std::vector<Body>& bodies, std::vector<Material> materials, const Light& light);

    /// Follows a ray from a place; the direction has length 1.
    Hit cast(const Vector3& origin, const Vector3& direction) const;

private:
    std::vector<std::size_t> m_materialOf;  // by shape
    ShapeTree m_shapes;
    std::vector<Material> m_materials;
    Light m_light;
};

}  // namespace brisko::simulator
