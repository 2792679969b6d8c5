// PTX text in and out, through the scan library.

#include "job.h"
#include "synthetic/check_values.h"

#include <brisko_scan/convert.h>

namespace brisko::bench {

namespace {

double cells() {
    return static_cast<double>(gridColumns()) * gridRows();
}

bool convert(const std::string& input, const std::string& output) {
    scan::ConvertOptions options;
    options.input = input;
    options.output = output;
    options.overwrite = true;
    return scan::convertScan(options).points > 0;
}

void importPtx(benchmark::State& state) {
    const std::string scan = outputPath("library.cl3"), index = outputPath("library.ij");
    const std::string alignment = outputPath("library.alg");
    removeFiles({scan, index, alignment});
    const JobMemory memory;
    bool done = false;
    for (auto _ : state)
        done = convert(inputPath("grid.ptx"), scan);
    if (!done) state.SkipWithError("the import failed");
    report(state, memory, cells(), checkFile(scan, kCL3Header) + checkFile(index, kIJHeader));
    removeFiles({scan, index, alignment});
}

void exportPtx(benchmark::State& state) {
    const std::string text = outputPath("library.ptx");
    removeFiles({text});
    const JobMemory memory;
    bool done = false;
    for (auto _ : state)
        done = convert(inputPath("grid.cl3"), text);
    if (!done) state.SkipWithError("the export failed");
    report(state, memory, cells(), checkPtx(text));
    removeFiles({text});
}

}  // namespace

void addJobs() {
    addJob("import", importPtx);
    addJob("export", exportPtx);
}

}  // namespace brisko::bench
