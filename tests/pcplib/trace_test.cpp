#include "pcplib/files/trace.h"

#include "support/comma_locale.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <string>

namespace QelPcpLib {
namespace {

TEST(FormatString, WritesADecimalPointWhateverTheLocale) {
    const brisko::test::CommaLocale locale;
    ASSERT_TRUE(locale.isComma()) << "localedef made no locale with a decimal comma";
    std::string text;
    FormatString(text, "%.2f %.12le", 1.5, 0.25);
    EXPECT_EQ(text, "1.50 2.500000000000e-01");
}

TEST(TraceOut, WritesTheWholeTextToStandardOutput) {
    const std::string path(10'000, 'p');
    testing::internal::CaptureStdout();
    TraceOut("[%s] %d%%\n", path.c_str(), 7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[" + path + "] 7%\n");
}

TEST(TraceOut, ComesAfterWhatTheHostHasBuffered) {
    testing::internal::CaptureStdout();
    std::fputs("host ", stdout);
    TraceOut("library");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "host library");
}

/// A host whose reader has gone away: its standard output is a pipe without a reading end.
[[noreturn]] void traceIntoClosedPipe() {
    int ends[2];
    if (pipe(ends) != 0) std::_Exit(1);
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    std::signal(SIGPIPE, SIG_DFL);
    for (int i = 0; i < 3; ++i)
        TraceOut("nobody reads this\n");
    sigset_t waiting;
    sigpending(&waiting);
    const bool clean = sigismember(&waiting, SIGPIPE) == 0;
    std::exit(clean ? 0 : 2);  // flushes standard output once more
}

TEST(TraceOutDeathTest, AClosedPipeLeavesTheHostAlone) {
    EXPECT_EXIT(traceIntoClosedPipe(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace QelPcpLib
