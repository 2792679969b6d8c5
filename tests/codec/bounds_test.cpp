// Counts and bounds on several threads: what a pass from front to back finds, to the bit, and a reader in the
// state that such a pass leaves.

#include <brisko_codec/brisko_codec.h>
#include <brisko_codec/threads.h>

#include "support/conversion_fixture.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <iterator>
#include <string>
#include <tuple>

namespace brisko {
namespace {

using namespace test;

/// What a host can see after GetBounds.
struct Outcome {
    std::array<double, 6> bounds{};
    std::int64_t count = -1;
    std::size_t columns = 0, rows = 0;
    unsigned tileSize = 0;
    bool isAtEnd = false;
    ReadProblemKind problem = ReadProblemKind::None;
    std::string file;
    std::uint64_t offset = 0;

    bool operator==(const Outcome& other) const {
        const auto all = [](const Outcome& o) {
            return std::tie(o.count, o.columns, o.rows, o.tileSize, o.isAtEnd, o.problem, o.file,
                            o.offset);
        };
        return std::bit_cast<std::array<std::uint64_t, 6>>(bounds) ==
                   std::bit_cast<std::array<std::uint64_t, 6>>(other.bounds) &&
               all(*this) == all(other);
    }
};

/// Asked in the middle of a pass.
Outcome boundsOn(unsigned threads, BriskoCodec& codec, Frame frame) {
    const JobThreadLimit limit(threads);
    setFrame(codec, frame);
    TestPoint point;
    readFirst(codec, point);
    Outcome o;
    codec.GetBounds(o.bounds[0], o.bounds[1], o.bounds[2], o.bounds[3], o.bounds[4], o.bounds[5],
                    o.count);
    if (auto* const grid = dynamic_cast<BriskoGridCodec*>(&codec)) {
        grid->GetGridSize(o.columns, o.rows, o.tileSize);
    }
    const ReadProblem problem = getReadProblem(codec);
    o.problem = problem.kind;
    o.file = problem.file;
    o.offset = problem.offset;
    o.isAtEnd = !readNext(codec, point) && getReadProblem(codec).kind == o.problem;
    return o;
}

/// Expects the same on one thread and on several, and returns it.
template <class Create>
Outcome expectSame(const std::string& path, const Create& create) {
    Outcome aligned;
    for (const Frame frame : {Frame::Scanner, Frame::Aligned}) {
        const auto outcomeOn = [&](unsigned threads) {
            const CodecPtr<BriskoCodec> codec(create());
            EXPECT_TRUE(codec->Open(path.c_str()));
            return boundsOn(threads, *codec, frame);
        };
        aligned = outcomeOn(1);
        for (const unsigned threads : {2U, 3U, 7U})
            EXPECT_TRUE(outcomeOn(threads) == aligned) << threads << " threads";
    }
    return aligned;
}

constexpr std::uint32_t kColumns = 700, kRows = 390;
constexpr double kTurn[16] = {0.6, -0.8, 0, 10, 0.8, 0.6, 0, -20, 0, 0, 1, 0.5, 0, 0, 0, 1};

/// The least x comes first and the largest last. On y the zeros of both signs meet, on z what is no number
/// comes before the numbers of a whole piece; every ninth record holds no point.
TestPoint pointAt(std::uint32_t column, std::uint32_t row) {
    const std::uint32_t i = column * kRows + row;
    if (i % 9 == 4) return {};
    return {.x = i * 0.001 - 100,
            .y = i % 2 == 0 ? 0.0 : -0.0,
            .z = i < 90'000 || i % 1000 == 0 ? NAN : 250 - i * 0.001,
            .intensity = 7};
}

Bytes oneBlock() {
    std::vector<TestPoint> points;
    for (std::uint32_t column = 0; column < kColumns; ++column) {
        for (std::uint32_t row = 0; row < kRows; ++row)
            points.push_back(pointAt(column, row));
    }
    return ByteWriter().bytes(cl3Header(1)).bytes(cl3Block(points));
}

/// Each byte of a part turned into another one.
Bytes spoilt(Bytes bytes, std::size_t at, std::size_t size) {
    for (std::size_t i = at; i < at + size; ++i)
        bytes[i] ^= 0x55;
    return bytes;
}

Bytes resized(Bytes bytes, std::ptrdiff_t by) {
    bytes.resize(static_cast<std::size_t>(std::ssize(bytes) + by));
    return bytes;
}

TEST(Bounds, OfPointCloudsAreTheSameOnAnyNumberOfThreads) {
    using enum ReadProblemKind;
    const TiledScan good = tiledScan(kColumns, kRows, 256, pointAt),
                    small = tiledScan(kColumns, kRows, 64, pointAt);
    const std::size_t blocks = 115, tiles = 48, tile = 12 + 4 * 65536;
    const struct {
        const char* what;
        Bytes scan, index;
        ReadProblemKind problem;
    } cases[] = {
        {"sound", good.scan, good.index, None},
        {"sound, small tiles", small.scan, small.index, None},
        {"an empty block header at the end", resized(good.scan, 5), good.index, None},
        {"no index", good.scan, {}, None},
        {"no index, one block", oneBlock(), {}, None},
        {"no index, cut", resized(good.scan, -1), {}, CutShort},
        {"another header at the end", spoilt(resized(good.scan, 5), good.scan.size(), 1),
         good.index, LeftOver},
        {"bytes at the end", resized(good.scan, 6), good.index, LeftOver},
        {"the last record cut", resized(good.scan, -1), good.index, CutShort},
        {"the last tile cut", good.scan, resized(good.index, -1), CutShort},
        {"a word after the last tile", good.scan, resized(good.index, 4), LeftOver},
        {"fewer records in a block", spoilt(good.scan, blocks, 1), good.index, BadIndex},
        {"an entry missing", good.scan, spoilt(good.index, tiles + 3 * tile + 12 + 400, 1),
         BadIndex},
        {"a tile in another's place", good.scan, spoilt(good.index, tiles + 2 * tile, 1), BadIndex},
        {"another count in a tile", good.scan, spoilt(good.index, tiles + tile + 8, 1), BadIndex},
        {"another number of tiles", good.scan, spoilt(good.index, 32, 1), BadIndex},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const TempFolder folder;
        writeFile(folder / "scan.cl3", c.scan);
        if (!c.index.empty()) writeFile(folder / "scan.ij", c.index);
        writeAlignmentFile((folder / "scan.alg").c_str(), kTurn, {});
        const auto create = [&]() -> BriskoCodec* {
            if (c.index.empty()) return CL3Codec::Create();
            return CL3GridCodec::Create();
        };
        const Outcome found = expectSame(folder / "scan.cl3", create);
        EXPECT_EQ(found.problem, c.problem);
        EXPECT_TRUE(found.isAtEnd);
    }
}

TEST(Bounds, OfRawScansAreTheSameOnAnyNumberOfThreads) {
    using enum ReadProblemKind;
    const auto raw = [](std::uint32_t format, std::uint32_t blocks, unsigned seed = 1) {
        return rawScan({.model = "RVX2000",
                        .format = format,
                        .blocks = blocks,
                        .columns = kColumns,
                        .rows = kRows,
                        .seed = seed});
    };
    const Bytes plain = raw(1, 1), packed = raw(2, 1), packed2 = raw(2, 2);
    const struct {
        const char* what;
        Bytes scan;
        ReadProblemKind problem;
    } cases[] = {
        {"plain", plain, None},
        {"plain, three blocks", raw(3, 3), None},
        {"compressed", packed, None},
        {"compressed, two blocks", packed2, None},
        {"plain, cut", resized(plain, -1'000'000), CutShort},
        {"plain, another block at the end", resized(plain, 5'500'000), LeftOver},
        {"compressed, cut", resized(packed, -1), CutShort},
        {"compressed, a byte at the end", resized(packed, 1), LeftOver},
        {"compressed, two blocks, cut", resized(packed2, -1), CutShort},
        {"compressed, two damaged pieces", spoilt(spoilt(packed, 126, 99), packed.size() - 99, 99),
         BadPiece},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        const TempFolder folder;
        writeFile(folder / "scan.clr", c.scan);
        const Outcome found = expectSame(folder / "scan.clr", CLRGridCodec::Create);
        EXPECT_EQ(found.problem, c.problem);
        EXPECT_GT(found.count, 100'000);
    }
    const TempFolder folder;
    writeFile(folder / "a_000.clr", packed);
    writeFile(folder / "a_001.clr", raw(2, 1, 2));
    const Outcome series = expectSame(folder / "a_000.clr",
                                      [&] { return createCLRSeriesCodec({folder / "a_001.clr"}); });
    EXPECT_EQ(series.problem, None);
    EXPECT_GT(series.count, 250'000);
}

}  // namespace
}  // namespace brisko
