#pragma once

#include <functional>
#include <string>

namespace brisko::scan {

/// Keeps other processes of this tool from indexing the same input while the object lives. Waits for
/// one that does. Where the file system has no locks there is none.
class InputLock {
public:
    /// wait: called about ten times a second while another process has the input; may throw.
    InputLock(const std::string& path, const std::function<void()>& wait);
    ~InputLock();
    InputLock(const InputLock&) = delete;
    InputLock& operator=(const InputLock&) = delete;

private:
    int m_file = -1;
};

}  // namespace brisko::scan
