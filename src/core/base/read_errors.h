#pragma once

#include <cstdint>
#include <exception>
#include <utility>

namespace brisko {

/// How often reading failed in a way that its result does not show: a file that is there and cannot be
/// looked at, opened or read, or a lack of memory, where the answer is the same as for a missing file or
/// the end of the data. Each reader, and each job that looks at files itself, has one and hands it to
/// the calls that it makes; so it goes along when the reader is used in another thread.
class ReadErrors {
public:
    void note() { ++m_count; }
    std::uint64_t count() const { return m_count; }
    bool none() const { return m_count == 0; }

private:
    std::uint64_t m_count = 0;
};

/// For calls whose caller may not want to know.
inline void noteIn(ReadErrors* errors) {
    if (errors) errors->note();
}

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
