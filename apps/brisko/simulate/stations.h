#pragma once

#include "simulate/pose.h"
#include "simulate/scene.h"

#include <string>

namespace brisko::tool {

/// A scene and the scanner set up in it. World frame: metres, the ground at z = 0, z up.
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
