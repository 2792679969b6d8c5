#include "apps/made_scan.h"
#include "common/progress.h"
#include "support/file_size_limit.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;

constexpr ScanAngles kAngles{170, -0.5, 40, -0.25};

TEST(ConvertFailure, RefusesPointsThatARawScanCannotHold) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", ptxText(1, 1, "1 2 300000 0.5\n"));
    const ToolRun result = run({"convert", folder / "a.ptx", folder / "a.clr"});
    EXPECT_EQ(result.code, 4);
    EXPECT_TRUE(contains(result.err, "row 0")) << result.err;
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.ptx"});
}

TEST(ConvertFailure, AGridOutOfProportionToItsFileIsRefusedBeforeAnyWork) {
    const TempFolder folder;
    writeFile(folder / "a.clr", clrHeader(60'000, 60'000, 1, 0));
    for (const char* output : {"b.cl3", "b.clr", "b.ptx"}) {
        const ToolRun result = run({"convert", folder / "a.clr", folder / output});
        EXPECT_EQ(result.code, 3) << output;
        EXPECT_TRUE(contains(result.err, "out of proportion")) << result.err;
    }
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.clr"});
}

TEST(ConvertFailure, AFailureLeavesOldOutputsAndNothingElse) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(400, 300, kAngles, false));
    writeFile(folder / "small.ptx", ptxText(1, 1, "1 2 3 0.5\n"));
    convert(folder / "small.ptx", folder / "out.cl3");
    convert(folder / "small.ptx", folder / "raw.clr");
    convert(folder / "small.ptx", folder / "out.ply");
    convert(folder / "small.ptx", folder / "out.ptx");
    const std::vector<std::string> names = folder.names();
    std::vector<Bytes> before;
    for (const std::string& name : names)
        before.push_back(readFile(folder / name));
    for (const char* output : {"out.cl3", "raw.clr", "out.ply", "out.ptx", "new.cl3", "new.clr"}) {
        for (const rlim_t limit : {rlim_t{100}, rlim_t{300000}, rlim_t{2000000}}) {
            ToolRun result;
            {
                const FileSizeLimit full(limit);
                result = run({"convert", "--overwrite", folder / "a.ptx", folder / output});
            }
            EXPECT_EQ(result.code, 4) << output << " within " << limit << ": " << result.err;
            EXPECT_TRUE(contains(result.err, output)) << result.err;
            EXPECT_EQ(folder.names(), names) << output;
        }
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(readFile(folder / names[i]), before[i]) << names[i];
    }
}

/// Ctrl-C before the first point was read.
[[noreturn]] void convertInterrupted(const std::string& input, const std::string& output) {
    installInterruptHandler();
    std::raise(SIGINT);
    const char* line[] = {"brisko", "convert", input.c_str(), output.c_str()};
    std::exit(runTool(4, line));
}

void interruptTwice() {
    installInterruptHandler();
    std::raise(SIGINT);
    std::raise(SIGINT);
}

TEST(ConvertFailure, StopsCleanlyWhenInterrupted) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(50, 50, kAngles, false));
    for (const char* output : {"out.cl3", "out.ptx"}) {
        EXPECT_EXIT(convertInterrupted(folder / "a.ptx", folder / output),
                    testing::ExitedWithCode(130), "stopped");
    }
    EXPECT_EXIT(interruptTwice(), testing::KilledBySignal(SIGINT), "");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.ptx"});
}

TEST(ConvertFailure, TellsByItsExitCodeWhatIsWrong) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(4, 3, kAngles, false));
    writeFile(folder / "bad.ptx", "no scan\n");
    convert(folder / "a.ptx", folder / "plain.cl3", {"--plain"});
    std::filesystem::create_directory(folder / "folder.clr");
    std::filesystem::create_symlink(folder / "a.ptx", folder / "link.ptx");
    const std::string a = folder / "a.ptx", out = folder / "out.ply";
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } cases[] = {
        {{a, a}, 2, "same file"},
        {{a, folder / "link.ptx"}, 2, "same file"},
        {{a, folder / "out.las"}, 2, "out.las"},
        {{a, folder / "out"}, 2, "out"},
        {{folder / "bad.txt", out}, 2, "bad.txt"},
        {{a, out, "--plain"}, 2, "--plain"},
        {{a, out, "--columns", "2:2"}, 2, "0:4"},
        {{a, out, "--columns", "0:5"}, 2, "0:4"},
        {{a, out, "--columns", ":"}, 2, "--columns"},
        {{a, out, "--columns", "3"}, 2, "--columns"},
        {{a, out, "--rows", "a:b"}, 2, "--rows"},
        {{a, out, "--rows", "0:99999999999"}, 2, "--rows"},
        {{a, out, "--box", "1,2,3"}, 2, "--box"},
        {{a, out, "--max-distance", "-1"}, 2, "--max-distance"},
        {{folder / "plain.cl3", folder / "out.clr"}, 2, "plain.ij"},
        {{folder / "plain.cl3", folder / "out.ptx"}, 2, "no index"},
        {{folder / "plain.cl3", out, "--rows", "0:1"}, 2, "no index"},
        {{folder / "missing.cl3", out}, 3, "missing.cl3"},
        {{folder / "bad.ptx", out}, 3, "line 1"},
        {{folder / "folder.clr", out}, 3, "not a file"},
        {{a, folder / "none/out.ply"}, 4, "does not exist"},
        {{a, folder / "folder.clr"}, 4, "folder"},
    };
    const std::vector<std::string> names = folder.names();
    for (const auto& wrong : cases) {
        std::vector<std::string> line = wrong.arguments;
        line.insert(line.begin(), "convert");
        const ToolRun result = run(line);
        EXPECT_EQ(result.code, wrong.code) << result.err;
        EXPECT_TRUE(contains(result.err, wrong.message)) << wrong.message << ": " << result.err;
        EXPECT_EQ(folder.names(), names);
    }
}

