#include "convert/drivers.h"

#include <brisko_codec/dictionary.h>

#include "base/companion_path.h"
#include "base/file.h"
#include "base/mishaps.h"
#include "codec/cl3_completeness.h"
#include "convert/conversion_progress.h"
#include "convert/staged_conversion.h"
#include "layouts/ij_index.h"
#include "layouts/output_bounds.h"
#include "pcplib/processes/indexing.h"
#include "pcplib/processes/indexing_by_angles.h"
#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"

#include <brisko_codec/file_header.h>

namespace brisko {

namespace {

/// Runs a driver that writes an indexed scan, and puts its output in place.
///   inputBytes  of all files that the driver takes points and cells from
template <class Driver>
bool runStaged(const std::string& input, const std::string& output, vexo::ProgressTracker* tracker,
               const std::string& label, const OutputBounds& bounds, std::uint64_t inputBytes,
               const Driver& driver) {
    const MishapWatch mishaps;
    StagedConversion staged(output, input);
    if (!staged.isReady() || !mayBeWritten(bounds, inputBytes, output)) return false;
    DriverProgress progress(tracker, label);
    return driver(staged.path(), &progress) == QelPcpLib::indexing_result::kDone &&
           mishaps.sawNone() && staged.commit([&] { progress.Poll(); }) && mishaps.sawNone();
}

std::uint64_t recordsOf(const std::string& path) {
    const auto contents = findCompleteCL3(path);
    return contents ? contents->records : 0;
}

}  // namespace

bool runIndexing(const std::string& input, const std::string& rawScan, const std::string& output,
                 vexo::ProgressTracker* tracker) {
    CLRFileHeader raw;
    if (!raw.Read(rawScan.c_str())) return false;
    const OutputBounds bounds{raw.GetAzimuthResolution(), raw.GetZenithResolution(),
                              recordsOf(input), true};
    // The plain copy is an output itself: what the scanner recorded is the measure.
    const std::uint64_t inputBytes = fileLength(rawScan.c_str());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing1, bounds,
                     inputBytes,
                     [&](const std::string& staged, QelPcpLib::CProgressCallback* progress) {
                         return QelPcpLib::Indexing(input, rawScan, staged, progress);
                     });
}

bool runIndexing2(const std::string& input, const std::string& output,
                  vexo::ProgressTracker* tracker) {
    const FilePtr index = openFile(companionForReading(input, ".ij").c_str(), "rb");
    if (!index) return false;
    const IJHeader grid = readIJHeader(index.get());
    const OutputBounds bounds{grid.columns, grid.rows, recordsOf(input), true};
    const std::uint64_t inputBytes = fileLength(input.c_str()) + fileLength(index.get());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing2, bounds,
                     inputBytes,
                     [&](const std::string& staged, QelPcpLib::CProgressCallback* progress) {
                         return QelPcpLib::Indexing2(input, staged, progress);
                     });
}

bool runIndexingByAngles(const std::string& input, const std::string& output,
                         vexo::ProgressTracker* tracker) {
    CL3FileHeader header;
    if (!header.Read(input.c_str())) return false;
    const OutputBounds bounds{header.GetAzimuthResolution(), header.GetZenithResolution(),
                              recordsOf(input), true};
    const std::uint64_t inputBytes = fileLength(input.c_str());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing3, bounds,
                     inputBytes,
                     [&](const std::string& staged, QelPcpLib::CProgressCallback* progress) {
                         const std::string spill = companionForWriting(staged, ".spill");
                         return QelPcpLib::IndexingByAngles(input, staged, spill, progress);
                     });
}

bool runSortClr(const std::string& input, vexo::ProgressTracker* tracker) {
    DriverProgress progress(tracker, getBriskoCodecDictionary()->pcpSortClr);
    return QelPcpLib::SortCLR(input, &progress) == 0;
}

bool runMerge(const std::string& first, const std::string& second, const std::string& output,
              vexo::ProgressTracker* tracker) {
    DriverProgress progress(tracker, getBriskoCodecDictionary()->pcpCombineMultiClr);
    return QelPcpLib::CombineMultiCLR(first, second, output, &progress) == 0;
}

}  // namespace brisko
