#include <brisko_codec/brisko_codec.h>

#include "support/photo_station.h"
#include "support/read_points.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <boost/thread/thread.hpp>

#include <atomic>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

std::atomic<bool> noMoreThreads = false;

}  // namespace

/// Stands before the system's own: a process that may not start threads.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return noMoreThreads ? EAGAIN : create(thread, attributes, routine, argument);
}

namespace brisko {
namespace {

using test::ClassicStation;
using test::CodecPtr;
using test::PhotoStation;
using test::readAll;
using test::readAllBatched;
using test::TestPoint;

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

/// A host's own codec: so many points, made as they are asked for. Knows of no frames.
class MadeCodec : public BriskoGridCodec {
public:
    explicit MadeCodec(std::size_t count) : m_count(count) {}

    bool Open(const char*) override { return isOpen = true; }
    void Close() override { isOpen = false; }
    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override {
        minX = minY = minZ = -4;
        maxX = maxY = maxZ = 4;
        count = static_cast<std::int64_t>(m_count);
    }
    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        unsigned column = 0, row = 0;
        return ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        unsigned column = 0, row = 0;
        return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        columns = m_count / 100 + 1;
        rows = 100;
        tileSize = 0;
    }
    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        m_next = 0;
        return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        if (!isOpen || m_next >= m_count) {
            ++callsAfterEnd;
            return false;
        }
        if (beforePoint) beforePoint(m_next);
        const TestPoint p = pointAt(m_next++);
        x = p.x, y = p.y, z = p.z;
        intensity = p.intensity;
        red = p.red, green = p.green, blue = p.blue;
        alpha = 255;
        column = p.column, row = p.row;
        return true;
    }

    bool isOpen = false;
    int callsAfterEnd = 0;
    std::function<void(std::size_t)> beforePoint;

private:
    std::size_t m_count;
    std::size_t m_next = 0;
};

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

struct Factory {
    const char* name;
    const char* scan;
    BriskoCodec* (*coloured)();
    BriskoCodec* (*plain)();

    /// A reader of the scan, without anything around it.
    BriskoCodec* native() const {
        if (std::string(scan) == "scan.clr") return CLRCodec::Create();
        return CL3Codec::Create();
    }
};

// Every way to a colour codec, and a reader that gives the same points without colour.
const Factory kFactories[] = {
    {"synchronous", "scan.cl3",
     [] { return ColorCodecCreator::CreateCodec(CL3Codec::Create(), false); },
     [] { return static_cast<BriskoCodec*>(CL3Codec::Create()); }},
    {"read ahead", "scan.cl3",
     [] { return ColorCodecCreator::CreateCodec(CL3Codec::Create(), true); },
     [] { return static_cast<BriskoCodec*>(CL3Codec::Create()); }},
    {"synchronous grid", "scan.clr",
     [] {
         return static_cast<BriskoCodec*>(
             ColorCodecCreator::CreateGridCodec(CLRGridCodec::Create(), false));
     },
     [] { return static_cast<BriskoCodec*>(CLRGridCodec::Create()); }},
    {"read-ahead grid", "scan.clr",
     [] {
         return static_cast<BriskoCodec*>(
             ColorCodecCreator::CreateGridCodec(CLRGridCodec::Create(), true));
     },
     [] { return static_cast<BriskoCodec*>(CLRGridCodec::Create()); }},
    {"CL3", "scan.cl3",
     [] { return static_cast<BriskoCodec*>(ColorCodecCreator::CreateCL3Codec()); },
     [] { return static_cast<BriskoCodec*>(CL3Codec::Create()); }},
    {"CL3 grid", "scan.cl3",
     [] { return static_cast<BriskoCodec*>(ColorCodecCreator::CreateCL3GridCodec()); },
     [] { return static_cast<BriskoCodec*>(CL3GridCodec::Create()); }},
    {"CLR", "scan.clr",
     [] { return static_cast<BriskoCodec*>(ColorCodecCreator::CreateCLRCodec()); },
     [] { return static_cast<BriskoCodec*>(CLRGridCodec::Create()); }},
    {"CLR grid", "scan.clr",
     [] { return static_cast<BriskoCodec*>(ColorCodecCreator::CreateCLRGridCodec()); },
     [] { return static_cast<BriskoCodec*>(CLRGridCodec::Create()); }},
    {"of skipped points", "scan.cl3",
     [] {
         return static_cast<BriskoCodec*>(
             ColorCodecCreator::CreateGridCodec(SkipCodecCreator::CreateBbValidatorGridCodec(
                                                    CL3GridCodec::Create(), -4, 3, -1, 9, 9, 1),
                                                true));
     },
     [] {
         return static_cast<BriskoCodec*>(SkipCodecCreator::CreateBbValidatorGridCodec(
             CL3GridCodec::Create(), -4, 3, -1, 9, 9, 1));
     }},
    {"skipped of coloured points", "scan.clr",
     [] { return SkipCodecCreator::CreateCodec(ColorCodecCreator::CreateCLRGridCodec(), 5.5); },
     [] { return SkipCodecCreator::CreateCodec(CLRGridCodec::Create(), 5.5); }},
};

