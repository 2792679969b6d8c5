#pragma once

#include <cstddef>

namespace brisko {

/// How many processors this process may keep busy: those of its affinity, and no more than the time that its
/// control group gets. At least 1.
std::size_t processorCount();

}  // namespace brisko
