#pragma once

#include "index/index_task.h"
#include "index/point_tally.h"

#include <brisko_codec/alignment.h>

namespace brisko::tool {

/// What an indexed scan has to hold.
struct IndexedPoints {
    PointTally tally;
    bool withCells = true;  // whether the tally knows the cells
    Alignment alignment;
};

/// Compares an indexed scan that is not yet in place with the points that it was made from. It asks for
/// every cell by seeking, which shares nothing with the pass that read the input but the records.
///   staged  where the scan lies now
/// Throws Failure(NotWritten) when it does not hold them.
IndexOutcome checkIndexed(const IndexTask& task, const std::string& staged,
                          const IndexedPoints& given, const std::function<void(double)>& reach);

}  // namespace brisko::tool
