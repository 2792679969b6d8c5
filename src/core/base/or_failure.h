#pragma once

#include "base/read_errors.h"

#include <exception>
#include <utility>

namespace brisko {

/// Runs what may run out of memory on behalf of a host that expects no exception. Returns what the
/// work returns; false, null or 0 when it threw a standard exception, which is noted in `errors`. Others
/// pass: they are the host's own, or ask the thread to end.
template <class Work>
auto orFailure(Work&& work, ReadErrors* errors = nullptr) -> decltype(work()) {
    try {
        return std::forward<Work>(work)();
    } catch (const std::exception&) {
        noteIn(errors);
        return {};
    }
}

}  // namespace brisko
