#pragma once

#include "simulate/geometry.h"
#include "simulate/scene.h"

#include <string>

namespace brisko::tool {

/// A scene and the scanner set up in it. World frame: metres, the ground at z = 0, z up.
/// The scanner leans by about a degree, as they do: enough for every element of its rotation to keep
/// all its digits in the fixed-point text of an alignment file.
struct Station {
    Scene scene;
    Pose pose;
};

/// A paved yard between a brick house, an arcade and two walls, under open sky.
Station makeCourtyard();
/// A furnished room, closed all around.
Station makeRoom();

/// "courtyard" or "room".
Station makeStation(const std::string& name);

}  // namespace brisko::tool
