#include "apps/damaged_scan.h"
#include "common/progress.h"
#include "support/file_size_limit.h"

#include <brisko_codec/conversions.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <thread>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;
using Json = nlohmann::json;
namespace fs = std::filesystem;

Json index(std::vector<std::string> arguments, int code) {
    arguments.insert(arguments.begin(), {"index", "--json"});
    const ToolRun result = run(arguments);
    EXPECT_EQ(result.code, code) << result.err;
    return code == 2 ? Json() : Json::parse(result.out)["inputs"];
}

/// A raw scan of the simulator.
void simulate(const TempFolder& folder, const std::string& name,
              std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"--name", name, "--columns", "300", "--rows", "270"});
    ASSERT_EQ(test::simulate(folder, more).code, 0);
}

TEST(Index, EveryKindOfScanKeepsItsPointsInTheirCells) {
    const struct {
        const char* format;
        const char* model;
        const char* flags;
    } cases[] = {{"0", "RVX1000", "0"},   {"1", "RVX1000", "0,0"}, {"1", "RVX2000", "0"},
                 {"2", "RVX1000", "0,1"}, {"2", "RVX2000", "0"},   {"3", "RVX1000", "0"},
                 {"3", "RXL1000", "0,0"}, {"3", "RVX2000", "0"}};
    for (const bool aligned : {false, true}) {
        for (const auto& scan : cases) {
            SCOPED_TRACE(std::string(scan.format) + " " + scan.model + " " + scan.flags);
            const TempFolder folder;
            simulate(folder, "a",
                     {"--point-format", scan.format, "--model", scan.model, "--flags", scan.flags,
                      aligned ? "--alignment" : "--noise=1"});
            const Json told = index({folder / "a.clr"}, 0)[0];
            EXPECT_EQ(told["state"], "indexed");
            EXPECT_EQ(pointsIn(folder / "a_index.cl3"), pointsIn(folder / "a.clr"));
            EXPECT_EQ(told["points"], pointsIn(folder / "a.clr").size());
            EXPECT_EQ(run({"check", folder / "a_index.cl3"}).code, 0);
        }
    }
}

TEST(Index, RealScansKeepTheirPointsInTheirCells) {
    const char* data = std::getenv("BRISKO_SCAN_DATA");
    if (!data) GTEST_SKIP() << "BRISKO_SCAN_DATA names no folder";
    for (const auto& entry : fs::directory_iterator(data)) {
        if (entry.path().extension() != ".ptx") continue;
        SCOPED_TRACE(entry.path().string());
        const TempFolder folder;
        convert(entry.path().string(), folder / "a.clr");
        index({folder / "a.clr"}, 0);
        EXPECT_EQ(pointsIn(folder / "a_index.cl3"), pointsIn(folder / "a.clr"));
        convert(entry.path().string(), folder / "b.cl3");
        index({folder / "b.cl3"}, 0);
        EXPECT_EQ(pointsIn(folder / "b_index.cl3"), pointsIn(folder / "b.cl3"));
        EXPECT_EQ(run({"check", folder / "a_index.cl3", folder / "b_index.cl3"}).code, 0);
    }
}

TEST(Index, ALoneScanIsIndexedByItsAnglesAndAnIndexedOneAnew) {
    const TempFolder folder;
    simulate(folder, "lone", {"--format", "cl3"});
    simulate(folder, "grid", {"--format", "cl3-indexed", "--colour", "--alignment"});
    const Json told = index({folder / "lone.cl3", folder / "grid.cl3"}, 0);
    EXPECT_EQ(withoutCells(pointsIn(folder / "lone_index.cl3")), pointsIn(folder / "lone.cl3"));
    EXPECT_EQ(pointsIn(folder / "grid_index.cl3"), pointsIn(folder / "grid.cl3"));
    EXPECT_EQ(told[0]["grid"], (Json{{"columns", 300}, {"rows", 270}}));
}

std::string statesOf(const Json& inputs) {
    std::string text;
    for (const Json& input : inputs)
        text += input["state"].get<std::string>().substr(0, 1);
    return text;
}

TEST(Index, PassesOverWhatIsDoneOrBelongsToAnother) {
    const TempFolder folder;
    simulate(folder, "a", {"--flags", "0,0"});
    simulate(folder, "s", {"--series", "3", "--alignment"});
    const std::string a = folder / "a.clr", s = folder / "s_000.clr";
    const std::string otherName = folder.path().string() + "/./a.clr";
    EXPECT_EQ(statesOf(index({folder / "s_001.clr", a, s, a, otherName, folder / "s_002.clr"}, 0)),
              "siis");
    const Bytes before = readFile(folder / "a_index.cl3");
    EXPECT_EQ(statesOf(index({a, folder / "a_index.cl3", s}, 0)), "sss");
    writeFile(folder / "a.cl3", readFile(folder / "a_index.cl3"));
    EXPECT_EQ(statesOf(index({"--force", folder / "a.cl3", a}, 0)), "si");
    EXPECT_EQ(readFile(folder / "a_index.cl3"), before);
    // The library merges a series file by file; the points are the same.
    const Bytes series = readFile(folder / "s_000_index.cl3");
    ASSERT_TRUE(ConvertClrToCl3Indexed(s));
    EXPECT_EQ(pointsIn(folder / "s_000_index.cl3"), pointsIn(folder / "sm.clr"));
    EXPECT_EQ(readFile(folder / "s_000_index.cl3"), series);
}

