#include "common/progress.h"
#include "tool.h"

#include <csignal>

int main(int argc, char** argv) {
    // A reader that went away, or a limit on file sizes, is a write error like any other: outputs are
    // completed, or go.
    const auto onClosedPipe = std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    brisko::tool::installInterruptHandler();
    const int code = brisko::tool::runTool(argc, argv);
    if (code == brisko::tool::kClosedPipe && onClosedPipe != SIG_IGN) {
        // Ends as programs do that never heard of the signal, so that the shell sees why.
        std::signal(SIGPIPE, SIG_DFL);
        std::raise(SIGPIPE);
    }
    return code;
}
