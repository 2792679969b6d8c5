#include <brisko_codec/brisko_codec.h>

#include "decorators/made_codec.h"
#include "support/photo_station.h"
#include "support/read_points.h"

#include <gtest/gtest.h>
#include <boost/thread/thread.hpp>

#include <cmath>
#include <filesystem>
#include <functional>
#include <map>

namespace brisko {
namespace {

using namespace test;

constexpr std::size_t kBuffer = 400'000;

TestPoint pointAt(std::size_t i) {
    const double azimuth = 1e-4 * static_cast<double>(i);
    return {4 * std::cos(azimuth),
            4 * std::sin(azimuth),
            std::sin(0.01 * static_cast<double>(i)),
            static_cast<float>(i % 2000),
            1,
            2,
            3,
            static_cast<std::uint32_t>(i / 100),
            static_cast<std::uint32_t>(i % 100)};
}

MadeCodec* makeCodec(std::size_t count) {
    return new MadeCodec(count, pointAt);
}

/// All but the colour: what a wrapper must not change.
TestPoint withoutColour(TestPoint point) {
    point.red = point.green = point.blue = 0;
    return point;
}

std::string scanIn(const PhotoStation& station) {
    return station.inScan("scan.cl3");
}

/// A scan of 60 x 40 points around the scanner, as CL3 with an index and as CLR.
template <class Writer>
void writeScan(const std::string& path) {
    CL3FileHeader header;
    header.SetStopAzimuthAngle(60);
    header.SetDeltaAzimuthAngle(1);
    header.SetStopZenithAngle(40);
    header.SetDeltaZenithAngle(1);
    Writer writer;
    ASSERT_TRUE(writer.Open(path.c_str(), &header));
    for (unsigned column = 0; column < 60; ++column) {
        for (unsigned row = 0; row < 40; ++row) {
            const double azimuth = 0.1047 * column, elevation = 0.02 * row - 0.4;
            writer.WritePoint(5 * std::cos(azimuth), 5 * std::sin(azimuth), 5 * elevation, 100, 9,
                              9, 9, 255, column, row);
        }
    }
    ASSERT_TRUE(writer.Close());
    ASSERT_FALSE(writer.HasWriteError());
}
void writeScans(const PhotoStation& station) {
    writeScan<CL3IJWriterGridCodec>(scanIn(station));
    writeScan<CLRWriterGridCodec>(station.inScan("scan.clr"));
    std::filesystem::remove(station.inScan("scan.alg"));
}

BriskoGridCodec* createBoxed() {
    return SkipCodecCreator::CreateBbValidatorGridCodec(CL3GridCodec::Create(), -4, 3, -1, 9, 9, 1);
}

using Creator = ColorCodecCreator;

/// Without the holes that four corners leave.
template <class Codec>
Codec* whole(Codec* codec) {
    EXPECT_TRUE(setPhotoOutlines(*codec, PhotoOutlines::Whole));
    return codec;
}

// Every way to a colour codec, and a reader that gives the same points without colour.
const struct Factory {
    const char* name;
    const char* scan;
    std::function<BriskoCodec*()> coloured, plain;
} kFactories[] = {
    {"synchronous", "scan.cl3",
     [] { return whole(Creator::CreateCodec(CL3Codec::Create(), false)); }, CL3Codec::Create},
    {"read ahead", "scan.cl3", [] { return whole(Creator::CreateCodec(CL3Codec::Create(), true)); },
     CL3Codec::Create},
    {"synchronous grid", "scan.clr",
     [] { return whole(Creator::CreateGridCodec(CLRGridCodec::Create(), false)); },
     CLRGridCodec::Create},
    {"read-ahead grid", "scan.clr",
     [] { return whole(Creator::CreateGridCodec(CLRGridCodec::Create(), true)); },
     CLRGridCodec::Create},
    {"CL3", "scan.cl3", [] { return whole(Creator::CreateCL3Codec()); }, CL3Codec::Create},
    {"CL3 grid", "scan.cl3", [] { return whole(Creator::CreateCL3GridCodec()); },
     CL3GridCodec::Create},
    {"CLR", "scan.clr", [] { return whole(Creator::CreateCLRCodec()); }, CLRGridCodec::Create},
    {"CLR grid", "scan.clr", [] { return whole(Creator::CreateCLRGridCodec()); },
     CLRGridCodec::Create},
    {"of skipped points", "scan.cl3",
     [] { return whole(Creator::CreateGridCodec(createBoxed(), true)); }, createBoxed},
    {"skipped of coloured points", "scan.clr",
     [] { return SkipCodecCreator::CreateCodec(whole(Creator::CreateCLRGridCodec()), 5.5); },
     [] { return SkipCodecCreator::CreateCodec(CLRGridCodec::Create(), 5.5); }},
};

struct Scan {
    std::vector<TestPoint> points;
    bool hasCells = false;
    std::vector<double> numbers;  // bounds, count and grid
};

Scan readScan(BriskoCodec* made, const std::string& path, Frame frame = Frame::Aligned) {
    const CodecPtr<BriskoCodec> codec(made);
    Scan scan;
    EXPECT_TRUE(setFrame(*codec, frame));
    EXPECT_TRUE(codec->Open(path.c_str()));
    double b[6];
    std::int64_t count = 0;
    codec->GetBounds(b[0], b[1], b[2], b[3], b[4], b[5], count);
    scan.numbers.assign(std::begin(b), std::end(b));
    scan.numbers.push_back(static_cast<double>(count));
    if (auto* const grid = dynamic_cast<BriskoGridCodec*>(made)) {
        scan.hasCells = true;
        unsigned columns = 0, rows = 0, tileSize = 0;
        grid->GetGridResolution(columns, rows, tileSize);
        for (const unsigned number : {columns, rows, tileSize})
            scan.numbers.push_back(number);
    }
    scan.points = readAll(*codec);
    EXPECT_TRUE(codec->Open(path.c_str()));
    EXPECT_EQ(readAllBatched(*codec, 777), scan.points);
    return scan;
}

constexpr const char* kAlignment =
    "CL3_ALG_0.1\n0 -1 0 5//matrix 1\n1 0 0 6\n0 0 1 0.125\n0 0 0 1\n";

/// Where the scanner measured a point, in tenths of a millimetre.
using Place = std::array<long, 3>;
Place measuredPlace(const TestPoint& point, bool isAligned) {
    const auto tenths = [](double metres) { return std::lround(metres * 10000); };
    if (!isAligned) return {tenths(point.x), tenths(point.y), tenths(point.z)};
    return {tenths(point.y - 6), tenths(5 - point.x), tenths(point.z - 0.125)};
}

TEST(ColorCodec, ColoursAreThoseOfTheMeasuredPlaceWhateverTheAlignment) {
    const ClassicStation station;
    station.addRing(60);
    writeScans(station);
    std::map<std::string, std::map<Place, std::uint8_t>> coloursOf;
    for (const Factory& one : {kFactories[0], kFactories[2]}) {
        for (const TestPoint& p : readScan(one.coloured(), station.inScan(one.scan)).points)
            coloursOf[one.scan][measuredPlace(p, false)] = p.red;
        ASSERT_EQ(coloursOf[one.scan].size(), 2400u);
    }
    writeFile(station.inScan("scan.alg"), kAlignment);
    for (const Factory& factory : kFactories) {
        const std::string path = station.inScan(factory.scan);
        const auto& colours = coloursOf[factory.scan];
        for (const Frame frame : {Frame::Aligned, Frame::Scanner}) {
            SCOPED_TRACE(factory.name);
            Scan plain = readScan(factory.plain(), path, frame);
            const Scan coloured = readScan(factory.coloured(), path, frame);
            plain.numbers.resize(coloured.numbers.size());
            EXPECT_EQ(coloured.numbers, plain.numbers);
            ASSERT_EQ(coloured.points.size(), plain.points.size());
            ASSERT_GT(plain.points.size(), 200u);
            for (std::size_t i = 0; i < plain.points.size(); ++i) {
                if (!coloured.hasCells) plain.points[i].column = plain.points[i].row = 0;
                const TestPoint& point = coloured.points[i];
                ASSERT_EQ(withoutColour(point), withoutColour(plain.points[i]));
                ASSERT_EQ(point.red, colours.at(measuredPlace(point, frame == Frame::Aligned)));
                ASSERT_GE(point.red, 60) << "photos all around";
            }
        }
    }
}

TEST(ReadAheadColorCodec, EveryPointComesOnceAndInOrder) {
    const ClassicStation photos;
    photos.addRing(60);
    const PhotoStation none;
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, kBuffer - 1, kBuffer,
                                    kBuffer + 1, 2 * kBuffer, 2 * kBuffer + 1, 3 * kBuffer + 7}) {
        const bool coloured = count == kBuffer + 1;
        const JobThreadLimit threads(1 + (count + 1) % 4);
        auto* const made = makeCodec(count);
        const CodecPtr<BriskoGridCodec> codec(whole(Creator::CreateGridCodec(made, true)));
        ASSERT_TRUE(codec->Open(scanIn(coloured ? photos : none).c_str()));
        TestPoint point;
        std::uint8_t alpha = 0;
        std::size_t i = 0;
        for (; codec->ReadNextGridPoint(point.x, point.y, point.z, point.intensity, point.red,
                                        point.green, point.blue, alpha, point.column, point.row);
             ++i) {
            ASSERT_EQ(withoutColour(point), withoutColour(pointAt(i)));
            ASSERT_EQ(point.red >= 60, coloured) << i;
        }
        EXPECT_EQ(i, count);
        EXPECT_EQ(alpha, count > 0 ? 255 : 0);
        EXPECT_FALSE(readFirst(*codec, point));
        EXPECT_EQ(made->callsAfterEnd, 1) << "the end is asked for once";
    }
}

