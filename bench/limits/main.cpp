// limits MODE --data DIR [--output DIR] [--runs N] [--columns N] [--rows N] ...
// One mode a run; without one it lists them.

#include "limits/measure.h"
#include "limits/modes.h"

#include <algorithm>
#include <cstdlib>

namespace brisko::limits {

namespace {

struct Mode {
    const char* name;
    std::function<void()> run;
};

const Mode kModes[] = {
    {"gen", generate},
    {"gen-station", generateStation},
    {"gen-ptx", generatePtx},
    {"cl3-inline", readCL3},
    {"cl3-virtual", readCL3Virtual},
    {"grid-inline", readIndexed},
    {"near-inline", readIndexedNear},
    {"grid-virtual", readIndexedVirtual},
    {"clr1-inline", [] { readCLR("raw1.clr"); }},
    {"clr1-virtual", [] { readCLRVirtual("raw1.clr"); }},
    {"clr5-inline", [] { readCLR("raw5.clr"); }},
    {"clr5-virtual", [] { readCLRVirtual("raw5.clr"); }},
    {"clrc-inline", [] { readCLR("rawc.clr"); }},
    {"clrc-virtual", [] { readCLRVirtual("rawc.clr"); }},
    {"cells", readCells},
    {"w-cl3-virtual", writeCL3},
    {"w-grid-virtual", writeIndexed},
    {"w-clr-virtual", writeCLR},
    {"conv-clr1", [] { convertCLR("raw1.clr"); }},
    {"conv-clr5", [] { convertCLR("raw5.clr"); }},
    {"conv-clrc", [] { convertCLR("rawc.clr"); }},
    {"conv-grid", convertIndexed},
    {"par-clr1", [] { convertCLROnThreads("raw1.clr"); }},
    {"par-clrc", [] { convertCLROnThreads("rawc.clr"); }},
    {"par-grid", readIndexedOnThreads},
    {"sort-rise", [] { sortLines("rise.clr"); }},
    {"sort-clrc", [] { sortLines("rawc.clr"); }},
    {"colour", colourPoints},
    {"open-station", openStation},
    {"ptx-print", printPtx},
    {"ptx-parse", parsePtx},
};

struct NumberOption {
    const char* name;
    std::function<void(std::uint32_t)> set;
};

const NumberOption kNumbers[] = {
    {"--runs", [](std::uint32_t n) { options().runs = static_cast<int>(n); }},
    {"--columns", [](std::uint32_t n) { options().columns = std::max(4U, n); }},
    {"--rows", [](std::uint32_t n) { options().rows = std::max(1U, n); }},
    {"--threads", [](std::uint32_t n) { options().threads = std::clamp(n, 1U, 64U); }},
    {"--image-width", [](std::uint32_t n) { options().imageWidth = std::clamp(n, 64U, 8192U); }},
    {"--ahead", [](std::uint32_t n) { options().ahead = std::clamp(n, 1U, 256U); }},
};

bool setOption(const std::string& name, const std::string& value) {
    if (name == "--data") return options().data = value, true;
    if (name == "--output") return options().output = value, true;
    if (name == "--file") return options().onlyFile = value, true;
    for (const NumberOption& option : kNumbers) {
        if (name != option.name) continue;
        option.set(static_cast<std::uint32_t>(std::strtoul(value.c_str(), nullptr, 10)));
        return true;
    }
    return false;
}

int usage() {
    std::fputs(
        "usage: limits MODE --data DIR [--output DIR] [--runs N] [--columns N] [--rows N]\n"
        "       [--threads N] [--ahead N] [--image-width N] [--file NAME]\nmodes:",
        stderr);
    for (const Mode& mode : kModes)
        std::fprintf(stderr, " %s", mode.name);
    std::fputc('\n', stderr);
    return 2;
}

}  // namespace

int run(int argc, char** argv) {
    if (argc < 2 || argc % 2 != 0) return usage();
    for (int i = 2; i + 1 < argc; i += 2) {
        if (!setOption(argv[i], argv[i + 1])) return usage();
    }
    if (options().data.empty()) return usage();
    for (const Mode& mode : kModes) {
        if (mode.name != std::string(argv[1])) continue;
        mode.run();
        return 0;
    }
    return usage();
}

}  // namespace brisko::limits

int main(int argc, char** argv) {
    return brisko::limits::run(argc, argv);
}
