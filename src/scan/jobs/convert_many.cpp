#include <brisko_scan/convert_many.h>

#include "base/worker_pool.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/jobs/input_files.h"
#include "scan/jobs/shared_progress.h"
#include "scan/jobs/shared_threads.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <mutex>

namespace brisko::scan {
namespace {

namespace fs = std::filesystem;

class Plan {
public:
    Plan(const std::string& folder, const std::string& extension)
        : m_folder(folder), m_extension(extension) {}

    void add(const std::string& input, const std::string& scan) {
        ConvertTask task;
        task.input = input;
        try {
            const std::vector<std::string> scans =
                scan == "all" ? scanChoicesOf(input) : std::vector{scan};
            for (std::size_t i = 0; i < scans.size(); ++i) {
                task.scan = scans[i];
                task.output = outputOf(input, scans.size() > 1 ? "_" + std::to_string(i + 1) : "");
                addOutput(task);
            }
        } catch (const ScanError& error) {
            task.problem = error;
            m_tasks.push_back(task);
        }
    }
    std::vector<ConvertTask> take() { return std::move(m_tasks); }

private:
    std::string outputOf(const std::string& input, const std::string& suffix) const {
        const fs::path name = fs::path(input).stem().string() + suffix + m_extension;
        return (fs::path(m_folder) / name).string();
    }

    void addOutput(ConvertTask task) {
        const auto [taken, isNew] = m_outputs.emplace(task.output, task.input);
        task.problem.reset();
        if (!isNew) {
            task.problem = ScanError(
                ErrorKind::Request, task.input,
                "its output " + task.output + " is that of " + taken->second + " as well");
        }
        m_tasks.push_back(std::move(task));
    }

    std::string m_folder, m_extension;
    std::map<std::string, std::string> m_outputs;  // and whose they are
    std::vector<ConvertTask> m_tasks;
};

/// A task's progress as a share of 1: its stages are not known beforehand, the last is the longest.
ProgressFunction shareOf(SharedProgress& shared, std::size_t task, double& reached) {
    return [&shared, task, &reached](const ProgressUpdate& update) {
        if (update.total > 0) {
            reached = std::max(
                reached, static_cast<double>(update.done) / static_cast<double>(update.total));
        }
        shared.reach(task, std::min(reached, 1.0), update.task);
        return true;
    };
}

ConvertOutcome runTask(const ConvertTask& task, const ConvertOptions& common) {
    ConvertOutcome outcome;
    try {
        if (task.problem) throw ScanError(*task.problem);
        ConvertOptions options = common;
        options.input = task.input;
        options.output = task.output;
        options.scan = task.scan;
        outcome.result = convertScan(options);
    } catch (const ScanError& error) {
        outcome.error = error;
    }
    return outcome;
}

}  // namespace

std::vector<ConvertTask> planConversions(const std::vector<std::string>& inputs,
                                         const std::string& folder, const std::string& format,
                                         const std::string& scan) {
    std::string extension = format.starts_with(".") ? format : "." + format;
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    writerOf("a" + extension);
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) {
        throw ScanError(ErrorKind::Request, folder, "there is no such folder");
    }
    Plan plan(folder, extension);
    for (const std::string& input : inputs) {
        for (const std::string& file : filesOf(input))
            plan.add(file, scan);
    }
    std::vector<ConvertTask> tasks = plan.take();
    if (tasks.empty()) {
        throw ScanError(ErrorKind::Request, inputs.empty() ? "" : inputs.front(),
                        "there is no scan in it");
    }
    return tasks;
}

void convertAll(const std::vector<ConvertTask>& tasks, const ConvertOptions& common,
                std::size_t jobs, const ConvertOutcomeFunction& outcome) {
    if (!common.alignmentOutput.empty() && tasks.size() != 1) {
        throw ScanError(ErrorKind::Request, common.alignmentOutput,
                        "one matrix file has no place for the matrices of several scans");
    }
    std::vector<double> weights(tasks.size());
    std::transform(tasks.begin(), tasks.end(), weights.begin(), [](const ConvertTask& task) {
        return static_cast<double>(bytesOf(task.input)) + 1;
    });
    SharedProgress shared(common.progress, "convert", weights, "bytes");
    std::mutex warning;
    const unsigned threads = threadsOfEach(jobs, tasks.size());
    const auto run = [&](std::size_t i) {
        const JobThreadLimit limit(threads);
        ConvertOptions options = common;
        double reached = 0;
        options.progress = shareOf(shared, i, reached);
        options.warning = [&](const std::string& text) {
            const std::lock_guard lock(warning);
            if (common.warning) common.warning(text);
        };
        ConvertOutcome result = runTask(tasks[i], options);
        if (!result.error || result.error->kind() != ErrorKind::Cancelled) {
            shared.reach(i, 1, "convert");
        }
        return result;
    };
    collectResults(tasks.size(), jobs, ResultOrder::Completion, run,
                   [&](std::size_t i, const ConvertOutcome& result) {
                       if (result.error && result.error->kind() == ErrorKind::Cancelled) return;
                       outcome(i, result);
                   });
    shared.require();
}

}  // namespace brisko::scan
