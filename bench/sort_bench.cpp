// The sorting of lines. Hosts reach it only as one step of a conversion, so it is called from inside.

#include "linked_scan.h"

#include "pcplib/processes/sort_clr.h"

namespace brisko::bench {

namespace {

void sortLines(benchmark::State& state, const std::string& name) {
    const LinkedScan scan(name);
    const JobMemory memory;
    bool done = false;
    for (auto _ : state)
        done = QelPcpLib::SortCLR(scan.path(), nullptr) == 0;
    if (!done) state.SkipWithError("the lines cannot be sorted");
    report(state, memory, cellsOf(name), scan.checkSorted());
}

}  // namespace

void addJobs() {
    addJob("sort-plain", sortLines, "rise.clr");
    addJob("sort-compressed", sortLines, "rawc.clr");
}

}  // namespace brisko::bench
