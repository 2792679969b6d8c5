#include "base/file.h"
#include "base/path_rules.h"
#include "convert/conversion_progress.h"
#include "convert/drivers.h"
#include "layouts/layout.h"

#include <brisko_codec/conversions.h>
#include <brisko_codec/file_header.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

using brisko::CLRPointFormat;
using brisko::ConversionProblem;
using brisko::ConversionReport;
using brisko::vexo::ProgressTracker;

namespace {

/// What becomes of a CLR scan.
enum class ClrRoute {
    Nothing,           // no output; true
    OnePass,           // straight to the indexed scan
    OnePassUnjudged,   // the same, with true whatever comes of it
    OnePassByPoints,   // the same under the label of the plain conversion
    ThroughCL3,        // to the plain scan, and from that to the indexed one
    SortedThroughCL3,  // the same, with a sorted copy of the input made first
};

constexpr std::size_t kModelLength = 7;
constexpr std::string_view kFirstKind = "RVX2000";
constexpr std::string_view kSecondKind[] = {"RXL1000", "QLDStat", "QLD-Sta", "RV-1003"};

/// Deliberate: the first kind never comes here to be indexed from a plain scan, all others do.
ClrRoute routeByBlocks(std::uint32_t blockCount) {
    if (blockCount == 0) return ClrRoute::Nothing;
    return blockCount == 1 ? ClrRoute::ThroughCL3 : ClrRoute::SortedThroughCL3;
}

/// The route by scanner model, point format and number of blocks.
///   modelName  as the header has it; its first seven characters count
ClrRoute chooseRoute(const std::string& modelName, std::uint8_t pointFormat,
                     std::uint32_t blockCount) {
    const std::string_view model = std::string_view(modelName).substr(0, kModelLength);
    // Where all lines run the same way one pass is enough.
    const CLRPointFormat format{pointFormat};
    if (model == kFirstKind) {
        if (format == CLRPointFormat::OneWay) return ClrRoute::OnePassUnjudged;
        return isKnown(format) ? ClrRoute::OnePassByPoints : ClrRoute::Nothing;
    }
    const bool isSecondKind =
        std::find(std::begin(kSecondKind), std::end(kSecondKind), model) != std::end(kSecondKind);
    if (isSecondKind && format == CLRPointFormat::OneWay) return ClrRoute::OnePass;
    return routeByBlocks(blockCount);
}

/// Merges the series that the base starts, file by file. The path becomes that of the merged scan;
/// where there is no series it stays as it is.
bool mergeSeries(const std::string& base, std::string& path, ProgressTracker* tracker,
                 ConversionReport& report) {
    if (!brisko::isSeriesStart(base)) return true;
    brisko::ReadErrors errors;
    for (unsigned n = 1;; ++n) {
        const std::string next = brisko::seriesMember(base, n);
        if (!brisko::fileExists(next, &errors)) return errors.none() || report.failToRead(next);
        const std::string merged = brisko::seriesMerge(base, n);
        if (!brisko::runMerge(path, next, merged, tracker, report)) return false;
        path = merged;
    }
}

bool convertThroughCL3(const std::string& raw, const std::string& plain, const std::string& indexed,
                       ProgressTracker* tracker, ConversionReport& report) {
    return brisko::convertClrToCl3(raw, raw, plain, tracker, report) &&
           brisko::runIndexing(plain, raw, indexed, tracker, report);
}

/// A path with a null character would name another file than its ending promises.
bool isPath(const std::string& path) {
    return path.find('\0') == std::string::npos;
}

/// Whether anything is there. Whether it can be read shows when it is.
bool exists(const std::string& path) {
    return isPath(path) && brisko::fileExists(path);
}

/// Whether a path is one that the conversion takes; whether it can be read shows when it is.
bool isInput(const std::string& path, bool (*isNamed)(std::string_view), ConversionReport& report) {
    if (!exists(path)) return report.fail(ConversionProblem::NotFound, path, "it is not there");
    return isNamed(path) ||
           report.fail(ConversionProblem::BadName, path, "it is not named like such a scan");
}

bool convertClr(std::string path, ProgressTracker* tracker, ConversionReport& report) {
    if (!isInput(path, brisko::isCLRName, report)) return false;
    // Names come from the input as it was given, not from what a series is merged to.
    const std::string given = path;
    const std::string base = brisko::withoutLastFour(path);
    const std::string plain = base + ".cl3";
    const std::string indexed = base + "_index.cl3";
    if (brisko::isIndexBase(base)) {
        return brisko::convertClrToCl3(path, path, plain, tracker, report);
    }
    if (!mergeSeries(base, path, tracker, report)) return false;

    CLRFileHeader header;
    if (!header.Read(path.c_str())) return report.failToRead(path);
    switch (chooseRoute(header.GetModelName(), header.GetPointFormat(), header.GetBlockCount())) {
        case ClrRoute::Nothing:
            return true;
        case ClrRoute::OnePass:
            return brisko::convertClrToCl3Ij(path, given, indexed, tracker, report);
        case ClrRoute::OnePassUnjudged:
            brisko::convertClrToCl3Ij(path, given, indexed, tracker, report);
            return true;
        case ClrRoute::OnePassByPoints:
            return brisko::convertClrToCl3(path, given, indexed, tracker, report);
        case ClrRoute::ThroughCL3:
            return convertThroughCL3(path, plain, indexed, tracker, report);
        case ClrRoute::SortedThroughCL3:
            // Deliberate: the sorted copy is left beside the input, and the conversion reads the
            // input itself, whether the copy could be made or not.
            ConversionReport ofCopy;
            brisko::runSortClr(path, tracker, ofCopy);
            return convertThroughCL3(path, plain, indexed, tracker, report);
    }
    return false;
}

bool convertCL3(const std::string& path, ProgressTracker* tracker, ConversionReport& report) {
    if (!isInput(path, brisko::isCL3Name, report)) return false;
    const std::string base = brisko::withoutLastFour(path);
    if (brisko::isIndexBase(base)) return true;  // no companion is looked at
    brisko::ReadErrors errors;
    if (!brisko::fileExists(base + ".ij", &errors))
        return errors.none() || report.failToRead(base + ".ij");
    return brisko::runIndexing2(path, base + "_index.cl3", tracker, report);
}

bool convertByAngles(const std::string& input, const std::string& output, ProgressTracker* tracker,
                     ConversionReport& report) {
    if (!isInput(input, brisko::isCL3Name, report)) return false;
    if (!isPath(output) || !brisko::isCL3Name(output)) {
        return report.fail(ConversionProblem::BadName, output, "it is not named like a CL3 scan");
    }
    return brisko::runIndexingByAngles(input, output, tracker, report);
}

/// What the host's monitors throw goes on to the host; everything else is a false result.
template <class Conversion>
bool guarded(ConversionReport& report, const Conversion& conversion) {
    try {
        return conversion();
    } catch (const brisko::HostInterrupt& interrupt) {
        std::rethrow_exception(interrupt.cause);
    } catch (...) {
        report.failForMemory();
        return false;
    }
}

}  // namespace