TEST(ConvertFailure, AScanThatWasCutShortIsNeverTakenForAWholeOne) {
    const TempFolder folder;
    const TestPoint point{1, 2, 3, 4, 5, 6, 7, 0, 0};
    const Bytes line = compressedLine({300, ClrRecord{10000, 20000, 30000, 0, 100}});
    ByteWriter compressed;
    compressed.bytes(clrHeader(2, 300, 2, 2));
    for (int block = 0; block < 2; ++block)
        compressed.u8(0).bytes(line).bytes(line);
    ByteWriter plainClr, cl3;
    plainClr.bytes(clrHeader(2, 2, 1, 1))
        .u8(0)
        .bytes(clrRecords(std::vector<ClrRecord>(4, ClrRecord{1, 2, 3, 0, 5})));
    cl3.bytes(cl3Header(2)).bytes(cl3Block({point, point})).bytes(cl3Block({point}));
    const struct {
        const char* name;
        Bytes bytes;
    } scans[] = {{"plain.clr", plainClr}, {"lines.clr", compressed}, {"scan.cl3", cl3}};
    for (const auto& scan : scans) {
        const std::string path = folder / scan.name;
        writeFile(path, scan.bytes);
        EXPECT_EQ(run({"convert", path, folder / "out.ply"}).code, 0) << scan.name;
        std::filesystem::remove(folder / "out.ply");
        for (std::size_t size = 0; size < scan.bytes.size(); ++size) {
            writeFile(path, cutTo(scan.bytes, size));
            const ToolRun result = run({"convert", path, folder / "out.ply"});
            ASSERT_EQ(result.code, 3) << scan.name << " cut at " << size;
            ASSERT_TRUE(contains(result.err, scan.name)) << result.err;
        }
        ASSERT_FALSE(std::filesystem::exists(folder / "out.ply"));
        std::filesystem::remove(path);
    }
}

TEST(ConvertFailure, AnIndexThatDoesNotFitItsScanIsRefused) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(3, 3, kAngles, false));
    std::string oneOfNine = "1 2 3 0.5\n";
    for (int i = 0; i < 8; ++i)
        oneOfNine += "0 0 0 0.5\n";
    writeFile(folder / "b.ptx", ptxText(3, 3, oneOfNine));
    convert(folder / "a.ptx", folder / "a.cl3");
    convert(folder / "b.ptx", folder / "b.cl3");
    const Bytes good = readFile(folder / "a.ij");
    const auto changed = [&](std::size_t offset, std::uint8_t value) {
        Bytes bytes = good;
        bytes.at(offset) = value;
        return bytes;
    };
    const struct {
        const char* what;
        Bytes bytes;
    } cases[] = {{"of another scan", readFile(folder / "b.ij")},
                 {"cut", cutTo(good, good.size() - 1)},
                 {"cut in its header", cutTo(good, 40)},
                 {"empty", {}},
                 {"tile size 0", changed(45, 0)},
                 {"more tiles", changed(32, 2)},
                 {"a huge grid", changed(39, 255)},
                 {"another count", changed(56, 1)}};
    for (const auto& index : cases) {
        writeFile(folder / "a.ij", index.bytes);
        const ToolRun result = run({"convert", folder / "a.cl3", folder / "out.ply"});
        EXPECT_EQ(result.code, 3) << index.what;
        EXPECT_TRUE(contains(result.err, "a.ij")) << index.what << ": " << result.err;
        EXPECT_FALSE(std::filesystem::exists(folder / "out.ply")) << index.what;
    }
}

}  // namespace
}  // namespace brisko::tool
