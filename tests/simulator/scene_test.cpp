#include "simulator/scene.h"
#include "simulator/shape_tree.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace brisko::simulator {
namespace {

const Vector3 kEast{1, 0, 0};
const Vector3 kUp{0, 0, 1};
const Vector3 kDown{0, 0, -1};

Scene sceneOf(const Shape& shape) {
    return Scene({{shape, 0}}, {{.colour = {1, 1, 1}}}, {});
}

struct Look {
    const char* what;
    Shape shape;
    Vector3 from, towards;
    double distance;  // 0: a miss
    Vector3 normal;
};

TEST(SimulatedScene, MeetsShapesWhereGeometrySaysSo) {
    const Shape ground = Shape::box({-50, -50, -1}, {50, 50, 0});
    const Shape block = Shape::box({-1, -1, -1}, {1, 1, 1});
    const Shape ball = Shape::sphere({5, 0, 0}, 2);
    const Shape post = Shape::cylinder({5, 0, -3}, 2, 4);
    const Shape roof = Shape::panel({4, -1, 0}, {0, 2, 0}, {2, 0, 2});  // x = 4 + z
    const double root2 = std::sqrt(2.0);
    const double root3 = std::sqrt(3.0);
    const Look looks[] = {
        {"ground below", ground, {0, 0, 1.6}, kDown, 1.6, kUp},
        {"ground at 60 degrees", ground, {3, 4, 1.6}, {root3 / 2, 0, -0.5}, 3.2, kUp},
        {"wall at 45 degrees", block, {-4, -3.5, 0}, {1 / root2, 1 / root2, 0}, 3 * root2, -kEast},
        {"out of a box", block, {0.5, 0, 0}, kEast, 0.5, -kEast},
        {"ball in the middle", ball, {}, kEast, 3, -kEast},
        {"ball off the middle", ball, {0, 1, 0}, kEast, 5 - root3, {-root3 / 2, 0.5, 0}},
        {"out of a ball", ball, {5, 0, 0}, kUp, 2, kDown},
        {"post from the side", post, {0, 1, -1}, kEast, 5 - root3, {-root3 / 2, 0.5, 0}},
        {"post from above", post, {6, 1, 3}, kDown, 2, kUp},
        {"post from below", post, {4, 0, -7}, kUp, 4, kDown},
        {"roof from below", roof, {0, 0, 1}, kEast, 5, {-1 / root2, 0, 1 / root2}},
        {"roof from above", roof, {5, 0, 9}, kDown, 8, {-1 / root2, 0, 1 / root2}},
        {"ball beside", ball, {0, 2.001, 0}, kEast, 0, {}},
        {"ball behind", ball, {8, 0, 0}, kEast, 0, {}},
        {"box beside", block, {-5, -1.001, 0}, kEast, 0, {}},
        {"box behind", block, {5, 0, 0}, kEast, 0, {}},
        {"post too low", post, {0, 0, 1.001}, kEast, 0, {}},
        {"beside a post", post, {5, 2.001, 9}, kDown, 0, {}},
        {"panel too short", roof, {0, 1.001, 1}, kEast, 0, {}},
        {"along a panel", Shape::panel({4, -1, 0}, {0, 2, 0}, {2, 0, 0}), {}, kEast, 0, {}},
    };
    for (const Look& look : looks) {
        const Hit hit = sceneOf(look.shape).cast(look.from, look.towards);
        ASSERT_EQ(static_cast<bool>(hit), look.distance > 0) << look.what;
        if (!hit) continue;
        EXPECT_NEAR(hit.distance, look.distance, 1e-12) << look.what;
        EXPECT_NEAR(length(hit.normal - look.normal), 0, 1e-12) << look.what;
        const Vector3 position = look.from + look.towards * look.distance;
        EXPECT_NEAR(length(hit.position - position), 0, 1e-12) << look.what;
    }
}

Shape randomShape(std::mt19937& random) {
    std::uniform_real_distribution<double> place(-10, 10), size(0.1, 3);
    const Vector3 at{place(random), place(random), place(random)};
    if (random() % 2 == 0) return Shape::sphere(at, size(random));
    return Shape::panel(at, {size(random), 0, size(random)}, {0, size(random), 1});
}

TEST(SimulatedScene, TreeFindsTheSameAsLookingAtEveryShape) {
    std::mt19937 random(7);
    std::vector<Shape> shapes;
    for (int i = 0; i < 150; ++i)
        shapes.push_back(randomShape(random));
    const ShapeTree tree(shapes);
    std::uniform_real_distribution<double> place(-12, 12);
    int met = 0;
    for (int i = 0; i < 5000; ++i) {
        const Vector3 from{place(random), place(random), place(random)};
        const Ray ray(from, unit({place(random), place(random), place(random)}));
        double nearest = kNoHit;
        for (const Shape& shape : shapes)
            nearest = std::min(nearest, shape.cross(ray).distance);
        ASSERT_EQ(tree.first(ray).crossing.distance, nearest) << "ray " << i;
        met += nearest < kNoHit;
    }
    EXPECT_GT(met, 1000);
    EXPECT_LT(met, 4900);
}

}  // namespace
}  // namespace brisko::simulator
