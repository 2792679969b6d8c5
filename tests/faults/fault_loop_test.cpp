// Every operation of the library with its n-th call to the system, or its n-th allocation, failing: for
// every n until the operation goes through undisturbed.

#include "base/file.h"
#include "base/worker_pool.h"
#include "faults/faults.h"
#include "faults/jobs.h"
#include "faults/readers.h"
#include "support/file_size_limit.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <algorithm>
#include <optional>
#include <ostream>
#include <thread>

namespace brisko {
namespace {

using test::Contents;
using test::Failing;
using test::Fault;
using test::Job;
using test::Reader;
using test::Scene;
using test::TempFolder;
using test::TestPoint;

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
        EXPECT_EQ(openDescriptors(), descriptors);
        check(*scene, wentWell, keptAFile);
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

class WholeOrNothing : public testing::TestWithParam<std::tuple<Job, FaultCase>> {};

TEST_P(WholeOrNothing, AfterEveryFault) {
    const auto& [job, faultCase] = GetParam();
    if (std::count(job.exempt.begin(), job.exempt.end(), faultCase.fault) > 0) return;
    const test::SilentOutput silent;
    forEachFault(
        faultCase, [&job = job] { return std::make_unique<Scene>(job); },
        [](Scene& scene) { return scene.run(); },
        [](const Scene& scene, bool wentWell, bool keptAFile) {
            scene.expectWholeOrNothing(keptAFile);
            if (wentWell) scene.expectDone(keptAFile);
        });
}

template <class Param>
std::string caseName(const testing::TestParamInfo<Param>& info) {
    return std::string(std::get<0>(info.param).name) + std::get<1>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Jobs, WholeOrNothing,
                         testing::Combine(testing::ValuesIn(test::jobs()),
                                          testing::ValuesIn(kFaults)),
                         caseName<WholeOrNothing::ParamType>);

// --------------------------------------------------------------------------------------------- Readers

/// A pass that keeps nothing, so that no allocation is the test's own. Returns the number of points;
/// nothing when not all of them may have come.
std::optional<std::size_t> readThrough(BriskoCodec& codec) {
    constexpr std::size_t kBatch = 100;
    double positions[3 * kBatch];
    double bounds[6];
    std::int64_t counted = 0;
    PointBatchReader reader(codec);
    std::size_t count = reader.readFirst({positions}, kBatch);
    for (std::size_t got = count; got > 0; count += got)
        got = reader.readNext({positions}, kBatch);
    codec.GetBounds(bounds[0], bounds[1], bounds[2], bounds[3], bounds[4], bounds[5], counted);
    return reader.hasReadError() ? std::nullopt : std::optional(count);
}

class ReadersUnderFaults : public testing::TestWithParam<std::tuple<Reader, FaultCase>> {};

TEST_P(ReadersUnderFaults, TellWhetherTheyReadAllAndCanBeUsedAgain) {
    const auto& [reader, faultCase] = GetParam();
    const std::string path = test::scanOf(reader);
    const auto readWhole = [&path](BriskoCodec& codec) {
        return codec.Open(path.c_str()) ? test::readAll(codec) : std::vector<TestPoint>{};
    };
    const test::CodecPtr<BriskoCodec> undisturbed(reader.create());
    const std::vector<TestPoint> truth = readWhole(*undisturbed);
    ASSERT_GT(truth.size(), 250U);

    struct Held {
        test::CodecPtr<BriskoCodec> codec;
        std::optional<std::size_t> count;
    };
    const auto run = [&reader = reader, &path](Held& held) {
        held.codec.reset(reader.create());
        if (!held.codec) return false;
        if (held.codec->Open(path.c_str())) held.count = test::orNoMemory(readThrough, *held.codec);
        held.codec->Close();
        return held.count.has_value();
    };
    forEachFault(
        faultCase, [] { return std::make_unique<Held>(); }, run,
        [&](Held& held, bool wentWell, bool) {
            EXPECT_TRUE(!wentWell || held.count == truth.size());
            if (held.codec) {
                EXPECT_EQ(readWhole(*held.codec), truth);
            }
            held.codec.reset();
        });
}

INSTANTIATE_TEST_SUITE_P(All, ReadersUnderFaults,
                         testing::Combine(testing::ValuesIn(test::kReaders),
                                          testing::ValuesIn(kFaults)),
                         caseName<ReadersUnderFaults::ParamType>);

// A reader that is handed to another thread takes what it met along.
TEST(ReadersUnderFaults, KeepTheirErrorsWhateverThreadUsesThem) {
    for (const Reader& reader : test::kReaders) {
        SCOPED_TRACE(reader.name);
        const test::CodecPtr<BriskoCodec> codec(reader.create());
        ASSERT_TRUE(codec->Open(test::scanOf(reader).c_str()));
        PointBatchReader points(*codec);
        double position[3];
        std::thread([&] {
            const Failing failing(Fault::InputOutput, 1, true);
            points.readFirst({position}, 1);
            while (points.readNext({position}, 1) > 0) {
            }
        }).join();
        EXPECT_TRUE(points.hasReadError());
        EXPECT_EQ(getReadProblem(*codec).kind, ReadProblemKind::Unreadable);
    }
}

TEST(Workers, ThatTheSystemRefusesLeaveTheWorkToTheCaller) {
    std::size_t done = 0;
    const auto job = [&](std::size_t i) { return done += i; };
    {
        const Failing failing(Fault::Allocation, 1, false);
        forEachIndex(10, job, 4);
    }
    EXPECT_EQ(done, 45U);
    {
        const Failing failing(Fault::Allocation, 1, false);
        collectResults(10, 4, ResultOrder::Index, job, [](std::size_t, std::size_t) {});
    }
    EXPECT_EQ(done, 90U);
}

class CellsUnderFaults : public testing::TestWithParam<FaultCase> {};

TEST_P(CellsUnderFaults, AreAllThereOrReportedAsDamaged) {
    struct Held {
        CL3CellReader reader;
        std::vector<CellPoint> points;
    };
    const std::string path = test::readersFolder() + "/grid.cl3";
    const auto run = [&path](Held& held) {
        const bool opened = held.reader.open(path.c_str());
        const CellState state = held.reader.readWindow({0, 1000, 0, 1000}, held.points);
        held.reader.close();
        return opened && state == CellState::Point;
    };
    forEachFault(
        GetParam(), [] { return std::make_unique<Held>(); }, run,
        [&](Held& held, bool wentWell, bool) {
            EXPECT_TRUE(!wentWell || held.points.size() == 300);
            EXPECT_TRUE(run(held));
            EXPECT_EQ(held.points.size(), 300U);
        });
}

INSTANTIATE_TEST_SUITE_P(All, CellsUnderFaults, testing::ValuesIn(kFaults),
                         [](const auto& one) { return std::string(one.param.name); });

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
        for (std::uint32_t i = 0; i < 3000; ++i) {
            const double x = i;
            if constexpr (hasGrid) {
                writer.WritePoint(x, 2, 3, 100, 1, 2, 3, 255, i / 5, i % 5);
            } else {
                writer.WritePoint(x, 2, 3, 100, 1, 2, 3, 255);
            }
        }
        complete = writer.Close() && opened && !writer.HasWriteError();
    }
    return complete;
}

