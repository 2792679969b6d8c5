#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace brisko {

/// A file that appears under its name when it is complete, or not at all. It is written under a
/// temporary name in the same folder, by any means that take a path; the object removes it unless it
/// was published.
class StagedFile {
public:
    StagedFile() = default;
    StagedFile(const StagedFile&) = delete;
    StagedFile& operator=(const StagedFile&) = delete;
    ~StagedFile() { discard(); }

    /// Creates an empty temporary file that no other process or thread uses.
    ///   target  where it will appear; where that is a symbolic link, the file that it leads to
    /// Returns: false with errno set on failure, also where the target is there and not writable.
    bool create(const std::string& target);
    /// Takes charge of a temporary file that something else writes, as writers do with their
    /// companions. It may not be there yet.
    void adopt(const std::string& temporary, const std::string& target);

    /// The temporary file; empty when there is none.
    const std::string& path() const { return m_path; }
    /// The file that will appear, links resolved.
    const std::string& target() const { return m_target; }

    /// Brings the closed temporary file to the disk; `between` is called often, and may throw.
    bool sync(const std::function<void()>& between) const;
    /// Puts the closed file in its place, with the permissions of the file it replaces. Returns false
    /// with errno set on failure, and the target is as it was.
    bool publish();
    /// Removes the temporary file.
    void discard();

private:
    std::string m_path, m_target;
};

/// Gives a file a new content, complete or not at all. Returns false with errno set on failure, also
/// where the file is there and not writable; the file is then as it was.
bool replaceFile(const char* path, std::string_view content);

}  // namespace brisko
