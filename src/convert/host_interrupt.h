#pragma once

#include "vexo_progress/monitor_error_watch.h"

#include <exception>
#include <new>
#include <utility>

namespace brisko {

/// Carries what a host's monitor threw through the conversion, a cancellation included: it reaches the
/// host, while everything else that goes wrong becomes a false result.
struct HostInterrupt {
    std::exception_ptr cause;
};

/// Runs a call that ends in the host's code, the monitors of a tracker.
template <class Call>
decltype(auto) callHost(const vexo::ProgressTracker& tracker, Call&& call) {
    const vexo::MonitorErrorWatch monitors(tracker);
    try {
        return std::forward<Call>(call)();
    } catch (const std::bad_alloc&) {
        if (monitors.sawNone()) throw;  // a lack of memory of our own is one as anywhere else
        throw HostInterrupt{std::current_exception()};
    } catch (...) {
        throw HostInterrupt{std::current_exception()};
    }
}

}  // namespace brisko
