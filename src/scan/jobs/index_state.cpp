#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/jobs/index_job.h"

#include <brisko_codec/alignment.h>

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
           isSameMatrix(first.matrix, second.matrix);
}

ScanLayout inspect(const std::string& path) {
    return inspectNative(path);
}

}  // namespace

bool isUpToDate(const IndexTask& task) {
    const auto made = timesOf(task.output);
    if (!made) return false;
    for (const std::string& source : sourcesOf(task)) {
        if (isYounger(source, *made)) return false;
    }
    const ScanLayout output = inspectCL3(task.output);
    const ScanLayout input = inspect(task.input);
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
        return !isSameScan(*inspectCL3(task.output).header, *inspect(task.input).header);
    } catch (const ScanError&) {
        return true;
    }
}

}  // namespace brisko::scan
