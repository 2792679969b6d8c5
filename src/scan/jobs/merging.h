#pragma once

#include <brisko_scan/merge.h>

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

/// A scan to be merged, and what chooses it in its file.
struct MergeSource {
    std::string input;
    std::string scan;
    std::uint64_t bytes = 0;  // of the file; its share, where it holds several
};

/// Every scan of a file. Throws ScanError, also for a file that holds none.
std::vector<MergeSource> sourcesIn(const std::string& path);

/// mergeScans of scans that are known.
///   task  how the progress names it
MergeResult mergeSources(const std::vector<MergeSource>& sources, const MergeOptions& options,
                         const char* task);

}  // namespace brisko::scan
