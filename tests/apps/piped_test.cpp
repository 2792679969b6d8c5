// "-": scans that come from standard input and go to standard output.

#include "apps/made_scan.h"
#include "common/progress.h"
#include "support/scan_bytes.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

namespace brisko::test {
namespace {

/// A descriptor that leads to a file, or a pipe, for as long as the object lives.
class Redirection {
public:
    Redirection(int which, int to) : m_which(which), m_before(dup(which)) {
        dup2(to, which);
        close(to);
    }
    ~Redirection() {
        dup2(m_before, m_which);
        close(m_before);
    }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

private:
    int m_which, m_before;
};

ToolRun runPiped(const std::vector<std::string>& arguments, const std::string& input, int output) {
    std::vector<const char*> line = {"brisko", "convert"};
    for (const std::string& argument : arguments)
        line.push_back(argument.c_str());
    const Redirection in(STDIN_FILENO, open(input.c_str(), O_RDONLY));
    const Redirection out(STDOUT_FILENO, output);
    testing::internal::CaptureStderr();
    ToolRun result;
    result.code = tool::runTool(static_cast<int>(line.size()), line.data());
    result.err = testing::internal::GetCapturedStderr();
    return result;
}

class Piped : public testing::Test {
protected:
    Piped() {
        writeFile(m_folder / "a.ptx", madeScan(40, 30, {170, -0.5, 40, -0.25}, true));
        setenv("TMPDIR", m_temporary.path().c_str(), 1);
    }
    ~Piped() override {
        if (m_before.empty()) {
            unsetenv("TMPDIR");
        } else {
            setenv("TMPDIR", m_before.c_str(), 1);
        }
    }
    int newOutput() const {
        return open((m_folder / "out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }

    const std::string m_before = std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "";
    TempFolder m_folder, m_temporary;
    const std::string m_scan = m_folder / "a.ptx";
};

TEST_F(Piped, ScansAreWhatTheyAreAsFiles) {
    const struct {
        std::string input, output;
        std::vector<std::string> formats, options;
        const char* file;  // the same conversion between files
    } cases[] = {
        {"-", "-", {"--from", "PTX", "--to", ".xyz"}, {"--every", "2"}, "b.xyz"},
        {m_scan, "-", {"--to", "ply"}, {}, "b.ply"},
        {m_scan, "-", {"--to", "cl3"}, {"--plain"}, "b.cl3"},
        {"-", m_folder / "out.clr", {"--from", "ptx"}, {"--rows", "2:"}, "b.clr"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> line = {c.input, c.output};
        line.insert(line.end(), c.formats.begin(), c.formats.end());
        line.insert(line.end(), c.options.begin(), c.options.end());
        const ToolRun result = runPiped(line, m_scan, newOutput());
        EXPECT_EQ(result.code, 0) << result.err;
        convert(m_scan, m_folder / c.file, c.options);
        const bool toPipe = c.output == "-";
        EXPECT_EQ(readFile(toPipe ? m_folder / "out" : c.output), readFile(m_folder / c.file));
        EXPECT_EQ(contains(result.err, "standard output."), toPipe) << result.err;
        EXPECT_TRUE(m_temporary.names().empty());
    }
}

TEST_F(Piped, RequestsThatMakeNoSenseAreRefusedAndLeaveNothing) {
    writeFile(m_folder / "turned.ptx", ptxText(1, 1, "1 2 3 0.5\n", kTurnedLines));
    writeFile(m_folder / "bad.ptx", std::string("no scan\n"));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    std::signal(SIGPIPE, SIG_IGN);
    newOutput();
    const std::string turned = m_folder / "turned.ptx", bad = m_folder / "bad.ptx";
    const std::string out = m_folder / "out.cl3";
    const struct {
        std::vector<std::string> line;
        int code;
        const char* message;
        int output = -1;
    } cases[] = {
        {{"-", out}, 2, "--from FORMAT is expected"},
        {{"-", out, "--from", "doc"}, 2, "--from doc: one of .cl3"},
        {{"-", out, "--from", "cl3"}, 3, "standard input.cl3"},
        {{"-", m_folder / "none/o.cl3", "--from", "ptx"}, 4, "No such file"},
        {{"-", bad, "--from", "ptx"}, 4, "is there already"},
        {{"-", "-", "--from", "ptx", "--to", "ply"}, 3, "brisko: standard input.ptx: line 1"},
        {{m_scan, "-"}, 2, "--to FORMAT is expected"},
        {{m_scan, "-", "--to", "cl3"}, 2, "give --plain"},
        {{turned, "-", "--to", "clr"}, 2, "give --apply-alignment"},
        {{m_scan, out, "--from", "ptx"}, 2, "--from: only standard input"},
        {{m_scan, "-", "--to", "ply"}, 4, "standard output: ", open("/dev/full", O_WRONLY)},
        {{m_scan, "-", "--to", "ply"}, tool::kClosedPipe, "", ends[1]},
    };
    const std::vector<std::string> names = m_folder.names();
    for (const auto& c : cases) {
        const ToolRun result = runPiped(c.line, bad, c.output < 0 ? newOutput() : c.output);
        EXPECT_EQ(result.code, c.code) << result.err;
        EXPECT_TRUE(*c.message ? contains(result.err, c.message) : result.err.empty())
            << c.message << ": " << result.err;
        EXPECT_EQ(m_folder.names(), names);
        EXPECT_TRUE(m_temporary.names().empty());
        EXPECT_TRUE(readText(m_folder / "out").empty());
    }
}

/// Standard input that gives nothing and does not end, and a signal meanwhile.
[[noreturn]] void waitForInput(const std::string& output) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    dup2(ends[0], STDIN_FILENO);
    std::signal(SIGTERM, SIG_DFL);
    tool::installInterruptHandler();
    if (fork() == 0) {
        usleep(300'000);
        kill(getppid(), SIGTERM);
        _exit(0);
    }
    const char* line[] = {"brisko", "convert", "-", output.c_str(), "--from", "ptx"};
    std::exit(tool::runTool(6, line));
}

TEST_F(Piped, AWaitForInputEndsWithASignal) {
    const std::string out = m_folder / "out.cl3";
    EXPECT_EXIT(waitForInput(out), testing::ExitedWithCode(130), "stopped");
    EXPECT_EQ(m_folder.names(), std::vector<std::string>{"a.ptx"});
}

}  // namespace
}  // namespace brisko::test
