#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/tile_check.h"
#include "scan/jobs/index_job.h"

#include <brisko_scan/text.h>

#include <algorithm>

namespace brisko::scan {
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
    if (!isSameMatrix(given.alignment.matrix, reader.alignment().matrix)) {
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
