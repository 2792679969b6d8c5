// Formats on several threads: what comes out is what one thread gives, to the byte, and so are the errors.

#include "apps/damaged_scan.h"
#include "apps/made_scan.h"
#include "apps/tool_run.h"
#include "scan/jobs/shared_threads.h"
#include "support/file_size_limit.h"

#include <brisko_codec/threads.h>
#include <brisko_scan/scan_error.h>

#include <gtest/gtest.h>

#include <array>

namespace brisko::test {
namespace {

using scan::ScanError;

/// Enough points for several threads, from a scan of 400 x 400 cells.
class Threads : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_folder = std::make_unique<TempFolder>();
        writeFile(file("made.ptx"), madeScan(400, 400, {170, -0.5, 40, -0.25}, true, kTurnedLines));
        convert(file("made.ptx"), file("made.cl3"));
        for (const char* const format : kFormats)
            convert(file("made.cl3"), file(named("one", format)), {"--threads", "1"});
    }
    static void TearDownTestSuite() {
        s_folder.reset();
        setJobThreads(0);
    }
    static std::string file(const std::string& name) { return *s_folder / name; }

    static constexpr const char* kFormats[] = {".ptx", ".e57", ".las", ".pcd",
                                               ".ply", ".pts", ".xyz"};
    static std::unique_ptr<TempFolder> s_folder;
};
std::unique_ptr<TempFolder> Threads::s_folder;

/// Of reading all of it.
std::string messageOf(const std::string& path) {
    try {
        readAll(path);
    } catch (const ScanError& error) {
        return error.what();
    }
    return {};
}

TEST_F(Threads, GiveTheSameBytesAndPoints) {
    for (const std::string format : kFormats) {
        const std::string one = file("one" + format);
        setJobThreads(1);
        const std::vector<CellPoint> points = readAll(one);
        ASSERT_GT(points.size(), 130'000U) << format;
        for (const unsigned threads : {2U, 3U, 8U}) {
            SCOPED_TRACE(format + ", " + std::to_string(threads));
            convert(file("made.cl3"), file("more" + format),
                    {"--threads", std::to_string(threads)});
            EXPECT_TRUE(readFile(file("more" + format)) == readFile(one));
            const auto input = scan::openScan(one);
            std::vector<CellPoint> some, all;
            input->read(some);
            input->rewind();
            for (input->read(some); !some.empty(); input->read(some))
                all.insert(all.end(), some.begin(), some.end());
            EXPECT_TRUE(std::equal(all.begin(), all.end(), points.begin(), points.end(),
                                   [](const CellPoint& a, const CellPoint& b) {
                                       return std::tie(a.x, a.y, a.z, a.intensity, a.red, a.green,
                                                       a.blue, a.column, a.row) ==
                                              std::tie(b.x, b.y, b.z, b.intensity, b.red, b.green,
                                                       b.blue, b.column, b.row);
                                   }));
        }
    }
}

TEST_F(Threads, NameTheFirstOfTwoDamagedPlaces) {
    for (const std::string format : kFormats) {
        if (format == ".pcd" || format == ".ply") continue;  // any bits are a point
        Bytes bytes = readFile(file("one" + format));
        for (const std::size_t eighth : {7U, 6U}) {
            std::size_t at = bytes.size() * eighth / 8;
            if (format == ".las") at = at / 30 * 30;
            for (std::size_t i = 0; i < 40; ++i)
                bytes[at + i] = 0xff;
        }
        writeFile(file("bad" + format), bytes);
        setJobThreads(1);
        const std::string message = messageOf(file("bad" + format));
        EXPECT_NE(message, "") << format;
        for (const unsigned threads : {2U, 4U}) {
            setJobThreads(threads);
            EXPECT_EQ(messageOf(file("bad" + format)), message);
        }
    }
}

TEST_F(Threads, AreSharedByJobsSideBySide) {
    setJobThreads(8);
    for (const auto& [jobs, tasks, threads] :
         {std::array<std::size_t, 3>{1, 10, 8}, {3, 10, 2}, {100, 4, 2}, {16, 16, 1}, {1, 0, 8}})
        EXPECT_EQ(scan::threadsOfEach(jobs, tasks), threads) << jobs << ", " << tasks;
    for (const char* const wrong : {"0", "-1", "1025", "many"})
        EXPECT_EQ(run({"info", file("made.cl3"), "--threads", wrong}).code, 2) << wrong;
}

TEST_F(Threads, LeaveNothingOnAFullDisk) {
    for (const std::string format : kFormats) {
        const FileSizeLimit full(static_cast<rlim_t>(readFile(file("one" + format)).size() / 2));
        const ToolRun run =
            test::run({"convert", file("made.cl3"), file("full" + format), "--threads", "4"});
        EXPECT_EQ(run.code, 4) << format << run.err;
        EXPECT_FALSE(std::filesystem::exists(file("full" + format))) << format;
    }
}

}  // namespace
}  // namespace brisko::test
