#pragma once

#include "pcplib/processes/indexing.h"

#include <cstdint>
#include <string>

namespace QelPcpLib {

/// Indexes a CL3 scan that has no index and no raw scan: each point goes into the cell in whose
/// direction it lies, by the angles of the header. Of two points in one cell the later one goes to
/// the nearest free cell of its 256 columns, or on to the next ones where these are full; none is
/// lost. Results as in indexing.h: bad input also where the header gives no usable grid.
///   spill  a file of this name is made for the time of the call: 40 bytes for every point
std::uint16_t IndexingByAngles(const std::string& input, const std::string& output,
                               const std::string& spill, CProgressCallback* callback,
                               IndexingTrouble* trouble = nullptr);

}  // namespace QelPcpLib
