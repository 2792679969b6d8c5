#include "base/path_rules.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/jobs/index_job.h"

#include <brisko_scan/findings.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>

namespace brisko::scan {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSortedCopy = ".Converted.clr";

bool isThere(const std::string& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

bool startsSeries(const std::string& path) {
    return hasExtension(path, ".clr") && isSeriesStart(withoutLastFour(path));
}

/// a_001.clr, a_002.clr and so on beside a_000.clr, as far as they go.
std::vector<std::string> seriesMembers(const std::string& first) {
    const std::string base = withoutLastFour(first);
    std::vector<std::string> members;
    while (isThere(seriesMember(base, static_cast<unsigned>(members.size()) + 1)))
        members.push_back(seriesMember(base, static_cast<unsigned>(members.size()) + 1));
    return members;
}

/// Files that belong to another input, by the reason to pass them over.
std::map<std::string, std::string> relatives(const std::vector<std::string>& inputs) {
    std::map<std::string, std::string> found;
    for (const std::string& input : inputs) {
        if (!hasExtension(input, ".clr")) continue;
        found[input + kSortedCopy] = "it is the sorted copy of " + input;
        if (!startsSeries(input)) continue;
        for (const std::string& member : seriesMembers(input))
            found[member] = "it belongs to the series that " + input + " starts";
    }
    return found;
}

void fail(IndexTask& task, const std::string& problem) {
    if (task.problem.empty()) task.problem = problem;
}

ScanLayout inspectSound(IndexTask& task, const std::string& path) {
    ScanLayout layout = inspectNative(path);
    if (!layout.problems.empty()) fail(task, layout.problems.front() + "; " + kRepairAdvice);
    task.records += layout.records;
    return layout;
}

void planCL3(IndexTask& task) {
    const ScanLayout layout = inspectSound(task, task.input);
    const std::string base = withoutLastFour(task.input);
    task.output = base + "_index.cl3";
    task.route = layout.index ? IndexRoute::Again : IndexRoute::ByAngles;
    if (!isIndexBase(base) || !task.problem.empty()) return;
    if (layout.index) {
        task.skipped = "it is indexed already";
    } else {
        fail(task, task.input + ": it is named as an indexed scan but " +
                       companionOf(task.input, ".ij") +
                       " is missing; rename the scan to have it indexed by its angles");
    }
}

bool sameGrid(const ScanLayout& a, const ScanLayout& b) {
    return a.columns == b.columns && a.rows == b.rows &&
           a.header->GetPointFormat() == b.header->GetPointFormat();
}

void planCLR(IndexTask& task) {
    const ScanLayout layout = inspectSound(task, task.input);
    const std::string base = withoutLastFour(task.input);
    task.output = base + (isIndexBase(base) ? ".cl3" : "_index.cl3");
    if (startsSeries(task.input)) task.members = seriesMembers(task.input);
    for (const std::string& member : task.members) {
        const ScanLayout next = inspectSound(task, member);
        if (!sameGrid(layout, next)) {
            fail(task, member + ": its grid or point format is not that of " + task.input +
                           "; they are no series");
        }
    }
}

/// One file may be named in several ways.
std::string identityOf(const std::string& path) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    return error ? path : real.string();
}

IndexTask planInput(const std::string& input, bool force, bool overwrite) {
    IndexTask task;
    task.input = input;
    task.force = force;
    try {
        if (hasExtension(input, ".cl3")) {
            planCL3(task);
        } else {
            planCLR(task);
        }
        if (task.isOpen() && !overwrite && isAnothersFile(task)) {
            task.problemKind = ErrorKind::NotWritten;
            fail(task,
                 task.output + ": holds another scan than " + input + "; --overwrite replaces it");
        }
        if (task.isOpen() && !force && isUpToDate(task)) task.skipped = upToDateText(task);
    } catch (const ScanError& error) {
        fail(task, error.what());
        task.problemKind = error.kind();
    }
    return task;
}

/// A raw scan knows the cells of its points, so it goes before a CL3 scan of the same name.
void keepOneOfEachOutput(std::vector<IndexTask>& tasks) {
    std::map<std::string, const IndexTask*> makers;
    for (const IndexTask& task : tasks) {
        if (!task.skipped.empty()) continue;
        const IndexTask*& maker = makers[task.output];
        if (!maker || (maker->route != IndexRoute::RawScan && task.route == IndexRoute::RawScan)) {
            maker = &task;
        }
    }
    for (IndexTask& task : tasks) {
        const auto maker = makers.find(task.output);
        if (!task.isOpen() || maker == makers.end() || maker->second == &task) continue;
        task.skipped = maker->second->input + " becomes " + task.output + " already";
    }
}

}  // namespace

std::string upToDateText(const IndexTask& task) {
    return "it is indexed already: " + task.output + " is newer and sound; --force makes it anew";
}

std::vector<IndexTask> planIndexing(const std::vector<std::string>& inputs, bool force,
                                    bool overwrite) {
    for (const std::string& input : inputs) {
        if (readerOf(input).traits.isNative) continue;
        throw ScanError(ErrorKind::Request, input, "only .cl3 and .clr scans are indexed",
                        "'brisko convert' makes an indexed .cl3 of it");
    }
    const std::map<std::string, std::string> passedOver = relatives(inputs);
    std::vector<IndexTask> tasks;
    std::set<std::string> seen;
    for (const std::string& input : inputs) {
        if (!seen.insert(identityOf(input)).second) continue;
        const auto reason = passedOver.find(input);
        if (reason == passedOver.end()) {
            tasks.push_back(planInput(input, force, overwrite));
        } else {
            tasks.emplace_back();
            tasks.back().input = input;
            tasks.back().skipped = reason->second;
        }
    }
    keepOneOfEachOutput(tasks);
    return tasks;
}

}  // namespace brisko::scan