/// The header of a scan, read and written again.
template <class Header>
bool copyHeader(const std::string& scan, const char* copy) {
    Header header;
    if (!header.Read(scan.c_str())) return false;
    const FilePtr file = openFile(copy, "wb");
    if (!file) return false;
    header.Write(file.get());
    return !std::ferror(file.get()) && std::fflush(file.get()) == 0;
}
bool copyCl3Header(const char* path) {
    return copyHeader<CL3FileHeader>(test::scanOf(test::kReaders[0]), path);
}
bool copyClrHeader(const char* path) {
    return copyHeader<CLRFileHeader>(test::scanOf(test::kReaders[2]), path);
}

constexpr AnyWriter kWriters[] = {
    {"Cl3Header", &copyCl3Header},
    {"ClrHeader", &copyClrHeader},
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
            return test::orNoMemory(writer.write, held.path.c_str());
        },
        [&](Held& held, bool wentWell, bool keptAFile) {
            if (wentWell && !keptAFile) {
                EXPECT_EQ(test::contentsOf(held.folder), complete);
            }
        });
}

INSTANTIATE_TEST_SUITE_P(All, WritersUnderFaults,
                         testing::Combine(testing::ValuesIn(kWriters), testing::ValuesIn(kFaults)),
                         caseName<WritersUnderFaults::ParamType>);

}  // namespace
}  // namespace brisko