bool Cl3IjIndexed(std::string path, ProgressTracker* tracker) {
    ConversionReport report;
    return guarded(report, [&] { return convertCL3(path, tracker, report); });
}

bool ClrToCl3IjIndexed(std::string path, ProgressTracker* tracker) {
    ConversionReport report;
    return guarded(report, [&] { return convertClr(path, tracker, report); });
}

bool ConvertCl3ToCl3Indexed(std::string path) {
    return Cl3IjIndexed(std::move(path), nullptr);
}

bool ConvertClrToCl3Indexed(std::string path) {
    return ClrToCl3IjIndexed(std::move(path), nullptr);
}

brisko::ConversionResult brisko::indexScan(const std::string& path,
                                           vexo::ProgressTracker* tracker) {
    ConversionReport report;
    guarded(report, [&] {
        return isCLRName(path) ? convertClr(path, tracker, report)
                               : convertCL3(path, tracker, report);
    });
    return report.take();
}

bool brisko::indexCL3ByAngles(const std::string& input, const std::string& output,
                              vexo::ProgressTracker* tracker) {
    ConversionReport report;
    return guarded(report, [&] { return convertByAngles(input, output, tracker, report); });
}

brisko::ConversionResult brisko::indexScanByAngles(const std::string& input,
                                                   const std::string& output,
                                                   vexo::ProgressTracker* tracker) {
    ConversionReport report;
    guarded(report, [&] { return convertByAngles(input, output, tracker, report); });
    return report.take();
}
