// What holds for the readers of all formats.

#include <brisko_codec/brisko_codec.h>

#include "codec/alignment_matrix.h"
#include "support/read_points.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

namespace brisko {
namespace {

using test::ByteWriter;
using test::CodecPtr;
using test::TempFolder;
using test::TestPoint;

constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Bounds {
    double min[3] = {}, max[3] = {};
    std::int64_t count = -1;
};

Bounds boundsOf(BriskoCodec& codec) {
    Bounds b;
    codec.GetBounds(b.min[0], b.min[1], b.min[2], b.max[0], b.max[1], b.max[2], b.count);
    return b;
}

void writePlainScan(const std::string& path, const std::vector<TestPoint>& points) {
    test::writeFile(path, ByteWriter().bytes(test::cl3Header(1)).bytes(test::cl3Block(points)));
}

const std::vector<std::pair<const char*, std::function<BriskoCodec*()>>> kFactories = {
    {"CL3Codec", [] { return CL3Codec::Create(); }},
    {"CL3GridCodec", [] { return CL3GridCodec::Create(); }},
    {"CLRCodec", [] { return CLRCodec::Create(); }},
    {"CLRGridCodec", [] { return CLRGridCodec::Create(); }},
};

TEST(Reader, AnswersMisuseWithFalse) {
    const TempFolder folder;
    test::writeFile(folder / "empty.cl3", "");
    test::writeFile(folder / "empty.ij", "");
    const std::string empty = folder / "empty.cl3";
    const std::string missing = folder / "missing.cl3";
    for (const auto& [name, create] : kFactories) {
        SCOPED_TRACE(name);
        const CodecPtr<BriskoCodec> codec(create());
        const auto expectNothing = [&] {
            TestPoint point{.x = 5};
            EXPECT_FALSE(test::readNext(*codec, point));
            EXPECT_FALSE(test::readFirst(*codec, point));
            EXPECT_FALSE(test::readNext(*codec, point));
            EXPECT_EQ(boundsOf(*codec).count, 0);
            EXPECT_TRUE(test::readAllBatched(*codec, 10).empty());
        };
        expectNothing();
        codec->Close();
        for (const char* bad : {static_cast<const char*>(nullptr), "", "bad\xFF.cl3",
                                missing.c_str(), folder.path().c_str()}) {
            EXPECT_FALSE(codec->Open(bad));
            expectNothing();
        }
        EXPECT_TRUE(codec->Open(empty.c_str()));
        EXPECT_TRUE(codec->Open(empty.c_str()));
        expectNothing();
        const Bounds bounds = boundsOf(*codec);
        EXPECT_EQ(bounds.min[1], kLargest);
        EXPECT_EQ(bounds.max[2], std::numeric_limits<double>::min());
        codec->Close();
        codec->Close();
        expectNothing();
    }
    BriskoCodec::Destroy(nullptr);
    EXPECT_EQ(BriskoCodec::i_range, 2200.0F);
}

TEST(Reader, SetsAPointToNothingAtTheEnd) {
    const TempFolder folder;
    writePlainScan(folder / "scan.cl3", {{.x = 1, .intensity = 1}});
    const auto codec = test::openScan<CL3Codec>(folder / "scan.cl3");
    double x = 7, y = 7, z = 7;
    float intensity = 7;
    std::uint8_t red = 7, green = 7, blue = 7, alpha = 7;
    EXPECT_TRUE(codec->ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha));
    EXPECT_EQ(alpha, 255);
    red = alpha = 7;
    EXPECT_FALSE(codec->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha));
    EXPECT_EQ(x, 0);
    EXPECT_EQ(red, 0);
    EXPECT_EQ(alpha, 255);
}

TEST(Reader, CountsOncePerObjectAndLeavesThePassAtItsEnd) {
    const TempFolder folder;
    writePlainScan(folder / "a.cl3", {{.x = 1, .intensity = 1}, {.x = -3, .y = 4, .intensity = 1}});
    writePlainScan(folder / "b.cl3", {{.x = 9, .intensity = 1}});
    const auto codec = test::openScan<CL3Codec>(folder / "a.cl3");
    TestPoint point;
    ASSERT_TRUE(test::readFirst(*codec, point));
    EXPECT_EQ(codec->GetPointCount(), 2);
    EXPECT_FALSE(test::readNext(*codec, point));
    EXPECT_TRUE(codec->Open((folder / "b.cl3").c_str()));
    EXPECT_EQ(codec->GetPointCount(), 2);
    const Bounds bounds = boundsOf(*codec);
    EXPECT_EQ(bounds.min[0], -3);
    EXPECT_EQ(bounds.max[1], 4);
    EXPECT_EQ(test::readAll(*codec).size(), 1U);
}

TEST(Reader, NumbersReplaceNaNsInBoundsAndNeverTheOtherWay) {
    const TempFolder folder;
    writePlainScan(folder / "scan.cl3", {{.x = NAN, .y = 1, .intensity = 1},
                                         {.x = 5, .y = NAN, .intensity = 1},
                                         {.x = 3, .y = 2, .intensity = 1}});
    const auto codec = test::openScan<CL3Codec>(folder / "scan.cl3");
    ASSERT_TRUE(setFrame(*codec, Frame::Scanner));
    const Bounds bounds = boundsOf(*codec);
    EXPECT_EQ(bounds.min[0], 3);
    EXPECT_EQ(bounds.max[0], 5);
    EXPECT_EQ(bounds.min[1], 1);
    EXPECT_EQ(bounds.max[1], 2);
    EXPECT_EQ(bounds.count, 3);
}

