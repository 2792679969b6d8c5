#pragma once

#include <exception>
#include <new>
#include <utility>

namespace brisko {

/// Carries what a host's monitor threw through the conversion, a cancellation included: it reaches the
/// host, while everything else that goes wrong becomes a false result.
struct HostInterrupt {
    std::exception_ptr cause;
};

/// Runs a call that ends in the host's code.
template <class Call>
decltype(auto) callHost(Call&& call) {
    try {
        return std::forward<Call>(call)();
    } catch (const std::bad_alloc&) {
        throw;  // as anywhere else
    } catch (...) {
        throw HostInterrupt{std::current_exception()};
    }
}

}  // namespace brisko
