#include "index/index_check.h"

#include "check/tile_check.h"
#include "common/message.h"
#include "common/progress.h"
#include "scan/scan_input.h"
#include "scan/scan_layout.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace brisko::tool {
namespace {

[[noreturn]] void failCheck(const IndexTask& task, const std::string& what) {
    throw Failure(ExitCode::NotWritten, task.output + ": does not hold what " + task.merged +
                                            " does (" + what + "); do not use it");
}

std::uint64_t mixed(std::uint64_t sum, std::uint64_t bits) {
    // Odd factors of no structure; the shift brings high bits down.
    sum = (sum ^ bits) * 0x9e3779b97f4a7c15u;
    return sum ^ sum >> 29;
}

/// All points of a scan in one number that does not depend on their order.
struct Tally {
    std::uint64_t points = 0;
    std::uint64_t sum = 0;

    void add(const CellPoint& p, bool withCell) {
        std::uint64_t one = mixed(1, std::bit_cast<std::uint64_t>(p.x));
        one = mixed(one, std::bit_cast<std::uint64_t>(p.y));
        one = mixed(one, std::bit_cast<std::uint64_t>(p.z));
        const std::uint32_t colour =
            p.red | std::uint32_t{p.green} << 8 | std::uint32_t{p.blue} << 16;
        one = mixed(one, std::uint64_t{std::bit_cast<std::uint32_t>(p.intensity)} << 32 | colour);
        if (withCell) one = mixed(one, std::uint64_t{p.column} << 32 | p.row);
        ++points;
        sum += one;
    }
};

/// A part of a task's progress.
struct Stretch {
    const TaskProgress& progress;
    double begin, end;

    void reach(std::uint64_t done, std::uint64_t total) const {
        const double part = total == 0 ? 1 : static_cast<double>(done) / static_cast<double>(total);
        progress(begin + (end - begin) * std::min(part, 1.0), "Check");
    }
};

Tally tallyOf(ScanInput& scan, bool withCell, const Stretch& stretch) {
    Tally tally;
    std::vector<CellPoint> points;
    for (scan.read(points); !points.empty(); scan.read(points)) {
        for (const CellPoint& point : points)
            tally.add(point, withCell);
        throwIfInterrupted();
        stretch.reach(scan.stepsDone(), scan.steps());
    }
    return tally;
}

void checkEntries(const IndexTask& task) {
    ScanCheck check(1);
    check.path = task.output;
    TileCheck tiles(check, companionOf(task.output, ".ij"));
    while (tiles.next())
        throwIfInterrupted();
    if (!check.findings.empty()) failCheck(task, findingText(check.findings.kept().front()));
}

void checkAlignment(const IndexTask& task, const Alignment& from, const Alignment& to) {
    for (int i = 0; i < 16; ++i) {
        // Companions hold 18 decimals.
        const double tolerance = 1e-15 * std::max(1.0, std::abs(from.matrix[i]));
        if (!(std::abs(from.matrix[i] - to.matrix[i]) <= tolerance)) failCheck(task, "alignment");
    }
}

}  // namespace

IndexOutcome checkIndexed(const IndexTask& task, double share, const TaskProgress& progress) {
    const ScanLayout layout = inspectCL3(task.output);
    if (!layout.problems.empty()) failCheck(task, layout.problems.front());
    if (!layout.index) failCheck(task, "index");
    checkEntries(task);

    const bool withCell = task.route != IndexRoute::ByAngles;
    const double half = (1 + share) / 2;
    const std::unique_ptr<ScanInput> input = openScan(task.merged);
    const Tally given = tallyOf(*input, withCell, {progress, share, half});
    const std::unique_ptr<ScanInput> output = openScan(task.output);
    const Tally made = tallyOf(*output, withCell, {progress, half, 1});
    if (given.points != made.points) {
        failCheck(task, std::to_string(made.points) + " of " + countOf(given.points, "point"));
    }
    if (given.sum != made.sum) failCheck(task, "points differ");
    checkAlignment(task, input->facts().alignment, output->facts().alignment);

    IndexOutcome outcome;
    outcome.state = IndexOutcome::State::Indexed;
    outcome.points = made.points;
    outcome.columns = layout.columns;
    outcome.rows = layout.rows;
    outcome.bytes = layout.bytes + layout.index->bytes;
    return outcome;
}

}  // namespace brisko::tool
