#pragma once

#include <brisko_scan/index.h>

#include "scan/jobs/point_tally.h"

#include <brisko_codec/alignment.h>

#include <functional>
#include <string>

namespace brisko::scan {

/// Says how much of a task is done, 0 to 1, and what is being done. Throws ScanError(Cancelled). Called by
/// one thread at a time.
using ShareFunction = std::function<void(double share, const char* stage)>;

/// Indexes an input. Nothing is thrown.
IndexOutcome runIndexTask(const IndexTask& task, const ShareFunction& progress);

/// What to say of a task whose output is up to date.
std::string upToDateText(const IndexTask& task);

/// Whether the output of a task is there, sound, younger than all that it was made from, and shows no
/// sign that it was made from something else: header, number of points, grid and alignment are those
/// of the input. A file that was replaced by an older one is younger in the one time that no program
/// sets, that of its last change.
bool isUpToDate(const IndexTask& task);

/// Whether something else than an older output of the task has the name of its output: another scan,
/// by the instrument and time in its header and by its angles, or no scan.
bool isAnothersFile(const IndexTask& task);

/// What an indexed scan has to hold.
struct IndexedPoints {
    PointTally tally;
    bool withCells = true;  // whether the tally knows the cells
    Alignment alignment;
};

/// Compares an indexed scan that is not yet in place with the points that it was made from. It asks for
/// every cell by seeking, which shares nothing with the pass that read the input but the records.
///   staged  where the scan lies now
/// Throws ScanError(NotWritten) when it does not hold them.
IndexOutcome checkIndexed(const IndexTask& task, const std::string& staged,
                          const IndexedPoints& given, const std::function<void(double)>& reach);

}  // namespace brisko::scan