TEST(ReadAheadColorCodec, TheFirstPointIsWhateverComesNext) {
    const PhotoStation station;
    const CodecPtr<BriskoGridCodec> codec(Creator::CreateGridCodec(makeCodec(100), true));
    const auto next = [&codec](bool first) {
        TestPoint point;
        EXPECT_TRUE(first ? readFirst(*codec, point) : readNext(*codec, point));
        return point.intensity;
    };
    for (int pass = 0; pass < 2; ++pass) {  // and starts again with Open
        ASSERT_TRUE(codec->Open(scanIn(station).c_str()));
        EXPECT_EQ(next(true), 0);
        EXPECT_EQ(next(false), 1);
        EXPECT_EQ(next(false), 2);
        EXPECT_EQ(next(true), 3);
    }
}

TEST(ColorCodec, AStationThatCannotBeUsedKeepsTheScanClosed) {
    const ClassicStation station;
    station.addPhoto("a", {1, 2, 3});
    for (const bool ahead : {false, true}) {
        auto* const made = makeCodec(10);
        const CodecPtr<BriskoCodec> codec(Creator::CreateGridCodec(made, ahead));
        TestPoint point;
        EXPECT_FALSE(readFirst(*codec, point)) << "not open";
        EXPECT_FALSE(codec->Open(scanIn(station).c_str()));
        EXPECT_FALSE(made->isOpen);
        EXPECT_FALSE(readFirst(*codec, point));
        EXPECT_FALSE(codec->Open(nullptr));
        const PhotoStation good;
        EXPECT_TRUE(codec->Open(scanIn(good).c_str()));
        EXPECT_TRUE(made->isOpen);
        EXPECT_TRUE(readFirst(*codec, point));
        EXPECT_EQ(point.red + point.green + point.blue, 0) << "no photos: black";
        EXPECT_FALSE(codec->Open(scanIn(station).c_str()));
        EXPECT_FALSE(made->isOpen) << "what was open before is closed";
        EXPECT_FALSE(readNext(*codec, point));
    }
}

