#include "common/progress.h"
#include "tool.h"

#include <csignal>

int main(int argc, char** argv) {
    // A reader that went away, or a limit on file sizes, is a write error like any other.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    brisko::tool::installInterruptHandler();
    return brisko::tool::runTool(argc, argv);
}
