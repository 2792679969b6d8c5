#include "simulator/stations.h"

#include <cstddef>
#include <vector>

// The room, metres: x from -4 to 4, y from -3 (windows) to 3, 2.8 high.

namespace brisko::simulator {

namespace {

enum : std::size_t {
    kFloor,
    kWall,
    kPaintedWall,
    kCeiling,
    kOak,
    kWhiteWood,
    kGlass,
    kCarpet,
    kCloth,
    kStone,
    kWhite,
    kChecker,
    kLamp,
    kBooks,
};

// In the order of the names above.
std::vector<Material> roomMaterials() {
    return {
        {.pattern = Pattern::Planks,
         .colour = {0.62, 0.44, 0.26},
         .otherColour = {0.28, 0.18, 0.10},
         .width = 1.6,
         .height = 0.14,
         .joint = 0.006,
         .variation = 0.16,
         .reflectance = 0.45,
         .otherReflectance = 0.15},
        {.colour = {0.92, 0.90, 0.84}, .reflectance = 0.80},
        {.pattern = Pattern::Checker,
         .colour = {0.42, 0.58, 0.62},
         .otherColour = {0.48, 0.64, 0.66},
         .width = 0.25,
         .height = 0.5,
         .reflectance = 0.60,
         .otherReflectance = 0.66},
        {.colour = {0.97, 0.97, 0.95}, .reflectance = 0.88},
        {.pattern = Pattern::Planks,
         .colour = {0.50, 0.33, 0.18},
         .otherColour = {0.35, 0.22, 0.12},
         .width = 2.4,
         .height = 0.2,
         .joint = 0.004,
         .variation = 0.12,
         .reflectance = 0.40,
         .otherReflectance = 0.2},
        {.colour = {0.94, 0.94, 0.92}, .reflectance = 0.85},
        {.colour = {0.35, 0.45, 0.55}, .reflectance = 0.10, .mirroring = true},
        {.pattern = Pattern::Tiles,
         .colour = {0.62, 0.14, 0.14},
         .otherColour = {0.85, 0.72, 0.40},
         .width = 0.3,
         .height = 0.3,
         .joint = 0.05,
         .variation = 0.08,
         .reflectance = 0.30,
         .otherReflectance = 0.5},
        {.colour = {0.18, 0.26, 0.46}, .reflectance = 0.22},
        {.colour = {0.72, 0.70, 0.66}, .reflectance = 0.6},
        {.colour = {0.96, 0.96, 0.96}, .reflectance = 0.95},
        {.pattern = Pattern::Checker,
         .colour = {0.95, 0.90, 0.20},
         .otherColour = {0.10, 0.25, 0.70},
         .width = 0.16,
         .height = 0.16,
         .reflectance = 0.85,
         .otherReflectance = 0.2},
        {.colour = {1.0, 0.95, 0.75}, .reflectance = 0.9},
        {.pattern = Pattern::Tiles,
         .colour = {0.48, 0.30, 0.24},
         .otherColour = {0.10, 0.08, 0.08},
         .width = 0.05,
         .height = 0.5,
         .joint = 0.006,
         .variation = 0.6,
         .reflectance = 0.4,
         .otherReflectance = 0.1},
    };
}

void addWalls(BodyList& bodies) {
    bodies.addBox(kFloor, {-4.2, -3.2, -0.2}, {4.2, 3.2, 0});
    bodies.addBox(kCeiling, {-4.2, -3.2, 2.8}, {4.2, 3.2, 3});
    bodies.addBox(kWall, {-4.2, -3.2, 0}, {4.2, -3, 2.8});
    bodies.addBox(kPaintedWall, {-4.2, 3, 0}, {4.2, 3.2, 2.8});
    bodies.addBox(kWall, {-4.2, -3, 0}, {-4, 3, 2.8});
    bodies.addBox(kWall, {4, -3, 0}, {4.2, 3, 2.8});
    bodies.addBox(kWhiteWood, {-4, 2.98, 0}, {4, 3, 0.1});  // skirting
    bodies.addBox(kWhiteWood, {-4, -3, 0}, {4, -2.98, 0.1});
    bodies.addBox(kCeiling, {-4, -0.15, 2.55}, {4, 0.15, 2.8});  // beam
}

void addWindow(BodyList& bodies, double x) {
    bodies.addBox(kGlass, {x - 0.7, -3, 0.9}, {x + 0.7, -2.98, 2.3});
    bodies.addBox(kWhiteWood, {x - 0.78, -3, 0.82}, {x - 0.68, -2.93, 2.38});
    bodies.addBox(kWhiteWood, {x + 0.68, -3, 0.82}, {x + 0.78, -2.93, 2.38});
    bodies.addBox(kWhiteWood, {x - 0.68, -3, 2.28}, {x + 0.68, -2.94, 2.38});
    bodies.addBox(kWhiteWood, {x - 0.03, -3, 0.9}, {x + 0.03, -2.945, 2.28});
    bodies.addBox(kStone, {x - 0.85, -3, 0.78}, {x + 0.85, -2.75, 0.82});
}

void addDoor(BodyList& bodies) {
    bodies.addBox(kWhiteWood, {3.9, 0.4, 0}, {4, 1.5, 2.15});
    bodies.addBox(kOak, {3.87, 0.5, 0.005}, {4, 1.4, 2.05});
    bodies.addSphere(kLamp, {3.83, 0.6, 1.05}, 0.04);
}

void addTable(BodyList& bodies, double x, double y) {
    bodies.addBox(kOak, {x - 0.8, y - 0.45, 0.71}, {x + 0.8, y + 0.45, 0.75});
    for (const double dx : {-0.72, 0.72}) {
        for (const double dy : {-0.37, 0.37}) {
            bodies.addCylinder(kOak, {x + dx, y + dy, 0}, 0.035, 0.71);
        }
    }
    bodies.addSphere(kChecker, {x - 0.35, y + 0.1, 0.91}, 0.16);
    bodies.addCylinder(kWhite, {x + 0.3, y, 0.75}, 0.09, 0.22);
}

/// The back stands at the side of `back`, in y.
void addChair(BodyList& bodies, double x, double y, double back) {
    bodies.addBox(kOak, {x - 0.22, y - 0.22, 0.43}, {x + 0.22, y + 0.22, 0.47});
    const double low = back < 0 ? y - 0.22 : y + 0.19;
    bodies.addBox(kOak, {x - 0.22, low, 0.47}, {x + 0.22, low + 0.03, 0.95});
    for (const double dx : {-0.19, 0.19}) {
        for (const double dy : {-0.19, 0.19}) {
            bodies.addBox(kOak, {x + dx - 0.02, y + dy - 0.02, 0},
                          {x + dx + 0.02, y + dy + 0.02, 0.43});
        }
    }
}

void addShelf(BodyList& bodies) {
    bodies.addBox(kOak, {-4, 0.6, 0}, {-3.6, 0.64, 2.1});
    bodies.addBox(kOak, {-4, 2.36, 0}, {-3.6, 2.4, 2.1});
    for (int board = 0; board <= 5; ++board) {
        const double z = 0.05 + 0.405 * board;
        bodies.addBox(kOak, {-4, 0.64, z}, {-3.6, 2.36, z + 0.03});
        if (board == 5) break;
        const double end = 2.3 - 0.23 * ((board * 3) % 5);
        bodies.addBox(kBooks, {-4, 0.66, z + 0.03}, {-3.7, end, z + 0.28 + 0.02 * (board % 3)});
    }
}

void addSofa(BodyList& bodies) {
    bodies.addBox(kCloth, {-0.6, 2.1, 0.1}, {1.8, 2.95, 0.42});
    bodies.addBox(kCloth, {-0.6, 2.7, 0.42}, {1.8, 2.97, 0.9});
    bodies.addBox(kCloth, {-0.8, 2.1, 0.1}, {-0.6, 2.97, 0.62});
    bodies.addBox(kCloth, {1.8, 2.1, 0.1}, {2.0, 2.97, 0.62});
    bodies.addSphere(kWhite, {1.4, 2.5, 0.56}, 0.16);
}

void addColumns(BodyList& bodies) {
    for (const double x : {-2.2, 2.4}) {
        bodies.addBox(kStone, {x - 0.24, -0.24, 0}, {x + 0.24, 0.24, 0.12});
        bodies.addCylinder(kStone, {x, 0, 0.12}, 0.17, 2.33);
        bodies.addBox(kStone, {x - 0.24, -0.24, 2.45}, {x + 0.24, 0.24, 2.55});
    }
}

}  // namespace

Station makeRoom() {
    BodyList bodies;
    addWalls(bodies);
    addWindow(bodies, -2);
    addWindow(bodies, 1.6);
    addDoor(bodies);
    bodies.addBox(kCarpet, {-1.5, 0.6, 0}, {2.6, 2.0, 0.012});
    addTable(bodies, 1.2, -1.7);
    addChair(bodies, 0.9, -0.95, 1);
    addChair(bodies, 1.6, -2.45, -1);
    addShelf(bodies);
    addSofa(bodies);
    addColumns(bodies);
    bodies.addCylinder(kStone, {-1, 1.2, 2.5}, 0.008, 0.3);  // lamp
    bodies.addSphere(kLamp, {-1, 1.2, 2.35}, 0.17);
    bodies.addSphere(kWhite, {-2.9, -2.3, 0.35}, 0.35);
    bodies.addBox(kWhiteWood, {3.2, -2.97, 0}, {3.97, -1.9, 1.9});  // cupboard
    const Light lamps{.ambient = 0.65, .direction = unit({0.2, -0.5, 0.8})};
    return {Scene(bodies.bodies(), roomMaterials(), lamps),
            {{-0.4, -0.5, 1.4}, standing(-20, -1.0, 1.2)}};
}

Station makeStation(const std::string& name) {
    return name == "room" ? makeRoom() : makeCourtyard();
}

}  // namespace brisko::simulator
