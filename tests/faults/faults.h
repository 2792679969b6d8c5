#pragma once

#include <cstddef>
#include <new>
#include <utility>

/// Makes the n-th call of the library to the system, or the n-th allocation, fail. Programs with
/// these tests bring their own definition of the calls; calls of the test itself always work.
namespace brisko::test {

enum class Fault {
    Allocation,   // std::bad_alloc
    InputOutput,  // EIO
    DiskFull,     // ENOSPC, for calls that write
    TooBig,       // EFBIG, for calls that write
    TooMany,      // EMFILE, for calls that open
    NotAllowed,   // EACCES, for calls that open, rename or remove
    Short,        // reads and writes move half of the bytes; no failure at all
    Interrupted,  // EINTR, for reads and writes; to be tried again
    Killed,       // SIGKILL
};

/// While it lives, the n-th call that the fault speaks of fails; with `forever` all later ones too.
/// Counts from 1.
class Failing {
public:
    Failing(Fault fault, std::size_t nth, bool forever);
    ~Failing();
    Failing(const Failing&) = delete;
    Failing& operator=(const Failing&) = delete;

    /// Whether that call came.
    bool happened() const;
    /// Whether a file could not be removed for it.
    bool keptAFile() const;
};

/// While it lives, all calls work: for what the test itself does in the middle of an operation.
class Respite {
public:
    Respite();
    ~Respite();
    Respite(const Respite&) = delete;
    Respite& operator=(const Respite&) = delete;

private:
    bool m_wasArmed;
};

/// What a call of internals, or the making of an object, answers; nothing where memory is lacking.
template <class Call, class... Arguments>
auto orNoMemory(const Call& call, Arguments&&... arguments) {
    try {
        return call(std::forward<Arguments>(arguments)...);
    } catch (const std::bad_alloc&) {
        return decltype(call(std::forward<Arguments>(arguments)...)){};
    }
}

}  // namespace brisko::test
