#pragma once

#include <brisko_codec/export.h>

namespace brisko {

/// Whether the processing library reports on standard output what it meets, as it does from the start.
/// For the whole process; hosts whose standard output is for something else switch it off. Nothing is
/// lost with it: whatever matters shows in the results of the calls. May be called at any time, from any
/// thread.
BRISKO_CODEC_EXPORT void setTraceOutput(bool isWanted);

}  // namespace brisko
