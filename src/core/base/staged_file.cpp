#include "base/staged_file.h"

#include "base/file.h"
#include "base/system_calls.h"

#include <unistd.h>
#include <atomic>
#include <cerrno>

namespace brisko {

namespace {

/// A name that no other object of the process gets. Another process with this number may have left
/// a file of that name behind.
std::string temporaryName(const std::string& target) {
    static std::atomic<unsigned> count = 0;
    return target + "." + std::to_string(getpid()) + "-" + std::to_string(count++) + ".tmp";
}

}  // namespace

bool StagedFile::create(const std::string& target) {
    constexpr int kTries = 1000;
    discard();
    m_target = resolveLinks(target);
    if (!isReplaceable(m_target)) return false;
    for (int i = 0; i < kTries; ++i) {
        std::string name = temporaryName(m_target);
        if (createNewFile(name)) {
            m_path = std::move(name);
            return true;
        }
        if (errno != EEXIST) break;
    }
    return false;
}

void StagedFile::adopt(const std::string& temporary, const std::string& target) {
    discard();
    m_path = temporary;
    m_target = resolveLinks(target);
}

bool StagedFile::sync(const std::function<void()>& between) const {
    return !m_path.empty() && syncFile(m_path, between);
}

bool StagedFile::publish() {
    if (m_path.empty() || !isReplaceable(m_target)) return false;
    copyPermissions(m_target, m_path);
    if (!renameFile(m_path, m_target)) return false;
    m_path.clear();
    return true;
}

void StagedFile::discard() {
    const int saved = errno;
    if (!m_path.empty()) removeFile(m_path);
    m_path.clear();
    errno = saved;
}

bool replaceFile(const char* path, std::string_view content) {
    StagedFile staged;
    if (!path) errno = EINVAL;
    if (!path || !staged.create(path)) return false;
    FilePtr file = openFile(staged.path().c_str(), "wb");
    const bool written = file && system_calls::fwrite(content.data(), 1, content.size(),
                                                      file.get()) == content.size();
    return closeFile(std::move(file)) && written && staged.publish();
}

}  // namespace brisko
