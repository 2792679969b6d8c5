// Every operation of the library with its n-th call to the system, or its n-th allocation, failing: for
// every n until the operation goes through undisturbed.

#include "faults/faults.h"
#include "support/conversion_fixture.h"
#include "support/file_size_limit.h"
#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>
#include <cstdlib>
#include <functional>
#include <new>
#include <optional>
#include <ostream>

namespace brisko {
namespace {

using test::Bytes;
using test::Failing;
using test::Fault;
using test::TempFolder;
using test::TestPoint;

using Contents = std::map<std::string, Bytes>;

struct FaultCase {
    const char* name;
    Fault fault;
    bool forever;
};
std::ostream& operator<<(std::ostream& out, const FaultCase& fault) {
    return out << fault.name;
}

constexpr FaultCase kFaults[] = {
    {"Memory", Fault::Allocation, false},     {"NoMemory", Fault::Allocation, true},
    {"Error", Fault::InputOutput, false},     {"BrokenDisk", Fault::InputOutput, true},
    {"DiskFullOnce", Fault::DiskFull, false}, {"DiskFull", Fault::DiskFull, true},
    {"FileTooBig", Fault::TooBig, true},      {"NoDescriptors", Fault::TooMany, true},
    {"NotAllowed", Fault::NotAllowed, false}, {"Forbidden", Fault::NotAllowed, true},
    {"ShortMoves", Fault::Short, true},       {"Interrupted", Fault::Interrupted, false},
};

/// Faults that nobody should notice.
bool isHarmless(Fault fault) {
    return fault == Fault::Short || fault == Fault::Interrupted;
}

std::size_t openDescriptors() {
    std::size_t count = 0;
    DIR* const folder = opendir("/proc/self/fd");
    while (folder && readdir(folder))
        ++count;
    if (folder) closedir(folder);
    return count;
}

/// Runs something with ever later faults until none is met any more. `check` is told whether a file
/// could not be removed.
template <class Prepare, class Run, class Check>
void forEachFault(const FaultCase& faultCase, const Prepare& prepare, const Run& run,
                  const Check& check) {
    constexpr std::size_t kMost = 100'000;
    // A disk that is filled by mistake is found soon.
    const test::FileSizeLimit limit(rlim_t{16} << 20);
    for (std::size_t nth = 1; nth < kMost; ++nth) {
        SCOPED_TRACE("call " + std::to_string(nth));
        auto scene = prepare();
        const std::size_t descriptors = openDescriptors();
        bool wentWell = false, happened = false, keptAFile = false;
        {
            const Failing failing(faultCase.fault, nth, faultCase.forever);
            wentWell = run(*scene);
            happened = failing.happened();
            keptAFile = failing.keptAFile();
        }
        check(*scene, wentWell, keptAFile);
        EXPECT_EQ(openDescriptors(), descriptors);
        if (!happened) {
            EXPECT_TRUE(wentWell);
            return;
        }
        if (isHarmless(faultCase.fault)) {
            EXPECT_TRUE(wentWell);
        }
        if (testing::Test::HasFailure()) return;
    }
    FAIL() << "the operation never ends";
}

// --------------------------------------------------------------------- What appears whole or not at all

/// Counts what begins and ends, without memory of its own.
class StageCounter : public vexo::ProgressMonitor {
public:
    void onStart(const std::string&) override { ++starts; }
    void onFinish() override { ++finishes; }
    vexo::ProgressRequest onUpdate(const std::string&, float, bool, bool) override {
        return vexo::ProgressRequest::Continue;
    }
    int starts = 0, finishes = 0;
};

/// What a host passes to a job.
struct Arguments {
    std::string input, output;
    vexo::ProgressTracker tracker;
};

struct Job {
    const char* name;
    std::function<void(const TempFolder&)> prepare;
    std::function<bool(Arguments&)> run;
    const char* input;
    const char* output = "";  // where the call takes one
};
std::ostream& operator<<(std::ostream& out, const Job& job) {
    return out << job.name;
}

void writeRaw(const TempFolder& folder, const char* name, const test::RawSpec& spec) {
    test::writeFile(folder / name, test::rawScan(spec));
}

void writeGridScan(const std::string& path) {
    CL3IJWriterGridCodec writer;
    CL3FileHeader header;
    header.SetStopAzimuthAngle(30);
    header.SetStopZenithAngle(20);
    header.SetDeltaAzimuthAngle(1);
    header.SetDeltaZenithAngle(1);
    writer.Open(path.c_str(), &header);
    for (std::uint32_t i = 0; i < 300; ++i)
        writer.WritePoint(10, 0.01 * i - 1.5, 0.5, 100, 1, 2, 3, 255, i / 20, i % 20);
    writer.Close();
}

std::vector<Job> jobs() {
    const auto raw = [](const test::RawSpec& spec) {
        return [spec](const TempFolder& folder) { writeRaw(folder, "a.clr", spec); };
    };
    const auto indexed = [](const TempFolder& folder) { writeGridScan(folder / "a.cl3"); };
    const auto fromRaw = [](Arguments& arguments) {
        return ClrToCl3IjIndexed(std::move(arguments.input), &arguments.tracker);
    };
    return {
        {"OnePass", raw({.model = "RVX2000"}), fromRaw, "a.clr"},
        {"OnePassCompressed", raw({.model = "RVX2000", .format = 2}), fromRaw, "a.clr"},
        {"ThroughCl3", raw({}), fromRaw, "a.clr"},
        {"Sorted", raw({.blocks = 2}), fromRaw, "a.clr"},
        {"Series",
         [](const TempFolder& folder) {
             writeRaw(folder, "a_000.clr", {.seed = 1});
             writeRaw(folder, "a_001.clr", {.seed = 2});
         },
         fromRaw, "a_000.clr"},
        {"Reindexing", indexed,
         [](Arguments& arguments) {
             return Cl3IjIndexed(std::move(arguments.input), &arguments.tracker);
         },
         "a.cl3"},
        {"ByAngles",
         [](const TempFolder& folder) {
             writeGridScan(folder / "a.cl3");
             std::filesystem::remove(folder / "a.ij");
         },
         [](Arguments& arguments) {
             return indexCL3ByAngles(arguments.input, arguments.output, &arguments.tracker);
         },
         "a.cl3", "a_index.cl3"},
        {"AlignmentFile", indexed,
         [](Arguments& arguments) {
             const double turned[16] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
             return writeAlignmentFile(arguments.output.c_str(), turned, {});
         },
         "a.cl3", "a.alg"},
    };
}

/// A folder with the job's input, and all that the host brings: nothing of it is made under a fault.
struct Scene {
    explicit Scene(const Job& job) {
        arguments.input = folder / job.input;
        arguments.output = folder / job.output;
        arguments.tracker.addMonitor(&monitor);
        job.prepare(folder);
        before = test::contentsOf(folder);
    }