TEST(ColorCodec, AnOpenThatIsStoppedOrCannotReadTheScanLeavesNothingOpen) {
    const ClassicStation station;
    station.addRing(60);
    const auto failAt = [](std::size_t point) {
        return [=](std::size_t i) { return i < point ? void() : throw std::runtime_error("read"); };
    };
    const struct {
        ColourOpenProgress progress;
        std::function<void(std::size_t)> beforePoint;
    } cases[] = {
        {[](std::uint64_t) { return false; }, {}},
        {[](std::uint64_t points) { return points < 2000; }, {}},
        {[](std::uint64_t p) { return p < 2000 ? true : throw std::runtime_error("stop"); }, {}},
        {{}, failAt(2000)},
    };
    for (const bool ahead : {false, true}) {
        auto* const made = makeCodec(3000);
        EXPECT_FALSE(setPhotoOcclusion(*made, true) || setColourOpenProgress(*made, {}));
        const CodecPtr<BriskoCodec> codec(Creator::CreateGridCodec(made, ahead));
        EXPECT_TRUE(setPhotoOcclusion(*codec, true));
        for (const auto& c : cases) {
            SCOPED_TRACE(&c - cases);
            EXPECT_TRUE(setColourOpenProgress(*codec, c.progress));
            made->beforePoint = c.beforePoint;
            EXPECT_FALSE(codec->Open(scanIn(station).c_str()));
            EXPECT_FALSE(made->isOpen);
            TestPoint point;
            EXPECT_FALSE(readFirst(*codec, point));
        }
        made->beforePoint = {};
        setColourOpenProgress(*codec, {});
        EXPECT_TRUE(codec->Open(scanIn(station).c_str()));
        EXPECT_EQ(readAll(*codec).size(), 3000u);
    }
}

