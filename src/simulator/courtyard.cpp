#include "simulator/stations.h"

#include <algorithm>
#include <cstddef>
#include <vector>

// The yard, metres: x from -12 (gate) to 12, y from -9 (arcade) to 9 (house).

namespace brisko::simulator {

namespace {

enum : std::size_t {
    kPaving,
    kGrass,
    kBrick,
    kGardenBrick,
    kPlaster,
    kStone,
    kGlass,
    kWood,
    kRoof,
    kLeaves,
    kBark,
    kWhite,
    kChecker,
    kBronze,
    kWater,
};

// In the order of the names above.
std::vector<Material> courtyardMaterials() {
    return {
        {.pattern = Pattern::Tiles,
         .colour = {0.62, 0.58, 0.52},
         .otherColour = {0.30, 0.28, 0.25},
         .width = 0.6,
         .height = 0.6,
         .joint = 0.03,
         .variation = 0.18,
         .reflectance = 0.42,
         .otherReflectance = 0.18},
        {.pattern = Pattern::Tiles,
         .colour = {0.30, 0.48, 0.18},
         .width = 0.5,
         .height = 0.5,
         .variation = 0.2,
         .reflectance = 0.5},
        {.pattern = Pattern::Bricks,
         .colour = {0.64, 0.28, 0.20},
         .otherColour = {0.78, 0.75, 0.70},
         .width = 0.5,
         .height = 0.16,
         .joint = 0.02,
         .variation = 0.22,
         .reflectance = 0.48,
         .otherReflectance = 0.66},
        {.pattern = Pattern::Bricks,
         .colour = {0.72, 0.55, 0.36},
         .otherColour = {0.55, 0.52, 0.48},
         .width = 0.8,
         .height = 0.4,
         .joint = 0.03,
         .variation = 0.15,
         .reflectance = 0.55,
         .otherReflectance = 0.35},
        {.colour = {0.90, 0.84, 0.68}, .reflectance = 0.78},
        {.pattern = Pattern::Tiles,
         .colour = {0.80, 0.78, 0.74},
         .otherColour = {0.66, 0.64, 0.60},
         .width = 0.9,
         .height = 0.45,
         .joint = 0.015,
         .variation = 0.06,
         .reflectance = 0.70,
         .otherReflectance = 0.55},
        {.colour = {0.22, 0.32, 0.42}, .reflectance = 0.12, .mirroring = true},
        {.pattern = Pattern::Planks,
         .colour = {0.40, 0.25, 0.14},
         .otherColour = {0.20, 0.12, 0.07},
         .width = 3.0,
         .height = 0.14,
         .joint = 0.012,
         .variation = 0.15,
         .reflectance = 0.32,
         .otherReflectance = 0.12},
        {.pattern = Pattern::Bricks,
         .colour = {0.58, 0.22, 0.15},
         .otherColour = {0.34, 0.12, 0.08},
         .width = 0.35,
         .height = 0.4,
         .joint = 0.04,
         .variation = 0.15,
         .reflectance = 0.40,
         .otherReflectance = 0.20},
        {.pattern = Pattern::Tiles,
         .colour = {0.20, 0.42, 0.14},
         .otherColour = {0.10, 0.24, 0.08},
         .width = 0.22,
         .height = 0.22,
         .joint = 0.03,
         .variation = 0.35,
         .reflectance = 0.55,
         .otherReflectance = 0.3},
        {.colour = {0.34, 0.25, 0.18}, .reflectance = 0.3},
        {.colour = {0.96, 0.96, 0.96}, .reflectance = 0.95},
        {.pattern = Pattern::Checker,
         .colour = {0.95, 0.95, 0.95},
         .otherColour = {0.80, 0.10, 0.12},
         .width = 0.3,
         .height = 0.3,
         .reflectance = 0.9,
         .otherReflectance = 0.25},
        {.colour = {0.45, 0.36, 0.18}, .reflectance = 0.35},
        {.colour = {0.12, 0.30, 0.34}, .reflectance = 0.05, .mirroring = true},
    };
}

void addGround(BodyList& bodies) {
    bodies.addBox(kPaving, {-13, -13, -0.5}, {13, 10, 0});
    bodies.addBox(kGrass, {-70, -70, -0.5}, {70, 70, -0.05});
    bodies.addBox(kPaving, {-70, -1.6, -0.5}, {-13, 1.6, 0});  // the way to the gate
}

/// A window in the front wall: the wall stands at y = 9 and is seen from below it.
void addWindow(BodyList& bodies, double x, double sill) {
    constexpr double kWidth = 1.2, kHeight = 1.7, kFrame = 0.12;
    bodies.addBox(kStone, {x - 0.8, 8.80, sill - 0.12}, {x + 0.8, 9, sill});
    bodies.addBox(kStone, {x - 0.8, 8.86, sill + kHeight}, {x + 0.8, 9, sill + kHeight + 0.25});
    bodies.addBox(kGlass, {x - kWidth / 2, 8.97, sill}, {x + kWidth / 2, 9, sill + kHeight});
    const double left = x - kWidth / 2, right = x + kWidth / 2, top = sill + kHeight;
    bodies.addBox(kWhite, {left, 8.92, sill}, {left + kFrame, 9, top});
    bodies.addBox(kWhite, {right - kFrame, 8.92, sill}, {right, 9, top});
    bodies.addBox(kWhite, {left, 8.93, top - kFrame}, {right, 9, top});
    bodies.addBox(kWhite, {left, 8.93, sill}, {right, 9, sill + kFrame});
    bodies.addBox(kWhite, {x - 0.04, 8.94, sill}, {x + 0.04, 9, top});
    bodies.addBox(kWhite, {left, 8.945, sill + 1.1}, {right, 9, sill + 1.17});
}

void addHouse(BodyList& bodies) {
    bodies.addBox(kBrick, {-13, 9, 0}, {13, 17, 7});
    bodies.addBox(kStone, {-13, 8.93, 0}, {13, 9, 0.5});
    bodies.addBox(kStone, {-13, 8.90, 3.55}, {13, 9, 3.75});
    bodies.addBox(kStone, {-13.2, 8.7, 6.8}, {13.2, 9, 7.11});
    bodies.addPanel(kRoof, {-13.5, 8.5, 6.95}, {27, 0, 0}, {0, 4.5, 3.6});
    bodies.addPanel(kRoof, {-13.5, 17.5, 6.95}, {27, 0, 0}, {0, -4.5, 3.6});
    bodies.addBox(kBrick, {5.2, 11, 7}, {6.2, 12, 11});  // chimney
    for (const double x : {-10.0, -6.5, -3.0, 3.0, 6.5, 10.0}) {
        addWindow(bodies, x, 1.2);
        addWindow(bodies, x, 4.4);
    }
    addWindow(bodies, 0, 4.4);
    bodies.addBox(kStone, {-0.95, 8.82, 0.3}, {0.95, 9, 2.95});
    bodies.addBox(kWood, {-0.7, 8.78, 0.3}, {0.7, 9, 2.7});
    bodies.addSphere(kBronze, {0.5, 8.74, 1.4}, 0.05);
    bodies.addBox(kStone, {-1.6, 8.0, 0}, {1.6, 9, 0.15});
    bodies.addBox(kStone, {-1.3, 8.4, 0}, {1.3, 9, 0.3});
}

void addEastWall(BodyList& bodies) {
    bodies.addBox(kGardenBrick, {12, -9, 0}, {12.6, 9, 4});
    bodies.addBox(kStone, {11.88, -9, 4}, {12.72, 9, 4.2});
    for (const double y : {-6.0, 0.0, 6.0}) {
        bodies.addBox(kStone, {11.75, y - 0.3, 0}, {12, y + 0.3, 4});
    }
    bodies.addBox(kWood, {11.93, 2.2, 0}, {12, 3.4, 2.3});
    bodies.addBox(kLeaves, {11.0, -5.4, 0}, {11.8, -0.8, 1.1});  // hedge
    bodies.addBox(kWood, {10.9, 4.0, 0.42}, {11.4, 5.6, 0.48});  // bench
    bodies.addBox(kStone, {10.95, 4.1, 0}, {11.35, 4.25, 0.42});
    bodies.addBox(kStone, {10.95, 5.35, 0}, {11.35, 5.5, 0.42});
}

void addArcade(BodyList& bodies) {
    bodies.addBox(kPlaster, {-13, -12.4, 0}, {13, -12, 4.6});
    bodies.addBox(kPlaster, {-13, -12, 0}, {-12.6, -8.6, 4.6});
    bodies.addBox(kPlaster, {12.6, -12, 0}, {13, -8.6, 4.6});
    bodies.addBox(kStone, {-12.6, -12, 0}, {12.6, -8.4, 0.16});
    for (int i = -4; i <= 4; ++i) {
        const double x = 2.9 * i;
        bodies.addBox(kStone, {x - 0.36, -9.36, 0.16}, {x + 0.36, -8.64, 0.4});
        bodies.addCylinder(kStone, {x, -9, 0.4}, 0.26, 2.9);
        bodies.addCylinder(kStone, {x, -9, 3.12}, 0.32, 0.1);
        bodies.addBox(kStone, {x - 0.4, -9.4, 3.3}, {x + 0.4, -8.6, 3.55});
    }
    bodies.addBox(kStone, {-12.9, -9.35, 3.55}, {12.9, -8.65, 4.3});
    bodies.addPanel(kRoof, {-13.2, -8.3, 4.3}, {26.4, 0, 0}, {0, -4.3, 1.3});
    for (const double x : {-8.7, 0.0, 8.7}) {
        bodies.addBox(kWood, {x - 0.6, -12, 0.16}, {x + 0.6, -11.92, 2.5});
    }
}

void addWestWall(BodyList& bodies) {
    for (const double side : {-1.0, 1.0}) {
        const double nearY = side * 2.3, farY = side * 9;
        bodies.addBox(kGardenBrick, {-12.5, std::min(nearY, farY), 0},
                      {-12, std::max(nearY, farY), 3});
        bodies.addBox(kStone, {-12.6, std::min(nearY, farY), 3},
                      {-11.9, std::max(nearY, farY), 3.15});
        bodies.addBox(kStone, {-12.7, side * 2.0 - 0.4, 0}, {-11.8, side * 2.0 + 0.4, 3.6});
        bodies.addSphere(kStone, {-12.25, side * 2.0, 3.95}, 0.38);
    }
    bodies.addBox(kBrick, {-46, 9, 0}, {-40, 15, 19});  // a tower beyond the wall
    bodies.addPanel(kRoof, {-46, 9, 19}, {6, 0, 0}, {0, 6, 3});
    bodies.addCylinder(kBark, {-24, -6, 0}, 0.35, 4);
    bodies.addSphere(kLeaves, {-24, -6, 5.8}, 2.6);
}

void addFountain(BodyList& bodies, double x, double y) {
    bodies.addCylinder(kStone, {x, y, 0}, 1.9, 0.15);
    bodies.addCylinder(kStone, {x, y, 0}, 1.6, 0.55);
    bodies.addCylinder(kWater, {x, y, 0.5}, 1.4, 0.06);
    bodies.addCylinder(kStone, {x, y, 0.5}, 0.22, 1.1);
    bodies.addCylinder(kStone, {x, y, 1.6}, 0.6, 0.12);
    bodies.addSphere(kBronze, {x, y, 2.05}, 0.38);
}

void addTree(BodyList& bodies, double x, double y) {
    bodies.addBox(kStone, {x - 0.9, y - 0.9, 0}, {x + 0.9, y + 0.9, 0.3});
    bodies.addBox(kGrass, {x - 0.75, y - 0.75, 0.2}, {x + 0.75, y + 0.75, 0.32});
    bodies.addCylinder(kBark, {x, y, 0.3}, 0.16, 2.6);
    bodies.addSphere(kLeaves, {x, y, 3.6}, 1.15);
    bodies.addSphere(kLeaves, {x + 0.7, y + 0.3, 3.1}, 0.8);
    bodies.addSphere(kLeaves, {x - 0.6, y + 0.5, 3.2}, 0.75);
    bodies.addSphere(kLeaves, {x - 0.1, y - 0.75, 3.2}, 0.7);
}

/// A white ball on a pole, as surveyors set up to tie scans together.
void addTarget(BodyList& bodies, double x, double y, double height) {
    bodies.addCylinder(kBark, {x, y, 0}, 0.03, height - 0.1);
    bodies.addSphere(kWhite, {x, y, height}, 0.15);
}

}  // namespace

Station makeCourtyard() {
    BodyList bodies;
    addGround(bodies);
    addHouse(bodies);
    addEastWall(bodies);
    addArcade(bodies);
    addWestWall(bodies);
    addFountain(bodies, 3.5, 1.5);
    addTree(bodies, -7, -4.5);
    addTree(bodies, -7.5, 5);
    bodies.addSphere(kChecker, {-4, 3, 0.6}, 0.6);
    addTarget(bodies, 2, -4, 1.5);
    addTarget(bodies, -5, -1.5, 1.7);
    addTarget(bodies, 8, 5, 1.3);
    const Light sun{.ambient = 0.5, .direction = unit({-0.45, -0.65, 0.75})};
    return {Scene(bodies.bodies(), courtyardMaterials(), sun),
            {{-1.5, -1, 1.6}, standing(155, 0.7, -1.1)}};
}

}  // namespace brisko::simulator
