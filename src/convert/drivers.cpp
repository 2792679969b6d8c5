#include "convert/drivers.h"

#include <brisko_codec/dictionary.h>

#include "base/companion_path.h"
#include "base/file.h"
#include "codec/cl3_completeness.h"
#include "convert/conversion_progress.h"
#include "convert/staged_conversion.h"
#include "layouts/ij_index.h"
#include "layouts/output_limit.h"
#include "pcplib/processes/indexing.h"
#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"

#include <brisko_codec/file_header.h>

namespace brisko {

namespace {

/// What the result of a driver means.
bool judge(std::uint16_t result, const QelPcpLib::IndexingTrouble& trouble,
           const std::string& input, const std::string& output, ConversionReport& report) {
    report.noteDamage(trouble.damage);
    if (result == QelPcpLib::indexing_result::kDone) return true;
    if (trouble.isUnreadable) return report.failToRead(input);
    if (trouble.isOutput || result == QelPcpLib::indexing_result::kBadOutput) {
        return report.failToWrite(output);
    }
    const bool isBadInput = result == QelPcpLib::indexing_result::kBadInput;
    return report.fail(ConversionProblem::Damaged, input,
                       isBadInput ? "the scan or its index is not whole, or gives no usable grid"
                                  : "its points and their cells do not belong together");
}

/// Runs a driver that writes an indexed scan, and puts its output in place.
///   inputBytes  of all files that the driver takes points and cells from
template <class Driver>
bool runStaged(const std::string& input, const std::string& output, vexo::ProgressTracker* tracker,
               const std::string& label, const OutputBounds& bounds, std::uint64_t inputBytes,
               ConversionReport& report, const Driver& driver) {
    ReadErrors errors;
    StagedConversion staged(output, input, errors);
    if (!staged.isReady()) return report.failToWrite(output);
    if (!mayBeWritten(bounds, inputBytes, output)) return report.failToFit(output);
    DriverProgress progress(tracker, label);
    QelPcpLib::IndexingTrouble trouble;
    const std::uint16_t result = driver(staged.path(), &progress, &trouble);
    if (!judge(result, trouble, input, output, report)) return false;
    if (!errors.none()) return report.failToRead(input);
    return staged.commit([&] { progress.Poll(); }) || report.failToWrite(output);
}

std::uint64_t recordsOf(const std::string& path) {
    const auto contents = findCompleteCL3(path);
    return contents ? contents->records : 0;
}

}  // namespace

bool runIndexing(const std::string& input, const std::string& rawScan, const std::string& output,
                 vexo::ProgressTracker* tracker, ConversionReport& report) {
    CLRFileHeader raw;
    if (!raw.Read(rawScan.c_str())) return report.failToRead(rawScan);
    const OutputBounds bounds{raw.GetAzimuthResolution(), raw.GetZenithResolution(),
                              recordsOf(input), true};
    // The plain copy is an output itself: what the scanner recorded is the measure.
    const std::uint64_t inputBytes = fileLength(rawScan.c_str());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing1, bounds,
                     inputBytes, report,
                     [&](const std::string& staged, QelPcpLib::CProgressCallback* progress,
                         QelPcpLib::IndexingTrouble* trouble) {
                         return QelPcpLib::Indexing(input, rawScan, staged, progress, trouble);
                     });
}

bool runIndexing2(const std::string& input, const std::string& output,
                  vexo::ProgressTracker* tracker, ConversionReport& report) {
    const std::string indexPath = companionForReading(input, ".ij");
    const FilePtr index = openFile(indexPath.c_str(), "rb");
    if (!index) return report.failToRead(indexPath);
    const IJHeader grid = readIJHeader(index.get());
    const OutputBounds bounds{grid.columns, grid.rows, recordsOf(input), true};
    const std::uint64_t inputBytes = fileLength(input.c_str()) + fileLength(index.get());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing2, bounds,
                     inputBytes, report,
                     [&](const std::string& staged, QelPcpLib::CProgressCallback* progress,
                         QelPcpLib::IndexingTrouble* trouble) {
                         return QelPcpLib::Indexing2(input, staged, progress, trouble);
                     });
}

bool runIndexingByAngles(const std::string& input, const std::string& output,
                         vexo::ProgressTracker* tracker, ConversionReport& report) {
    CL3FileHeader header;
    if (!header.Read(input.c_str())) return report.failToRead(input);
    const OutputBounds bounds{header.GetAzimuthResolution(), header.GetZenithResolution(),
                              recordsOf(input), true};
    const std::uint64_t inputBytes = fileLength(input.c_str());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing3, bounds,
                     inputBytes, report,
                     [&](const std::string& staged, QelPcpLib::CProgressCallback* progress,
                         QelPcpLib::IndexingTrouble* trouble) {
                         const std::string spill = companionForWriting(staged, ".spill");
                         return QelPcpLib::IndexingByAngles(input, staged, spill, progress,
                                                            trouble);
                     });
}

bool runSortClr(const std::string& input, vexo::ProgressTracker* tracker,
                ConversionReport& report) {
    DriverProgress progress(tracker, getBriskoCodecDictionary()->pcpSortClr);
    return QelPcpLib::SortCLR(input, &progress) == 0 ||
           report.fail(ConversionProblem::Damaged, input, "its lines cannot be sorted");
}

bool runMerge(const std::string& first, const std::string& second, const std::string& output,
              vexo::ProgressTracker* tracker, ConversionReport& report) {
    DriverProgress progress(tracker, getBriskoCodecDictionary()->pcpCombineMultiClr);
    return QelPcpLib::CombineMultiCLR(first, second, output, &progress) == 0 ||
           report.fail(ConversionProblem::Damaged, second,
                       "it cannot be merged with the scans before it in the series");
}

}  // namespace brisko