TEST(Index, MakesAnewWhatIsNoLongerThatOfItsInput) {
    const TempFolder folder;
    simulate(folder, "a");
    simulate(folder, "b", {"--alignment", "--seed", "2"});
    const std::string a = folder / "a.clr", output = folder / "a_index.cl3";
    const Bytes raw = readFile(a), other = readFile(folder / "b.clr");
    const auto wait = [] { std::this_thread::sleep_for(std::chrono::milliseconds(20)); };
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
    const std::function<void()> changes[] = {
        [&] { fs::last_write_time(a, fs::file_time_type::clock::now() + std::chrono::hours(1)); },
        [&] { writeFile(output, cutTo(readFile(output), 5000)); },
        [&] { fs::copy(folder / "b.alg", folder / "a.alg"); },
        [&] { fs::remove(folder / "a.alg"); },
        [&] {
            writeFile(a, other);
            fs::last_write_time(a, old);
        },
    };
    index({a}, 0);
    for (const auto& change : changes) {
        wait();
        change();
        EXPECT_EQ(statesOf(index({a}, 0)), "i") << &change - changes;
        fs::last_write_time(a, old);
        wait();
        EXPECT_EQ(statesOf(index({"--force", a}, 0)), "i");
        EXPECT_EQ(statesOf(index({a}, 0)), "s") << &change - changes;
    }
    EXPECT_EQ(pointsIn(output), pointsIn(folder / "b.clr"));
}

TEST(Index, TouchesNothingButItsOwnOutput) {
    const TempFolder folder;
    simulate(folder, "s");
    simulate(folder, "y", {"--series", "2"});
    simulate(folder, "o", {"--model", "RXL1000"});
    convert(folder / "s.clr", folder / "o_index.cl3");
    for (const char* name : {"s.cl3", "s.ij", "y.clr", "ym.clr", "s.clr.Converted.clr"})
        writeFile(folder / name, Bytes{1, 2, 3});
    index({folder / "s.clr", folder / "y_000.clr"}, 0);
    for (const char* name : {"s.cl3", "s.ij", "y.clr", "ym.clr", "s.clr.Converted.clr"})
        EXPECT_EQ(readFile(folder / name), (Bytes{1, 2, 3})) << name;
    // The output's name is taken by another scan.
    const Bytes before = readFile(folder / "o_index.cl3");
    EXPECT_TRUE(contains(index({folder / "o.clr"}, 4)[0]["reason"], "--overwrite"));
    EXPECT_EQ(readFile(folder / "o_index.cl3"), before);
    EXPECT_EQ(statesOf(index({"--overwrite", folder / "o.clr"}, 0)), "i");
}

TEST(Index, NeverReportsSuccessThatTheFilesDoNotShow) {
    const TempFolder folder;
    writeFile(folder / "none.ptx", "");
    index({folder / "none.ptx"}, 2);
    writeFile(folder / "noangles.cl3", ByteWriter().bytes(cl3Header(0)).u32(0).u8(0));
    index({folder / "noangles.cl3"}, 3);
    simulate(folder, "good");
    const FileSizeLimit full(1000000);
    EXPECT_EQ(index({folder / "good.clr"}, 4)[0]["state"], "failed");
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"good.clr", "noangles.cl3", "none.ptx"}));
}

TEST(Index, JobsRunSideBySideAndOneThatFailsStopsNoOther) {
    const TempFolder folder;
    for (const char* name : {"a", "b", "c"})
        simulate(folder, name, {"--alignment"});
    const Bytes good = readFile(folder / "b.clr");
    writeFile(folder / "b.clr", cutTo(good, 100000));
    const std::string a = folder / "a.clr", b = folder / "b.clr", c = folder / "c.clr";
    const Json told = index({"--jobs", "2", a, b, c}, 1);
    EXPECT_EQ(told[0]["state"], "indexed");
    EXPECT_EQ(told[1]["state"], "failed");
    EXPECT_TRUE(contains(told[1]["reason"], "b.clr")) << told[1];
    EXPECT_EQ(told[2]["state"], "indexed");
    EXPECT_EQ(pointsIn(folder / "a_index.cl3"), pointsIn(a));
    EXPECT_EQ(pointsIn(folder / "c_index.cl3"), pointsIn(c));
}

/// Runs the tool in a process of its own and sends it a signal once something appears beside the
/// inputs. Returns how it ended.
int indexAndSignal(const TempFolder& folder, std::vector<std::string> arguments, int signal) {
    const std::vector<std::string> before = folder.names();
    const pid_t process = fork();
    if (process == 0) {
        std::signal(signal, SIG_DFL);  // a shell may have started the tests with it ignored
        installInterruptHandler();
        std::freopen("/dev/null", "w", stderr);
        arguments.insert(arguments.begin(), {"brisko", "index", "--progress=none"});
        std::vector<const char*> line;
        for (const std::string& argument : arguments)
            line.push_back(argument.c_str());
        _exit(runTool(static_cast<int>(line.size()), line.data()));
    }
    while (folder.names() == before && waitpid(process, nullptr, WNOHANG) == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(process, signal);
    int status = -1;
    waitpid(process, &status, 0);
    return status;
}

TEST(Index, ASignalCancelsAndLeavesNoTrace) {
    const TempFolder folder;
    for (const char* name : {"a", "b"}) {
        test::simulate(
            folder, {"--name", name, "--model", "RVX2000", "--columns", "3000", "--rows", "1000"});
    }
    const std::vector<std::string> names = folder.names();
    const std::string a = folder / "a.clr", b = folder / "b.clr";
    for (const int signal : {SIGINT, SIGTERM}) {
        for (const char* jobs : {"--jobs=1", "--jobs=2"}) {
            SCOPED_TRACE(std::string(jobs) + " signal " + std::to_string(signal));
            const int status = indexAndSignal(folder, {jobs, a, b}, signal);
            ASSERT_TRUE(WIFEXITED(status));
            EXPECT_EQ(WEXITSTATUS(status), 130);
            EXPECT_EQ(folder.names(), names);
        }
    }
}

}  // namespace
}  // namespace brisko::tool
