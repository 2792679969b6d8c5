#pragma once

#include "simulator/geometry.h"

#include <cstdint>

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

}  // namespace brisko::simulator
