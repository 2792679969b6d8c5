#pragma once

#include <cerrno>

namespace brisko {

/// Keeps errno over clean-up calls that may change it.
class ErrnoKeeper {
public:
    ErrnoKeeper() : m_saved(errno) {}
    ~ErrnoKeeper() { errno = m_saved; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

private:
    int m_saved;
};

}  // namespace brisko
