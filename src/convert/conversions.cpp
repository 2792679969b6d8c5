#include <brisko_codec/conversions.h>

#include <brisko_codec/file_header.h>

#include "base/file.h"
#include "base/mishaps.h"
#include "convert/clr_decision.h"
#include "convert/clr_to_cl3.h"
#include "convert/drivers.h"
#include "convert/host_interrupt.h"
#include "convert/path_rules.h"

using brisko::ClrRoute;
using brisko::vexo::ProgressTracker;

namespace {

/// Merges the series that the base starts, file by file. The path becomes that of the merged scan;
/// where there is no series it stays as it is.
bool mergeSeries(const std::string& base, std::string& path, ProgressTracker* tracker) {
    if (!brisko::isSeriesStart(base)) return true;
    const brisko::MishapWatch mishaps;
    for (unsigned n = 1;; ++n) {
        const std::string next = brisko::seriesMember(base, n);
        if (!brisko::fileExists(next)) return mishaps.sawNone();
        const std::string merged = brisko::seriesMerge(base, n);
        if (!brisko::runMerge(path, next, merged, tracker)) return false;
        path = merged;
    }
}

bool convertThroughCL3(const std::string& raw, const std::string& plain, const std::string& indexed,
                       ProgressTracker* tracker) {
    return brisko::convertClrToCl3(raw, raw, plain, tracker) &&
           brisko::runIndexing(plain, raw, indexed, tracker);
}

/// A path with a null character would name another file than its ending promises.
bool isPath(const std::string& path) {
    return path.find('\0') == std::string::npos;
}

/// Whether anything is there. Whether it can be read shows when it is.
bool exists(const std::string& path) {
    return isPath(path) && brisko::fileExists(path);
}

bool convertClr(std::string path, ProgressTracker* tracker) {
    if (!exists(path) || !brisko::isCLRName(path)) return false;
    // Names come from the input as it was given, not from what a series is merged to.
    const std::string given = path;
    const std::string base = brisko::withoutLastFour(path);
    const std::string plain = base + ".cl3";
    const std::string indexed = base + "_index.cl3";
    if (brisko::isIndexBase(base)) return brisko::convertClrToCl3(path, path, plain, tracker);
    if (!mergeSeries(base, path, tracker)) return false;

    CLRFileHeader header;
    if (!header.Read(path.c_str())) return false;
    switch (brisko::chooseRoute(header.GetModelName(), header.GetPointFormat(),
                                header.GetBlockCount())) {
        case ClrRoute::Nothing:
            return true;
        case ClrRoute::OnePass:
            return brisko::convertClrToCl3Ij(path, given, indexed, tracker);
        case ClrRoute::OnePassUnjudged:
            brisko::convertClrToCl3Ij(path, given, indexed, tracker);
            return true;
        case ClrRoute::OnePassByPoints:
            return brisko::convertClrToCl3(path, given, indexed, tracker);
        case ClrRoute::ThroughCL3:
            return convertThroughCL3(path, plain, indexed, tracker);
        case ClrRoute::SortedThroughCL3:
            // Deliberate: the sorted copy is left beside the input, and the conversion reads the
            // input itself, whether the copy could be made or not.
            brisko::runSortClr(path, tracker);
            return convertThroughCL3(path, plain, indexed, tracker);
    }
    return false;
}

bool convertCL3(const std::string& path, ProgressTracker* tracker) {
    if (!exists(path) || !brisko::isCL3Name(path)) return false;
    const std::string base = brisko::withoutLastFour(path);
    if (brisko::isIndexBase(base)) return true;  // no companion is looked at
    const brisko::MishapWatch mishaps;
    if (!brisko::fileExists(base + ".ij")) return mishaps.sawNone();
    return brisko::runIndexing2(path, base + "_index.cl3", tracker);
}

/// What the host's monitors throw goes on to the host; everything else is a false result.
template <class Conversion>
bool guarded(const Conversion& conversion) {
    try {
        return conversion();
    } catch (const brisko::HostInterrupt& interrupt) {
        std::rethrow_exception(interrupt.cause);
    } catch (...) {
        return false;
    }
}

}  // namespace

bool Cl3IjIndexed(std::string path, ProgressTracker* tracker) {
    return guarded([&] { return convertCL3(path, tracker); });
}

bool ClrToCl3IjIndexed(std::string path, ProgressTracker* tracker) {
    return guarded([&] { return convertClr(path, tracker); });
}

bool ConvertCl3ToCl3Indexed(std::string path) {
    return Cl3IjIndexed(std::move(path), nullptr);
}

bool ConvertClrToCl3Indexed(std::string path) {
    return ClrToCl3IjIndexed(std::move(path), nullptr);
}

bool brisko::indexCL3ByAngles(const std::string& input, const std::string& output,
                              vexo::ProgressTracker* tracker) {
    return guarded([&] {
        return exists(input) && isCL3Name(input) && isPath(output) && isCL3Name(output) &&
               runIndexingByAngles(input, output, tracker);
    });
}
