#include <brisko_codec/cloud_transformation.h>

#include <gtest/gtest.h>

#include <array>

namespace {

using Position = std::array<double, 3>;

Position transformed(CloudTransformation& transformation, Position p) {
    float intensity = 7.5F;
    std::uint8_t colour[4] = {1, 2, 3, 4};
    transformation.transform(p[0], p[1], p[2], intensity, colour[0], colour[1], colour[2],
                             colour[3]);
    EXPECT_EQ(intensity, 7.5F);
    EXPECT_EQ(std::to_array(colour), (std::array<std::uint8_t, 4>{1, 2, 3, 4}));
    return p;
}

TEST(CloudTransformation, TakesMatricesByRowsAndByColumns) {
    double rows[16] = {0, -2, 0, 10, 1, 0, 0, 20, 0, 0, 3, 30, 5, 6, 7, 2};
    double columns[16];
    for (int i = 0; i < 16; ++i)
        columns[i] = rows[i % 4 * 4 + i / 4];
    CloudTransformation byRows, byColumns;
    EXPECT_EQ(transformed(byRows, {1, -2, 3}), (Position{1, -2, 3})) << "starts as the identity";
    EXPECT_FALSE(byRows.IsSpecial());
    byRows.SetTransformationMatrix(rows);
    byColumns.SetTransposedMatrix(columns);
    const Position moved = {6, 21, 39};  // the fourth row has no part in it
    EXPECT_EQ(transformed(byRows, {1, 2, 3}), moved);
    EXPECT_EQ(transformed(byColumns, {1, 2, 3}), moved);
}

TEST(CloudTransformation, CoordinatesMayShareAVariable) {
    double m[16] = {1, 1, 0, 0, 0, 2, 0, 0, 0, 0, 4, 1, 0, 0, 0, 1};
    CloudTransformation transformation;
    transformation.SetTransformationMatrix(m);
    double value = 3;
    float intensity = 0;
    std::uint8_t colour = 0;
    transformation.transform(value, value, value, intensity, colour, colour, colour, colour);
    EXPECT_EQ(value, 13) << "the last of the three, from the old value";
}

}  // namespace
