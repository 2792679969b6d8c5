#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/tile_check.h"
#include "scan/jobs/index_job.h"

#include <brisko_codec/alignment.h>
#include <brisko_scan/text.h>

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>

namespace brisko::scan {
namespace {

struct FileTimes {
    timespec written{};
    timespec changed{};
};

bool isAfter(const timespec& a, const timespec& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

std::optional<FileTimes> timesOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return {};
    return FileTimes{status.st_mtim, status.st_ctim};
}

/// A file that is not there is not younger than anything.
bool isYounger(const std::string& path, const FileTimes& output) {
    const auto times = timesOf(path);
    return times &&
           (isAfter(times->written, output.written) || isAfter(times->changed, output.changed));
}

std::vector<std::string> sourcesOf(const IndexTask& task) {
    std::vector<std::string> files = task.members;
    files.push_back(task.input);
    files.push_back(companionOf(task.input, ".alg"));
    if (task.route == IndexRoute::Again) files.push_back(companionOf(task.input, ".ij"));
    return files;
}

/// The fields in which two scans differ.
bool isSameScan(const CLFileHeader& a, const CLFileHeader& b) {
    const auto same = [&](auto field) { return (a.*field)() == (b.*field)(); };
    return same(&CLFileHeader::GetModelName) && same(&CLFileHeader::GetSerialNumber) &&
           same(&CLFileHeader::GetDate) && same(&CLFileHeader::GetTime) &&
           same(&CLFileHeader::GetStartAzimuthAngle) && same(&CLFileHeader::GetStopAzimuthAngle) &&
           same(&CLFileHeader::GetStartZenithAngle) && same(&CLFileHeader::GetStopZenithAngle);
}

bool hasSameAlignment(const std::string& a, const std::string& b) {
    const Alignment first = alignmentOf(a), second = alignmentOf(b);
    return first.source != AlignmentSource::Unreadable &&
           second.source != AlignmentSource::Unreadable &&
           isSameMatrix(std::to_array(first.matrix), std::to_array(second.matrix));
}

}  // namespace

bool isUpToDate(const IndexTask& task) {
    const auto made = timesOf(task.output);
    if (!made) return false;
    for (const std::string& source : sourcesOf(task)) {
        if (isYounger(source, *made)) return false;
    }
    const ScanLayout output = inspectCL3(task.output);
    const ScanLayout input = inspectNative(task.input);
    if (!output.problems.empty() || !output.index) return false;
    const bool sameGrid = output.columns == input.columns && output.rows == input.rows;
    if (task.route != IndexRoute::ByAngles && !sameGrid) return false;
    if (task.route != IndexRoute::RawScan && output.records > input.records) return false;
    return isSameScan(*output.header, *input.header) && hasSameAlignment(task.input, task.output);
}

bool isAnothersFile(const IndexTask& task) {
    std::error_code ignored;
    if (!std::filesystem::exists(task.output, ignored)) return false;
    try {
        return !isSameScan(*inspectCL3(task.output).header, *inspectNative(task.input).header);
    } catch (const ScanError&) {
        return true;
    }
}

namespace {

[[noreturn]] void failCheck(const IndexTask& task, const std::string& what) {
    throw ScanError(ErrorKind::NotWritten, task.output,
                    "what was written does not hold what " + task.input + " does (" + what + ")",
                    "nothing was put in place");
}

/// The points of all cells, a few columns at a time.
PointTally tallyOfCells(const IndexTask& task, CL3CellReader& reader, bool withCells,
                        const std::function<void(double)>& reach) {
    constexpr std::uint64_t kCells = 1 << 16;  // of a window; its points are kept
    const std::uint64_t endColumn = reader.endColumn(), endRow = reader.endRow();
    const std::uint64_t width =
        std::max<std::uint64_t>(1, kCells / std::max<std::uint64_t>(endRow, 1));
    PointTally tally;
    std::vector<CellPoint> points;
    for (std::uint64_t column = 0; column < endColumn; column += width) {
        const CellWindow window{static_cast<std::uint32_t>(column),
                                static_cast<std::uint32_t>(std::min(endColumn, column + width)), 0,
                                static_cast<std::uint32_t>(endRow)};
        if (reader.readWindow(window, points) == CellState::Damaged) failCheck(task, "cells");
        for (const CellPoint& point : points)
            tally.add(point, withCells);
        reach(static_cast<double>(column) / static_cast<double>(endColumn));
    }
    return tally;
}

}  // namespace

IndexOutcome checkIndexed(const IndexTask& task, const std::string& staged,
                          const IndexedPoints& given, const std::function<void(double)>& reach) {
    const ScanLayout layout = inspectCL3(staged);
    if (!layout.problems.empty()) failCheck(task, layout.problems.front());
    if (!layout.index) failCheck(task, "index");
    if (!given.withCells) {  // else the output was looked at as it was finished
        const auto finding =
            firstTileFinding(task.output, layout.index->path, [&](const ProgressUpdate&) {
                reach(0);
                return true;
            });
        if (finding) failCheck(task, findingText(*finding));
    }

    CL3CellReader reader;
    if (!reader.open(staged.c_str())) failCheck(task, "index");
    reader.setFrame(Frame::Scanner);
    const PointTally made = tallyOfCells(task, reader, given.withCells, reach);
    if (made.points != given.tally.points) {
        failCheck(task,
                  std::to_string(made.points) + " of " + countOf(given.tally.points, "point"));
    }
    if (made.sum != given.tally.sum) failCheck(task, "points differ");
    if (!isSameMatrix(std::to_array(given.alignment.matrix),
                      std::to_array(reader.alignment().matrix))) {
        failCheck(task, "alignment");
    }

    IndexOutcome outcome;
    outcome.state = IndexOutcome::State::Indexed;
    outcome.points = made.points;
    outcome.columns = layout.columns;
    outcome.rows = layout.rows;
    outcome.bytes = layout.bytes + layout.index->bytes;
    return outcome;
}

}  // namespace brisko::scan
