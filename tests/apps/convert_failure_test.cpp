#include "apps/made_scan.h"
#include "common/progress.h"
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

/// Ctrl-C before the first point was read.
void interrupt() {
    std::signal(SIGINT, SIG_DFL);  // a shell may have started the tests with it ignored
    installInterruptHandler();
    std::raise(SIGINT);
}
[[noreturn]] void convertInterrupted(const std::string& input, const std::string& output) {
    interrupt();
    const char* line[] = {"brisko", "convert", input.c_str(), output.c_str()};
    std::exit(runTool(4, line));
}

TEST(ConvertFailure, StopsCleanlyWhenInterrupted) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(50, 50, kAngles, false));
    for (const char* output : {"out.cl3", "out.ptx"}) {
        EXPECT_EXIT(convertInterrupted(folder / "a.ptx", folder / output),
                    testing::ExitedWithCode(130), "stopped");
    }
    EXPECT_EXIT((interrupt(), std::raise(SIGINT)), testing::KilledBySignal(SIGINT), "");
    EXPECT_EQ(folder.names(), std::vector<std::string>{"a.ptx"});
}

TEST(Failure, ShowsByItsExitCodeWhatIsWrongAndLeavesNothing) {
    const TempFolder folder;
    writeFile(folder / "a.ptx", madeScan(4, 3, kAngles, false));
    writeFile(folder / "bad.ptx", "no scan\n");
    writeFile(folder / "far.ptx", ptxText(1, 1, "1 2 300000 0.5\n"));
    writeFile(folder / "black.ptx", ptxText(1, 1, "1 2 3 0.5 0 0 0\n"));
    writeFile(folder / "huge.clr", clrHeader(60'000, 60'000, 1, 0));
    convert(folder / "a.ptx", folder / "a.cl3");
    convert(folder / "a.ptx", folder / "plain.cl3", {"--plain"});
    std::filesystem::create_directory(folder / "folder.clr");
    writeFile(folder / "b.CL3", "its index is that of b.cl3");
    std::filesystem::create_symlink(folder / "a.ptx", folder / "link.ptx");
    const std::string a = folder / "a.ptx", out = folder / "out.ply", grid = folder / "a.cl3";
    const std::string plain = folder / "plain.cl3", black = folder / "black.ptx";
    const std::string huge = folder / "huge.clr", png = folder / "out.png",
                      html = folder / "o.html";
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* message;
    } cases[] = {
        {{a, a}, 2, "same file"},
        {{a, folder / "link.ptx"}, 2, "same file"},
        {{a, folder / "out.doc"}, 2, "out.doc"},
        {{a, folder / "out"}, 2, "out"},
        {{folder / "bad.txt", out}, 2, "bad.txt"},
        {{a, out, "--plain"}, 2, "--plain"},
        {{a, out, "--columns", "2:2"}, 2, "0:4"},
        {{a, out, "--columns", "0:5"}, 2, "0:4"},
        {{a, out, "--columns", ":"}, 2, "--columns"},
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
        {{a, folder / "b.CL3/out.ply"}, 4, "b.CL3"},
        {{a, folder / "b.cl3"}, 4, "b.cl3"},
        {{folder / "far.ptx", folder / "out.clr"}, 4, "row 0"},
        {{huge, folder / "out.cl3"}, 3, "out of proportion"},
        {{"panorama", a, "-o", folder / "o.jpg"}, 2, "o.jpg"},
        {{"panorama", a, "-o", png, "--mode", "colour"}, 2, "a.ptx"},
        {{"panorama", grid, "-o", png, "--mode", "colour"}, 2, "a.cl3"},
        {{"panorama", black, "-o", png, "--mode", "colour"}, 2, "black.ptx"},
        {{"panorama", a, "-o", png, "--size", "10"}, 2, "--size"},
        {{"panorama", a, "-o", png, "--size", "0x10"}, 2, "--size"},
        {{"panorama", a, "-o", png, "--size", "32767x32767"}, 2, ""},
        {{"panorama", a, "-o", png, "--size", "3000x3000"}, 2, "4 x 3 cells"},
        {{"panorama", a, "-o", png, "--width", "4000000000"}, 2, "--width"},
        {{"panorama", plain, "-o", png}, 2, "plain.cl3"},
        {{"panorama", folder / "none.cl3", "-o", png}, 3, "none.cl3"},
        {{"panorama", a, "-o", folder / "none/o.png"}, 4, "none"},
        {{"view", a, "-o", png}, 2, "named .html"},
        {{"view", a, "-o", html, "--points", "999"}, 2, "--points"},
        {{"view", a, plain, "-o", html, "--full"}, 2, "indexed CL3"},
        {{"view", grid, folder / "none.cl3", "-o", html}, 3, "none.cl3"},
        {{"view", a, "-o", folder / "none/o.html"}, 4, "none"},
        {{"repair", grid, grid}, 2, "same file"},
        {{"repair", grid, folder / "b.clr"}, 2, "b.clr"},
        {{"repair", folder / "none.cl3", folder / "b.cl3"}, 3, "none.cl3"},
        {{"repair", grid, folder / "none/b.cl3"}, 4, "none"},
        {{"cell", grid, "4", "0"}, 2, ""},
        {{"cell", grid, "0", "-1"}, 2, ""},
        {{"cell", a, "0", "0"}, 2, "a.ptx"},
        {{"cell", plain, "0", "0"}, 3, "plain"},
    };
    const std::vector<std::string> names = folder.names();
    for (const auto& wrong : cases) {
        std::vector<std::string> line = wrong.arguments;
        if (line[0].starts_with('/')) line.insert(line.begin(), "convert");
        const ToolRun result = run(line);
        EXPECT_EQ(result.code, wrong.code) << result.err;
        EXPECT_TRUE(contains(result.err, wrong.message)) << wrong.message << ": " << result.err;
        EXPECT_EQ(folder.names(), names);
    }
}

}  // namespace
}  // namespace brisko::tool
