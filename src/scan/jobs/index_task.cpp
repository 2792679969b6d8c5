#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/jobs/column_order.h"
#include "scan/jobs/header_angles.h"
#include "scan/jobs/index_job.h"

#include <brisko_scan/index.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/staged_scan.h>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <thread>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the indexed writer keeps at a time
constexpr double kWriting = 0.6;      // share of the work; the rest is reading back

/// Follows a pass over a scan, as a part of a task's progress.
class Pass {
public:
    Pass(ScanInput& scan, const ShareFunction& progress, double end, const char* stage)
        : m_scan(scan), m_progress(progress), m_end(end), m_stage(stage) {}

    void reach() const {
        const double share = static_cast<double>(m_scan.stepsDone()) /
                             static_cast<double>(std::max<std::uint64_t>(m_scan.steps(), 1));
        m_progress(m_end * std::min(share, 1.0), m_stage);
    }

private:
    ScanInput& m_scan;
    const ShareFunction& m_progress;
    double m_end;
    const char* m_stage;
};

OutputTarget makeTarget(const IndexTask& task, const ScanInfo& info, const StagedScan& staged) {
    OutputTarget target;
    target.path = staged.path();
    target.shownPath = task.output;
    target.indexed = true;
    target.columns = info.columns;
    target.rows = info.rows;
    target.matrix = std::to_array(info.alignment.matrix);
    target.header = outputHeader(info, {{0, info.columns, 0, info.rows}});
    return target;
}

std::uint64_t inputBytes(const IndexTask& task) {
    std::uint64_t sum = bytesOf(task.input);
    if (task.route == IndexRoute::Again) sum += bytesOf(companionOf(task.input, ".ij"));
    for (const std::string& member : task.members)
        sum += bytesOf(member);
    return sum;
}

/// Writes the points of a scan that knows their cells, in one pass.
IndexedPoints writeByCells(const IndexTask& task, const StagedScan& staged,
                           const ShareFunction& progress) {
    const std::unique_ptr<ScanInput> input =
        task.members.empty() ? openScan(task.input) : openSeries(task.input, task.members);
    const ScanInfo& info = input->info();
    requireReasonableSize(task.input, task.output, leastIndexedBytes(info.columns, info.rows),
                          inputBytes(task));
    const OutputTarget target = makeTarget(task, info, staged);
    staged.requireAlignment(info.alignment.matrix);
    const std::unique_ptr<ScanOutput> output = createCL3Output(target);
    const auto write = [&](std::span<const CellPoint> points) { output->write(points); };
    ColumnOrder order(info.bandColumns, info.path, task.output, write);
    const bool inBands = info.bandColumns == 1 || info.bandColumns == kBand;

    IndexedPoints given;
    given.alignment = info.alignment;
    const Pass pass(*input, progress, kWriting, "writing the indexed scan");
    std::vector<CellPoint> points;
    for (input->read(points); !points.empty(); input->read(points)) {
        for (const CellPoint& point : points)
            given.tally.add(point, true);
        if (inBands) {
            write(points);
        } else {
            order.add(points);
        }
        pass.reach();
    }
    if (!inBands) order.finish();
    output->finish();
    if (task.route == IndexRoute::Again) {
        patchSteps(target, *info.header);
    }
    return given;
}

/// Finds the cells of a scan without index. The input is read once more, strictly: the conversion takes
/// what it can get.
IndexedPoints writeByAngles(const IndexTask& task, const StagedScan& staged,
                            const ShareFunction& progress) {
    const std::unique_ptr<ScanInput> input = openScan(task.input);
    IndexedPoints given;
    given.withCells = false;
    given.alignment = input->info().alignment;
    const Pass pass(*input, progress, 0, "reading the scan");
    std::vector<CellPoint> points;
    for (input->read(points); !points.empty(); input->read(points)) {
        for (const CellPoint& point : points)
            given.tally.add(point, false);
        pass.reach();
    }
    indexByAngles(task, staged.path(),
                  [&](double share) { progress(kWriting * share, "finding cells by angles"); });
    return given;
}

/// Keeps other processes of this tool from indexing the same input while the object lives. Waits for
/// one that does. Where the file system has no locks there is none.
class InputLock {
public:
    /// wait: called about ten times a second while another process has the input; may throw.
    InputLock(const std::string& path, const std::function<void()>& wait) {
        constexpr std::chrono::milliseconds kPause(100);
        m_file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
        if (m_file < 0) return;  // reading the input reports why
        try {
            while (flock(m_file, LOCK_EX | LOCK_NB) != 0 &&
                   (errno == EWOULDBLOCK || errno == EINTR)) {
                wait();
                std::this_thread::sleep_for(kPause);
            }
        } catch (...) {
            close(m_file);
            throw;
        }
    }
    ~InputLock() {
        if (m_file >= 0) close(m_file);
    }
    InputLock(const InputLock&) = delete;
    InputLock& operator=(const InputLock&) = delete;

private:
    int m_file = -1;
};

IndexOutcome skipped(const std::string& why) {
    IndexOutcome outcome;
    outcome.state = IndexOutcome::State::Skipped;
    outcome.text = why;
    return outcome;
}

IndexOutcome makeIndexed(const IndexTask& task, const ShareFunction& progress) {
    const InputLock lock(task.input, [&] { progress(0, "waiting for another process"); });
    // Another process may have done it since the inputs were looked at.
    if (!task.force && isUpToDate(task)) return skipped(upToDateText(task));
    StagedScan staged(task.output);
    const bool byAngles = task.route == IndexRoute::ByAngles;
    const IndexedPoints given =
        byAngles ? writeByAngles(task, staged, progress) : writeByCells(task, staged, progress);
    IndexOutcome outcome = checkIndexed(task, staged.path(), given, [&](double share) {
        progress(kWriting + (1 - kWriting) * share, "comparing it with its input");
    });
    staged.commit([&](const ProgressUpdate&) {
        progress(1, "bringing it to the disk");
        return true;
    });
    return outcome;
}

IndexOutcome failed(const std::string& text, ErrorKind kind) {
    IndexOutcome outcome;
    outcome.kind = kind;
    outcome.text = text;
    if (kind == ErrorKind::Cancelled) outcome.state = IndexOutcome::State::Stopped;
    return outcome;
}

}  // namespace

IndexOutcome runIndexTask(const IndexTask& task, const ShareFunction& progress) {
    try {
        return makeIndexed(task, progress);
    } catch (const ScanError& error) {
        return failed(error.what(), error.kind());
    } catch (const std::bad_alloc&) {
        return failed(task.input + ": out of memory", ErrorKind::Damaged);
    } catch (const std::exception& error) {
        return failed(task.input + ": " + error.what(), ErrorKind::Damaged);
    }
}

}  // namespace brisko::scan
