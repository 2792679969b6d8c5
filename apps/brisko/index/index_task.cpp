#include "index/index_task.h"

#include "common/progress.h"
#include "index/cancel_watch.h"
#include "index/index_check.h"
#include "index/stage_monitor.h"

#include <brisko_codec/conversions.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace brisko::tool {
namespace {

/// Tells a new file from the one that was there before.
struct FileIdentity {
    bool exists = false;
    ino_t node = 0;
    timespec changed{};

    static FileIdentity of(const std::string& path) {
        struct stat status {};
        if (stat(path.c_str(), &status) != 0) return {};
        return {true, status.st_ino, status.st_ctim};
    }
    bool operator==(const FileIdentity& other) const {
        return exists == other.exists && node == other.node &&
               changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
    }
};

bool convertByRoute(const IndexTask& task, vexo::ProgressTracker& tracker) {
    switch (task.route) {
        case IndexRoute::RawScan:
            return ClrToCl3IjIndexed(task.input, &tracker);
        case IndexRoute::Again:
            return Cl3IjIndexed(task.input, &tracker);
        case IndexRoute::ByAngles:
            return indexCL3ByAngles(task.input, task.output, &tracker);
    }
    return false;
}

/// The library answers no more than false.
Failure conversionFailure(const IndexTask& task) {
    namespace fs = std::filesystem;
    const fs::path parent = fs::path(task.output).parent_path();
    const std::string folder = parent.empty() ? "." : parent.string();
    if (access(folder.c_str(), W_OK) != 0) {
        return {ExitCode::NotWritten, task.output + ": the folder " + folder + " takes no files"};
    }
    if (task.route == IndexRoute::ByAngles) {
        return {ExitCode::Damaged,
                task.input +
                    ": the angles and steps of its header make no grid for its points, or "
                    "there is no room for " +
                    task.output};
    }
    return {ExitCode::NotWritten,
            task.output +
                ": cannot be written; is there room for it, and is the grid that the "
                "header of " +
                task.input + " announces a real one?"};
}

void convert(const IndexTask& task, StageMonitor& monitor) {
    const FileIdentity before = FileIdentity::of(task.output);
    vexo::ProgressTracker tracker;
    tracker.addMonitor(&monitor);
    bool done = false;
    try {
        const CancelWatch watch(tracker);
        done = convertByRoute(task, tracker);
    } catch (const vexo::CancelProgressRequest&) {
        throw Interrupted{};
    }
    throwIfInterrupted();  // a driver may answer false to a cancellation
    if (!done) throw conversionFailure(task);
    if (FileIdentity::of(task.output) == before) {
        throw Failure(ExitCode::NotWritten,
                      task.output +
                          ": was not written, although the conversion reported no "
                          "failure; is there room for it?");
    }
}

IndexOutcome failed(const std::string& text, ExitCode code) {
    IndexOutcome outcome;
    outcome.code = code;
    outcome.text = text;
    return outcome;
}

}  // namespace

IndexOutcome runIndexTask(const IndexTask& task, const TaskProgress& progress) {
    try {
        StageMonitor monitor(task.stages, progress);
        convert(task, monitor);
        return checkIndexed(task, monitor.share(), progress);
    } catch (const Interrupted&) {
        IndexOutcome outcome;
        outcome.state = IndexOutcome::State::Stopped;
        return outcome;
    } catch (const Failure& failure) {
        return failed(failure.what(), failure.code());
    } catch (const std::bad_alloc&) {
        return failed(task.input + ": out of memory", ExitCode::Damaged);
    } catch (const std::exception& error) {
        return failed(task.input + ": " + error.what(), ExitCode::Damaged);
    }
}

}  // namespace brisko::tool
