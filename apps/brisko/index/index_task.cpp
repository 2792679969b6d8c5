#include "index/index_task.h"

#include "common/output_size.h"
#include "common/progress.h"
#include "common/staged_scan.h"
#include "convert/column_order.h"
#include "convert/header_angles.h"
#include "index/cancel_watch.h"
#include "index/index_check.h"
#include "index/index_state.h"
#include "index/input_lock.h"
#include "index/stage_monitor.h"

#include <brisko_codec/conversions.h>

#include <algorithm>

namespace brisko::tool {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the indexed writer keeps at a time
constexpr double kWriting = 0.6;      // share of the work; the rest is reading back

/// Follows a pass over a scan, as a part of a task's progress.
class Pass {
public:
    Pass(ScanInput& scan, const TaskProgress& progress, double end, const char* stage)
        : m_scan(scan), m_progress(progress), m_end(end), m_stage(stage) {}

    /// Throws Interrupted after Ctrl-C.
    void reach() const {
        throwIfInterrupted();
        const double share = static_cast<double>(m_scan.stepsDone()) /
                             static_cast<double>(std::max<std::uint64_t>(m_scan.steps(), 1));
        m_progress(m_end * std::min(share, 1.0), m_stage);
    }

private:
    ScanInput& m_scan;
    const TaskProgress& m_progress;
    double m_end;
    const char* m_stage;
};

OutputTarget makeTarget(const IndexTask& task, const ScanFacts& facts, const StagedScan& staged) {
    OutputTarget target;
    target.path = staged.path();
    target.shownPath = task.output;
    target.columns = facts.columns;
    target.rows = facts.rows;
    std::copy(std::begin(facts.alignment.matrix), std::end(facts.alignment.matrix), target.matrix);
    target.header = outputHeader(facts, {0, facts.columns, 0, facts.rows});
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
                           const TaskProgress& progress) {
    const std::unique_ptr<ScanInput> input =
        task.members.empty() ? openScan(task.input) : openSeries(task.input, task.members);
    const ScanFacts& facts = input->facts();
    requireReasonableSize(task.input, task.output, leastIndexedBytes(facts.columns, facts.rows),
                          inputBytes(task));
    const OutputTarget target = makeTarget(task, facts, staged);
    staged.requireAlignment(target.matrix);
    const std::unique_ptr<ScanOutput> output = createIndexedCL3Output(target);
    const auto write = [&](std::span<const CellPoint> points) { output->write(points); };
    ColumnOrder order(facts.bandColumns, facts.path, task.output, write);
    const bool inBands = facts.bandColumns == 1 || facts.bandColumns == kBand;

    IndexedPoints given;
    given.alignment = facts.alignment;
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
        patchSteps(target, dynamic_cast<const CL3FileHeader&>(*facts.header));
    }
    return given;
}

void convertByAngles(const IndexTask& task, const StagedScan& staged,
                     const TaskProgress& progress) {
    vexo::ProgressTracker tracker;
    const TaskProgress half = [&](double share, const std::string&) {
        progress(kWriting * share, "finding cells by angles");
    };
    StageMonitor monitor(1, half);
    tracker.addMonitor(&monitor);
    bool done = false;
    try {
        const CancelWatch watch(tracker);
        done = indexCL3ByAngles(task.input, staged.path(), &tracker);
    } catch (const vexo::CancelProgressRequest&) {
        throw Interrupted{};
    }
    throwIfInterrupted();  // a driver may answer false to a cancellation
    if (done) return;
    throw Failure(ExitCode::Damaged,
                  task.input +
                      ": the angles and steps of its header make no grid for its points, or there "
                      "is no room for " +
                      task.output);
}

/// Finds the cells of a scan without index. The input is read once more, strictly: the conversion takes
/// what it can get.
IndexedPoints writeByAngles(const IndexTask& task, const StagedScan& staged,
                            const TaskProgress& progress) {
    const std::unique_ptr<ScanInput> input = openScan(task.input);
    IndexedPoints given;
    given.withCells = false;
    given.alignment = input->facts().alignment;
    const Pass pass(*input, progress, 0, "reading the scan");
    std::vector<CellPoint> points;
    for (input->read(points); !points.empty(); input->read(points)) {
        for (const CellPoint& point : points)
            given.tally.add(point, false);
        pass.reach();
    }
    convertByAngles(task, staged, progress);
    return given;
}

IndexOutcome skipped(const std::string& why) {
    IndexOutcome outcome;
    outcome.state = IndexOutcome::State::Skipped;
    outcome.text = why;
    return outcome;
}

IndexOutcome makeIndexed(const IndexTask& task, const TaskProgress& progress) {
    const InputLock lock(task.input, [&] {
        throwIfInterrupted();
        progress(0, "waiting for another process");
    });
    // Another process may have done it since the inputs were looked at.
    if (!task.force && isUpToDate(task)) return skipped(upToDateText(task));
    StagedScan staged(task.output);
    const bool byAngles = task.route == IndexRoute::ByAngles;
    const IndexedPoints given =
        byAngles ? writeByAngles(task, staged, progress) : writeByCells(task, staged, progress);
    IndexOutcome outcome = checkIndexed(task, staged.path(), given, [&](double share) {
        progress(kWriting + (1 - kWriting) * share, "comparing it with its input");
    });
    staged.commit();
    return outcome;
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
        return makeIndexed(task, progress);
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