    TempFolder folder;
    Contents before;
    StageCounter monitor;
    Arguments arguments;
};

/// Whether a name is one that the library gives to unfinished files, or to their companions.
bool isTemporaryName(const std::string& name) {
    return name.find("." + std::to_string(getpid()) + "-") != std::string::npos;
}

class WholeOrNothing : public testing::TestWithParam<std::tuple<Job, FaultCase>> {};

/// What is in the folder is what was there, or what an undisturbed run leaves.
void expectWholeOrNothing(const Scene& scene, const Contents& complete, bool wentWell,
                          bool keptAFile) {
    for (const auto& [name, bytes] : test::contentsOf(scene.folder)) {
        const auto old = scene.before.find(name);
        const auto whole = complete.find(name);
        const bool isOld = old != scene.before.end() && old->second == bytes;
        const bool isWhole = whole != complete.end() && whole->second == bytes;
        const bool isTemporary = isTemporaryName(name);
        EXPECT_TRUE(isOld || isWhole || (isTemporary && keptAFile)) << name;
        if (wentWell && !isTemporary) {
            EXPECT_TRUE(isWhole) << name;
        }
    }
    for (const auto& [name, bytes] : scene.before) {
        if (complete.contains(name)) {
            EXPECT_TRUE(std::filesystem::exists(scene.folder / name));
        }
    }
    EXPECT_EQ(scene.monitor.starts, scene.monitor.finishes);
}

TEST_P(WholeOrNothing, AfterEveryFault) {
    const auto& [job, faultCase] = GetParam();
    const test::SilentOutput silent;
    const auto prepare = [&job = job] { return std::make_unique<Scene>(job); };
    const auto run = [&job = job](Scene& scene) { return job.run(scene.arguments); };
    const auto undisturbed = prepare();
    ASSERT_TRUE(run(*undisturbed));
    const Contents complete = test::contentsOf(undisturbed->folder);
    forEachFault(faultCase, prepare, run, [&](const Scene& scene, bool wentWell, bool keptAFile) {
        expectWholeOrNothing(scene, complete, wentWell, keptAFile);
    });
}

template <class Param>
std::string caseName(const testing::TestParamInfo<Param>& info) {
    return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Conversions, WholeOrNothing,
                         testing::Combine(testing::ValuesIn(jobs()), testing::ValuesIn(kFaults)),
                         caseName<WholeOrNothing::ParamType>);

// --------------------------------------------------------------------------------------------- Readers

struct Reader {
    const char* name;
    BriskoCodec* (*create)();
    const char* scan;
};
std::ostream& operator<<(std::ostream& out, const Reader& reader) {
    return out << reader.name;
}

/// Scans of all kinds in one folder, with a photo and its calibration.
const test::ClassicStation& station() {
    static const test::ClassicStation* const made = [] {
        auto* const station = new test::ClassicStation;
        station->addPhoto("p", test::jpegBytes(120, 160, test::grey(90)));
        writeGridScan(station->inScan("grid.cl3"));
        test::writeFile(station->inScan("five.clr"), test::rawScan({.blocks = 5}));
        test::writeFile(station->inScan("packed.clr"), test::rawScan({.format = 2}));
        return station;
    }();
    return *made;
}

template <class Codec>
BriskoCodec* createReader() {
    return Codec::Create();
}
template <bool readAhead>
BriskoCodec* createColourReader() {
    CL3GridCodec* const codec = CL3GridCodec::Create();
    if (!codec) return nullptr;
    BriskoCodec* const wrapper = ColorCodecCreator::CreateGridCodec(codec, readAhead);
    if (!wrapper) BriskoCodec::Destroy(codec);
    return wrapper;
}

constexpr Reader kReaders[] = {
    {"Cl3", &createReader<CL3Codec>, "grid.cl3"},
    {"Cl3Grid", &createReader<CL3GridCodec>, "grid.cl3"},
    {"ClrBlocks", &createReader<CLRGridCodec>, "five.clr"},
    {"ClrCompressed", &createReader<CLRGridCodec>, "packed.clr"},
    {"Colour", &createColourReader<false>, "grid.cl3"},
    {"ColourAhead", &createColourReader<true>, "grid.cl3"},
};

/// A pass that keeps nothing, so that no allocation is the test's own.
void readThrough(BriskoCodec& codec) {
    TestPoint point;
    double bounds[6];
    std::int64_t count = 0;
    if (test::readFirst(codec, point)) {
        while (test::readNext(codec, point)) {
        }
    }
    codec.GetBounds(bounds[0], bounds[1], bounds[2], bounds[3], bounds[4], bounds[5], count);
}

class ReadersUnderFaults : public testing::TestWithParam<std::tuple<Reader, FaultCase>> {};

TEST_P(ReadersUnderFaults, CanBeUsedAgain) {
    const auto& [reader, faultCase] = GetParam();
    const std::string path = station().inScan(reader.scan);
    const auto readWhole = [&path](BriskoCodec& codec) {
        return codec.Open(path.c_str()) ? test::readAll(codec) : std::vector<TestPoint>{};
    };
    const test::CodecPtr<BriskoCodec> undisturbed(reader.create());
    const std::vector<TestPoint> truth = readWhole(*undisturbed);
    ASSERT_GT(truth.size(), 250U);

    struct Held {
        test::CodecPtr<BriskoCodec> codec;
    };
    forEachFault(
        faultCase, [] { return std::make_unique<Held>(); },
        [&reader = reader, &path](Held& held) {
            held.codec.reset(reader.create());
            if (!held.codec) return false;
            const bool opened = held.codec->Open(path.c_str());
            readThrough(*held.codec);
            held.codec->Close();
            return opened;
        },
        [&](Held& held, bool, bool) {
            if (held.codec) {
                EXPECT_EQ(readWhole(*held.codec), truth);
            }
            held.codec.reset();
        });
}

INSTANTIATE_TEST_SUITE_P(All, ReadersUnderFaults,
                         testing::Combine(testing::ValuesIn(kReaders), testing::ValuesIn(kFaults)),
                         caseName<ReadersUnderFaults::ParamType>);

// --------------------------------------------------------------------------------------------- Writers

/// A writer of either kind behind one interface. Answers whether the scan is complete.
struct AnyWriter {
    const char* name;
    bool (*write)(const char* path);
};
std::ostream& operator<<(std::ostream& out, const AnyWriter& writer) {
    return out << writer.name;
}

template <class Writer, bool hasGrid>
bool writeScan(const char* path) {
    CL3FileHeader header;
    header.SetStopAzimuthAngle(600);
    header.SetStopZenithAngle(10);
    header.SetDeltaAzimuthAngle(1);
    header.SetDeltaZenithAngle(1);
    bool complete = false;
    // The second time with the same object: a fault must not leave it broken.
    Writer writer;
    for (int round = 0; round < 2; ++round) {
        const bool opened = writer.Open(path, &header);
        for (std::uint32_t i = 0; i < 6000; ++i) {
            const double x = i;
            if constexpr (hasGrid) {
                writer.WritePoint(x, 2, 3, 100, 1, 2, 3, 255, i / 10, i % 10);
            } else {
                writer.WritePoint(x, 2, 3, 100, 1, 2, 3, 255);
            }
        }
        complete = writer.Close() && opened && !writer.HasWriteError();
    }
    return complete;
}

constexpr AnyWriter kWriters[] = {
    {"Cl3", &writeScan<CL3WriterCodec, false>},
    {"Cl3Grid", &writeScan<CL3IJWriterGridCodec, true>},
    {"Clr", &writeScan<CLRWriterGridCodec, true>},
};

class WritersUnderFaults : public testing::TestWithParam<std::tuple<AnyWriter, FaultCase>> {};

TEST_P(WritersUnderFaults, TellWhetherTheScanIsComplete) {
    const auto& [writer, faultCase] = GetParam();
    struct Held {
        TempFolder folder;
        std::string path = folder / "a.scan";
    };
    Held undisturbed;
    ASSERT_TRUE(writer.write(undisturbed.path.c_str()));
    const Contents complete = test::contentsOf(undisturbed.folder);
    forEachFault(
        faultCase, [] { return std::make_unique<Held>(); },
        [&writer = writer](Held& held) {
            try {
                return writer.write(held.path.c_str());
            } catch (const std::bad_alloc&) {
                return false;  // a writer that cannot be made
            }
        },
        [&](Held& held, bool wentWell, bool) {
            if (wentWell) {
                EXPECT_EQ(test::contentsOf(held.folder), complete);
            }
        });
}

INSTANTIATE_TEST_SUITE_P(All, WritersUnderFaults,
                         testing::Combine(testing::ValuesIn(kWriters), testing::ValuesIn(kFaults)),
                         caseName<WritersUnderFaults::ParamType>);

/// In memory where the system offers that: hundreds of scans are written here.
const bool inMemory = [] {
    return access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;
}();

}  // namespace
}  // namespace brisko