TEST(Alignment, TakesPointsThroughTheMatrixOfTheCompanion) {
    const TempFolder folder;
    std::filesystem::create_directory(folder / "scan.v2");
    for (const char* name : {"scan.cl3", "scan.v2/data", "plain"})
        writePlainScan(folder / name, {{.x = 1, .y = 2, .z = 4, .intensity = 1}});
    const auto readWith = [&](const char* scan, const std::string& alg) {
        test::writeFile(folder / "scan.alg", alg);
        const TestPoint p = test::readScan<CL3Codec>(folder / scan).at(0);
        return std::vector<double>{p.x, p.y, p.z};
    };
    const std::vector<double> unaligned{1, 2, 4};
    const std::string good = "CL3_ALG_0.1\n0 -1 0 10//m\n1 0 0 20 //m\n0 0 1 -0.5\n0 0 0 1\n";
    const struct {
        const char* what;
        const char* scan;
        std::string alg;
        std::vector<double> expected;
    } cases[] = {
        {"a rotation and a shift", "scan.cl3", good, {8, 21, 3.5}},
        {"the last '.' of the whole path counts", "scan.v2/data", good, {8, 21, 3.5}},
        {"without any '.' there is none", "plain", good, unaligned},
        {"a division by w",
         "scan.cl3",
         "CL3_ALG_0.1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0.5 0\n",
         {0.5, 1, 2}},
        {"another version", "scan.cl3", "CL3_ALG_0.2\n2 0 0 0\n0 2 0 0\n0 0 2 0\n0 0 0 1\n",
         unaligned},
        {"a row missing", "scan.cl3", "CL3_ALG_0.1\n2 0 0 0\n0 2 0 0\n0 0 2 0\n", unaligned},
        {"not a number", "scan.cl3", "CL3_ALG_0.1\nnan 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n",
         unaligned},
        {"made on Windows",
         "scan.cl3",
         "CL3_ALG_0.1\r\n0 -1 0 10\r\n1 0 0 20\r\n0 0 1 -0.5\r\n0 0 0 1\r\n",
         {8, 21, 3.5}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readWith(c.scan, c.alg), c.expected) << c.what;
}

TEST(Alignment, TellsItsSourceAndCanBeLeftAside) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    writePlainScan(path, {{.x = 1, .y = -0.0, .z = 4, .intensity = 1}});
    EXPECT_EQ(getAlignment(*test::openScan<CL3Codec>(path)).source, AlignmentSource::None);
    std::filesystem::create_directory(folder / "scan.alg");
    EXPECT_EQ(getAlignment(*test::openScan<CL3Codec>(path)).source, AlignmentSource::Unreadable);
    std::filesystem::remove(folder / "scan.alg");

    double matrix[16] = {0, -1, 0, 1.0 / 3, 1, 0, 0, -20.5, 0, 0, 1, 0, 0.25, 0, 0, 2};
    ASSERT_TRUE(writeAlignmentFile((folder / "scan.alg").c_str(), matrix, {}));
    const auto codec = test::openScan<CL3Codec>(path);
    const Alignment alignment = getAlignment(*codec);
    EXPECT_EQ(alignment.source, AlignmentSource::File);
    EXPECT_TRUE(std::equal(matrix, matrix + 16, alignment.matrix));
    TestPoint point;
    ASSERT_TRUE(setFrame(*codec, Frame::Scanner));
    ASSERT_TRUE(test::readFirst(*codec, point));
    EXPECT_EQ(point.x, 1);
    EXPECT_TRUE(std::signbit(point.y));
    ASSERT_TRUE(setFrame(*codec, Frame::Aligned));
    ASSERT_TRUE(test::readFirst(*codec, point));
    EXPECT_EQ(point.y, (1 - 20.5) / 2.25);
}

TEST(Alignment, ShorterWaysGiveTheBitsOfTheWholeComputation) {
    const double values[] = {0.0, -0.0, 1.5, -2.25, 1e300, 5e-324, kInfinity, NAN, 1.0 / 3};
    const AlignmentMatrix::Rows matrices[] = {
        {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
        {1, -0.0, 0, -0.0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
        {0.6, -0.8, 0, 12.345, 0.8, 0.6, 0, -7, 0, 0, 1, 0.1, 0, 0, 0, 1},
        {0.6, -0.8, 0, 12.345, 0.8, 0.6, 0, -7, 0, 0, 1, 0.1, -0.0, 0, -0.0, 1},
        {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0.1, 0, 0, 3},
    };
    const auto bits = [](double v) {
        // One NaN is as good as another.
        return std::isnan(v) ? 1 : std::bit_cast<std::uint64_t>(v);
    };
    for (const auto& m : matrices) {
        const AlignmentMatrix matrix(m);
        for (const double x : values) {
            for (const double y : values) {
                for (const double z : values) {
                    const double w = m[12] * x + m[13] * y + m[14] * z + m[15];
                    double p[3] = {x, y, z};
                    matrix.apply(p[0], p[1], p[2]);
                    for (std::size_t r = 0; r < 3; ++r) {
                        const double whole =
                            (m[4 * r] * x + m[4 * r + 1] * y + m[4 * r + 2] * z + m[4 * r + 3]) / w;
                        ASSERT_EQ(bits(p[r]), bits(whole)) << x << " " << y << " " << z;
                    }
                }
            }
        }
    }
}

}  // namespace
}  // namespace brisko