struct Scan {
    std::vector<TestPoint> points;
    bool hasCells = false;
    double bounds[6] = {};
    std::int64_t count = 0;
};

Scan readScan(BriskoCodec* made, const std::string& path, Frame frame = Frame::Aligned) {
    const CodecPtr<BriskoCodec> codec(made);
    Scan scan;
    scan.hasCells = dynamic_cast<BriskoGridCodec*>(made) != nullptr;
    EXPECT_TRUE(setFrame(*codec, frame));
    EXPECT_TRUE(codec->Open(path.c_str()));
    codec->GetBounds(scan.bounds[0], scan.bounds[1], scan.bounds[2], scan.bounds[3], scan.bounds[4],
                     scan.bounds[5], scan.count);
    scan.points = readAll(*codec);
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
    for (const Factory& factory : kFactories) {
        SCOPED_TRACE(factory.name);
        const std::string path = station.inScan(factory.scan);
        std::map<Place, std::uint8_t> colours;
        for (const TestPoint& point :
             readScan(ColorCodecCreator::CreateCodec(factory.native(), false), path).points) {
            colours[measuredPlace(point, false)] = point.red;
        }
        ASSERT_EQ(colours.size(), 2400u);

        test::writeFile(station.inScan("scan.alg"), kAlignment);
        for (const Frame frame : {Frame::Aligned, Frame::Scanner}) {
            Scan plain = readScan(factory.plain(), path, frame);
            const Scan coloured = readScan(factory.coloured(), path, frame);
            EXPECT_EQ(coloured.count, plain.count);
            for (int i = 0; i < 6; ++i)
                EXPECT_EQ(coloured.bounds[i], plain.bounds[i]);
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
        std::filesystem::remove(station.inScan("scan.alg"));
    }
}

TEST(ColorCodec, AllWaysGiveTheSameColours) {
    const ClassicStation station;
    station.addRing(60);
    writeScans(station);
    const auto read = [&](BriskoCodec* made, const char* name) {
        return readScan(made, station.inScan(name)).points;
    };
    const auto grid =
        read(ColorCodecCreator::CreateGridCodec(CL3GridCodec::Create(), false), "scan.cl3");
    EXPECT_EQ(read(ColorCodecCreator::CreateGridCodec(CL3GridCodec::Create(), true), "scan.cl3"),
              grid);
    EXPECT_EQ(read(ColorCodecCreator::CreateCL3GridCodec(), "scan.cl3"), grid);
    const CodecPtr<CL3GridCodec> batched(ColorCodecCreator::CreateCL3GridCodec());
    ASSERT_TRUE(batched->Open(scanIn(station).c_str()));
    EXPECT_EQ(readAllBatched(*batched, 777), grid);
    EXPECT_TRUE(readAllBatched(*batched, 777).empty()) << "one pass";
    // Cells come with the points.
    EXPECT_EQ(grid[41].column, 1u);
    EXPECT_EQ(grid[41].row, 1u);
    std::size_t columns = 0, rows = 0;
    unsigned tileSize = 0;
    batched->GetGridSize(columns, rows, tileSize);
    EXPECT_EQ(columns, 60u);
    EXPECT_EQ(tileSize, 256u);
}

TEST(ReadAheadColorCodec, EveryPointComesOnceAndInOrder) {
    const ClassicStation photos;
    photos.addRing(60);
    const PhotoStation none;
    for (const std::size_t count : {std::size_t{0}, std::size_t{1}, kBuffer - 1, kBuffer,
                                    kBuffer + 1, 2 * kBuffer, 2 * kBuffer + 1, 3 * kBuffer + 7}) {
        const bool coloured = count == kBuffer + 1;
        auto* const made = new MadeCodec(count);
        const CodecPtr<BriskoGridCodec> codec(ColorCodecCreator::CreateGridCodec(made, true));
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
        EXPECT_FALSE(test::readFirst(*codec, point));
        EXPECT_EQ(made->callsAfterEnd, 1) << "the end is asked for once";
    }
}

TEST(ReadAheadColorCodec, TheFirstPointIsWhateverComesNext) {
    const PhotoStation station;
    const CodecPtr<BriskoGridCodec> codec(
        ColorCodecCreator::CreateGridCodec(new MadeCodec(100), true));
    const auto next = [&codec](bool first) {
        TestPoint point;
        EXPECT_TRUE(first ? test::readFirst(*codec, point) : test::readNext(*codec, point));
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
        auto* const made = new MadeCodec(10);
        const CodecPtr<BriskoCodec> codec(ColorCodecCreator::CreateGridCodec(made, ahead));
        TestPoint point;
        EXPECT_FALSE(test::readFirst(*codec, point)) << "not open";
        EXPECT_FALSE(codec->Open(scanIn(station).c_str()));
        EXPECT_FALSE(made->isOpen);
        EXPECT_FALSE(test::readFirst(*codec, point));
        EXPECT_FALSE(codec->Open(nullptr));
        const PhotoStation good;
        EXPECT_TRUE(codec->Open(scanIn(good).c_str()));
        EXPECT_TRUE(made->isOpen);
        EXPECT_TRUE(test::readFirst(*codec, point));
        EXPECT_EQ(point.red + point.green + point.blue, 0) << "no photos: black";
        EXPECT_FALSE(codec->Open(scanIn(station).c_str()));
        EXPECT_FALSE(made->isOpen) << "what was open before is closed";
        EXPECT_FALSE(test::readNext(*codec, point));
    }
}

TEST(ColorCodec, AReadThatFailsLeavesTheColourAlone) {
    const PhotoStation station;
    const CodecPtr<BriskoCodec> codec(ColorCodecCreator::CreateCodec(new MadeCodec(0), false));
    ASSERT_TRUE(codec->Open(scanIn(station).c_str()));
    TestPoint point;
    point.red = 77;
    EXPECT_FALSE(test::readFirst(*codec, point));
    EXPECT_EQ(point.red, 77);
}

TEST(ColorCodec, AWrappedNullIsHarmless) {
    for (const bool ahead : {false, true}) {
        const CodecPtr<BriskoGridCodec> codec(ColorCodecCreator::CreateGridCodec(nullptr, ahead));
        EXPECT_FALSE(codec->Open("/scan.cl3"));
        codec->Close();
        TestPoint point;
        EXPECT_FALSE(test::readFirst(*codec, point));
        EXPECT_FALSE(test::readNext(*codec, point));
        EXPECT_EQ(codec->GetPointCount(), 0);
        EXPECT_EQ(getAlignment(*codec).source, AlignmentSource::None);
        setFrame(*codec, Frame::Scanner);
    }
}

TEST(ReadAheadColorCodec, WorkersAreJoinedBeforeAnythingGoes) {
    const ClassicStation station;
    station.addRing(60);
    const auto readOne = [&](BriskoCodec& codec) {
        ASSERT_TRUE(codec.Open(scanIn(station).c_str()));
        TestPoint point;
        ASSERT_TRUE(test::readFirst(codec, point));  // the second buffer is being coloured now
    };
    CodecPtr<BriskoCodec> codec(ColorCodecCreator::CreateCodec(new MadeCodec(900'000), true));
    readOne(*codec);
    readOne(*codec);  // a second Open
    codec->Close();
    TestPoint point;
    EXPECT_FALSE(test::readNext(*codec, point));
    readOne(*codec);
    EXPECT_EQ(codec->GetPointCount(), 900'000);
    codec.reset();
}

TEST(ReadAheadColorCodec, ColoursWithoutThreadsToo) {
    const ClassicStation station;
    station.addRing(60);
    const auto read = [&](bool ahead) {
        const CodecPtr<BriskoCodec> codec(
            ColorCodecCreator::CreateGridCodec(new MadeCodec(5000), ahead));
        noMoreThreads = true;
        EXPECT_TRUE(codec->Open(scanIn(station).c_str()));
        const std::vector<TestPoint> points = readAll(*codec);
        noMoreThreads = false;
        return points;
    };
    const std::vector<TestPoint> expected = read(false);
    ASSERT_EQ(expected.size(), 5000u);
    EXPECT_EQ(read(true), expected);
}

TEST(ReadAheadColorCodec, AnInterruptedReadLosesNothing) {
    const ClassicStation station;
    station.addRing(60);
    const auto read = [&](std::size_t interruptAt) {
        auto* const made = new MadeCodec(3000);
        const CodecPtr<BriskoGridCodec> codec(ColorCodecCreator::CreateGridCodec(made, true));
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

TEST(ReadAheadColorCodec, TwoScansSideBySideAreColouredAsAlone) {
    const ClassicStation stations[2];
    stations[0].addRing(60);
    stations[1].addRing(90);
    const auto read = [&](std::size_t i) {
        const CodecPtr<BriskoCodec> codec(
            ColorCodecCreator::CreateGridCodec(new MadeCodec(30'000), true));
        EXPECT_TRUE(codec->Open(scanIn(stations[i]).c_str()));
        return readAll(*codec);
    };
    const std::vector<TestPoint> alone[2] = {read(0), read(1)};
    ASSERT_NE(alone[0], alone[1]);
    std::vector<TestPoint> together[2];
    std::thread other([&] { together[1] = read(1); });
    together[0] = read(0);
    other.join();
    for (const int i : {0, 1})
        EXPECT_EQ(together[i], alone[i]);
}

}  // namespace
}  // namespace brisko