TEST(ColorCodec, AReadThatFailsLeavesTheColourAlone) {
    const PhotoStation station;
    const CodecPtr<BriskoCodec> codec(Creator::CreateCodec(makeCodec(0), false));
    ASSERT_TRUE(codec->Open(scanIn(station).c_str()));
    TestPoint point{.red = 77};
    EXPECT_FALSE(readFirst(*codec, point));
    EXPECT_EQ(point.red, 77);
}

TEST(ReadAheadColorCodec, WorkersAreJoinedBeforeAnythingGoes) {
    const ClassicStation station;
    station.addRing(60);
    const auto readOne = [&](BriskoCodec& codec) {
        ASSERT_TRUE(codec.Open(scanIn(station).c_str()));
        TestPoint point;
        ASSERT_TRUE(readFirst(codec, point));  // the second buffer is being coloured now
    };
    CodecPtr<BriskoCodec> codec(Creator::CreateCodec(makeCodec(900'000), true));
    readOne(*codec);
    readOne(*codec);  // a second Open
    codec->Close();
    TestPoint point;
    EXPECT_FALSE(readNext(*codec, point));
    readOne(*codec);
    EXPECT_EQ(codec->GetPointCount(), 900'000);
    codec.reset();
}

TEST(ReadAheadColorCodec, AnInterruptedReadLosesNothing) {
    const ClassicStation station;
    station.addRing(60);
    const auto read = [&](std::size_t interruptAt) {
        auto* const made = makeCodec(3000);
        const CodecPtr<BriskoGridCodec> codec(Creator::CreateGridCodec(made, true));
        std::vector<TestPoint> points;
        int interruptions = 0;
        boost::thread reader([&] {
            EXPECT_TRUE(codec->Open(scanIn(station).c_str()));
            made->beforePoint = [&, done = false](std::size_t i) mutable {
                if (i == interruptAt && !std::exchange(done, true)) reader.interrupt();
            };
            try {
                points = readAll(*codec);
            } catch (const boost::thread_interrupted&) {
                ++interruptions;
            }
            // What the interrupted call had read comes with the next.
            if (points.empty()) points = readAll(*codec);
        });
        reader.join();
        EXPECT_EQ(interruptions, interruptAt < 2999 ? 1 : 0);
        return points;
    };
    const std::vector<TestPoint> expected = read(9999);
    ASSERT_EQ(expected.size(), 3000u);
    for (const std::size_t at : {0U, 1U, 1500U})
        EXPECT_EQ(read(at), expected) << at;
}

}  // namespace
}  // namespace brisko
