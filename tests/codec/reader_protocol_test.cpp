// What holds for the readers of all formats.

#include <brisko_codec/brisko_codec.h>

#include "support/read_points.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <tuple>

namespace brisko {
namespace {

using namespace test;

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
    writeFile(path, ByteWriter().bytes(cl3Header(1)).bytes(cl3Block(points)));
}

const std::vector<std::pair<const char*, std::function<BriskoCodec*()>>> kFactories = {
    {"CL3Codec", [] { return CL3Codec::Create(); }},
    {"CL3GridCodec", [] { return CL3GridCodec::Create(); }},
    {"CLRCodec", [] { return CLRCodec::Create(); }},
    {"CLRGridCodec", [] { return CLRGridCodec::Create(); }},
};

TEST(Reader, AnEmptyFileIsAScanWithoutPoints) {
    const TempFolder folder;
    writeFile(folder / "empty.cl3", "");
    writeFile(folder / "empty.ij", "");
    for (const auto& [name, create] : kFactories) {
        const CodecPtr<BriskoCodec> codec(create());
        EXPECT_FALSE(codec->Open("")) << name;
        for (int round = 0; round < 2; ++round)
            EXPECT_TRUE(codec->Open((folder / "empty.cl3").c_str())) << name;
        EXPECT_TRUE(readAll(*codec).empty() && readAllBatched(*codec, 10).empty()) << name;
        const Bounds bounds = boundsOf(*codec);
        EXPECT_EQ(bounds.count, 0);
        EXPECT_EQ(bounds.min[1], std::numeric_limits<double>::max());
        EXPECT_EQ(bounds.max[2], std::numeric_limits<double>::min());
        codec->Close();
        codec->Close();
    }
    BriskoCodec::Destroy(nullptr);
    EXPECT_EQ(BriskoCodec::i_range, 2200.0F);
}

TEST(Reader, SetsAPointToNothingAtTheEnd) {
    const TempFolder folder;
    writePlainScan(folder / "scan.cl3", {{.x = 1, .intensity = 1}});
    const auto codec = openScan<CL3Codec>(folder / "scan.cl3");
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
    const auto codec = openScan<CL3Codec>(folder / "a.cl3");
    TestPoint point;
    ASSERT_TRUE(readFirst(*codec, point));
    EXPECT_EQ(codec->GetPointCount(), 2);
    EXPECT_FALSE(readNext(*codec, point));
    EXPECT_TRUE(codec->Open((folder / "b.cl3").c_str()));
    EXPECT_EQ(codec->GetPointCount(), 2);
    const Bounds bounds = boundsOf(*codec);
    EXPECT_EQ(bounds.min[0], -3);
    EXPECT_EQ(bounds.max[1], 4);
    EXPECT_EQ(readAll(*codec).size(), 1U);
}

TEST(Reader, NumbersReplaceNaNsInBoundsAndNeverTheOtherWay) {
    const TempFolder folder;
    writePlainScan(folder / "scan.cl3", {{.x = NAN, .y = 1, .intensity = 1},
                                         {.x = 5, .y = NAN, .intensity = 1},
                                         {.x = 3, .y = 2, .intensity = 1}});
    const auto codec = openScan<CL3Codec>(folder / "scan.cl3");
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
        writeFile(folder / "scan.alg", alg);
        const TestPoint p = readScan<CL3Codec>(folder / scan).at(0);
        return std::vector<double>{p.x, p.y, p.z};
    };
    const std::vector<double> unaligned{1, 2, 4};
    const std::string good = "CL3_ALG_0.1\n0 -1 0 10//m\n1 0 0 20 //m\n0 0 1 -0.5\n0 0 0 1\n";
    const std::string dos = "CL3_ALG_0.1\r\n0 -1 0 10\r\n1 0 0 20\r\n0 0 1 -0.5\r\n0 0 0 1\r\n";
    const std::string half = "CL3_ALG_0.1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0.5 0\n";
    const struct {
        const char* what;
        const char* scan;
        std::string alg;
        std::vector<double> expected;
    } cases[] = {
        {"a rotation and a shift", "scan.cl3", good, {8, 21, 3.5}},
        {"the last '.' of the whole path counts", "scan.v2/data", good, {8, 21, 3.5}},
        {"without any '.' there is none", "plain", good, unaligned},
        {"a division by w", "scan.cl3", half, {0.5, 1, 2}},
        {"another version", "scan.cl3", "CL3_ALG_0.2\n2 0 0 0\n0 2 0 0\n0 0 2 0\n0 0 0 1\n",
         unaligned},
        {"a row missing", "scan.cl3", "CL3_ALG_0.1\n2 0 0 0\n0 2 0 0\n0 0 2 0\n", unaligned},
        {"not a number", "scan.cl3", "CL3_ALG_0.1\nnan 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n",
         unaligned},
        {"made on Windows", "scan.cl3", dos, {8, 21, 3.5}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(readWith(c.scan, c.alg), c.expected) << c.what;
}

TEST(Alignment, OfUnusualCoordinatesIsThatOfTheWholeComputation) {
    constexpr double kInfinity = std::numeric_limits<double>::infinity(), kHuge = 1.5e308;
    const TempFolder folder;
    const auto readWith = [&](const char* alg, double x, double y, double z) {
        writePlainScan(folder / "scan.cl3", {{.x = x, .y = y, .z = z, .intensity = 1}});
        writeFile(folder / "scan.alg", std::string(alg));
        return readScan<CL3Codec>(folder / "scan.cl3").at(0);
    };
    for (const char* const alg : {"CL3_ALG_0.1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n",
                                  "CL3_ALG_0.1\n1 0 0 0\n0 1 0 0\n0 0 1 2\n0 0 0 1\n"}) {
        const TestPoint infinite = readWith(alg, 1, kInfinity, 4);
        EXPECT_TRUE(std::isnan(infinite.x + infinite.y) && std::isnan(infinite.z));
        const TestPoint huge = readWith(alg, kHuge, kHuge, 4);
        EXPECT_EQ(std::tuple(huge.x, huge.y), std::tuple(kHuge, kHuge)) << "whose sum is too large";
        EXPECT_FALSE(std::signbit(readWith(alg, -0.0, 2, 4).x));
    }
}

TEST(Alignment, TellsItsSourceAndCanBeLeftAside) {
    const TempFolder folder;
    const std::string path = folder / "scan.cl3";
    writePlainScan(path, {{.x = 1, .y = -0.0, .z = 4, .intensity = 1}});
    EXPECT_EQ(getAlignment(*openScan<CL3Codec>(path)).source, AlignmentSource::None);
    std::filesystem::create_directory(folder / "scan.alg");
    EXPECT_EQ(getAlignment(*openScan<CL3Codec>(path)).source, AlignmentSource::Unreadable);
    std::filesystem::remove(folder / "scan.alg");

    double matrix[16] = {0, -1, 0, 1.0 / 3, 1, 0, 0, -20.5, 0, 0, 1, 0, 0.25, 0, 0, 2};
    ASSERT_TRUE(writeAlignmentFile((folder / "scan.alg").c_str(), matrix, {}));
    const auto codec = openScan<CL3Codec>(path);
    const Alignment alignment = getAlignment(*codec);
    EXPECT_EQ(alignment.source, AlignmentSource::File);
    EXPECT_TRUE(std::equal(matrix, matrix + 16, alignment.matrix));
    TestPoint point;
    ASSERT_TRUE(setFrame(*codec, Frame::Scanner));
    ASSERT_TRUE(readFirst(*codec, point));
    EXPECT_EQ(point.x, 1);
    EXPECT_TRUE(std::signbit(point.y));
    ASSERT_TRUE(setFrame(*codec, Frame::Aligned));
    ASSERT_TRUE(readFirst(*codec, point));
    EXPECT_EQ(point.y, (1 - 20.5) / 2.25);
    // Bounds are those of the frame that is chosen when they are asked for.
    for (const Frame frame : {Frame::Aligned, Frame::Scanner, Frame::Aligned}) {
        ASSERT_TRUE(setFrame(*codec, frame));
        EXPECT_EQ(boundsOf(*codec).min[1], frame == Frame::Scanner ? -0.0 : (1 - 20.5) / 2.25);
    }
}

TEST(ReadProblem, ShowsWhyAPassWasNotWholeAndSound) {
    using Kind = ReadProblemKind;
    const TempFolder folder;
    const TestPoint point{.x = 1, .intensity = 5};
    const Bytes block = ByteWriter().bytes(cl3Block({point, point, point}));
    const Bytes scan = ByteWriter().bytes(cl3Header(1)).bytes(block);
    const auto index = [](const std::vector<std::uint32_t>& entries) {
        return ByteWriter().bytes(ijHeader(2, 2, 2)).bytes(ijTile(0, 0, entries)).done();
    };
    const Bytes line = compressedLine({3, ClrRecord{1000, 2000, 3000, 0, 9}});
    const Bytes raw = ByteWriter().bytes(clrHeader(1, 3, 2, 1)).u8(0).bytes(line);
    const Bytes goesOn = ByteWriter().bytes(scan).bytes(block);
    const Bytes closed = ByteWriter().bytes(scan).u32(0).u8(0);
    const Bytes recordless = ByteWriter().bytes(clrHeader(1, 3, 1, 1)).u8(0);
    const Bytes longer = ByteWriter().bytes(raw).u8(0);
    Bytes zeroLength = raw;
    std::fill_n(zeroLength.begin() + 121, 2, std::uint8_t{0});
    const struct {
        const char *what, *name;
        Bytes scan, index;
        Kind kind;
        const char* file;
        std::uint64_t offset;
    } cases[] = {
        {"sound", "a.cl3", scan, index({1, 0, 2, 3}), Kind::None, "", 0},
        {"cut", "a.cl3", cutTo(scan, 150), {}, Kind::CutShort, "a.cl3", 120},
        {"goes on", "a.cl3", goesOn, {}, Kind::LeftOver, "a.cl3", 213},
        {"an empty header after it", "a.cl3", closed, {}, Kind::None, "", 0},
        {"exchanged entries", "a.cl3", scan, index({2, 1, 3, 0}), Kind::BadIndex, "a.ij", 48},
        {"an entry too few", "a.cl3", scan, index({1, 0, 2, 0}), Kind::BadIndex, "a.ij", 48},
        {"an entry too many", "a.cl3", scan, index({1, 2, 3, 4}), Kind::BadIndex, "a.ij", 48},
        {"cut index", "a.cl3", scan, cutTo(index({1, 2, 3, 0}), 70), Kind::CutShort, "a.ij", 68},
        {"sound lines", "a.clr", raw, {}, Kind::None, "", 0},
        {"a byte more", "a.clr", longer, {}, Kind::LeftOver, "a.clr", raw.size()},
        {"length 0", "a.clr", zeroLength, {}, Kind::BadPiece, "a.clr", 121},
        {"cut line", "a.clr", cutTo(raw, raw.size() - 5), {}, Kind::CutShort, "a.clr", 121},
        {"cut records", "a.clr", recordless, {}, Kind::CutShort, "a.clr", 121},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        writeFile(folder / c.name, c.scan);
        std::filesystem::remove(folder / "a.ij");
        if (!c.index.empty()) writeFile(folder / "a.ij", c.index);
        const bool isRaw = c.name[2] == 'c' && c.name[4] == 'r';
        const CodecPtr<BriskoCodec> codec(isRaw ? static_cast<BriskoCodec*>(CLRCodec::Create())
                                                : CL3Codec::Create());
        ASSERT_TRUE(codec->Open((folder / c.name).c_str()));
        readAll(*codec);
        const ReadProblem problem = getReadProblem(*codec);
        EXPECT_EQ(static_cast<int>(problem.kind), static_cast<int>(c.kind)) << problem.text;
        if (!problem) continue;
        EXPECT_EQ(problem.file, folder / c.file);
        EXPECT_EQ(problem.offset, c.offset);
    }
}

}  // namespace
}  // namespace brisko
