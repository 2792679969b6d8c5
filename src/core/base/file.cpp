#include "base/file.h"

#include "base/system_calls.h"
#include "base/utf8.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <limits>
#include <system_error>

namespace brisko {

namespace {

/// The flags of open() for a mode of fopen(); -1 for a mode that fopen does not know.
int openFlags(const char* mode) {
    const bool update = std::strchr(mode, '+') != nullptr;
    switch (mode[0]) {
        case 'r':
            return update ? O_RDWR : O_RDONLY;
        case 'w':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT;
        case 'a':
            return (update ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
        default:
            return -1;
    }
}

bool isUsablePath(const char* path) {
    if (path && *path && isUtf8(path)) return true;
    errno = EINVAL;
    return false;
}

/// What is known of a path. Where it cannot be looked at for another reason than that nothing is
/// there, that is an error.
bool look(const char* path, struct stat& status, ReadErrors* errors = nullptr) {
    if (!isUsablePath(path)) return false;
    if (system_calls::stat(path, &status) == 0) return true;
    if (errno != ENOENT && errno != ENOTDIR) noteIn(errors);
    return false;
}

/// Sets errno and answers false unless the descriptor is a regular file.
bool isRegularFile(int descriptor, struct stat& status) {
    if (system_calls::fstat(descriptor, &status) != 0) return false;
    if (S_ISREG(status.st_mode)) return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
}

/// A new file is left as it is: a file system may bring one that was ever truncated to the disk when it is closed.
bool makeEmpty(int descriptor, const struct stat& status) {
    return status.st_size == 0 || system_calls::ftruncate(descriptor, 0) == 0;
}

FilePtr adopt(int descriptor, const char* mode) {
    std::FILE* const file = system_calls::fdopen(descriptor, mode);
    if (!file) {
        const ErrnoKeeper keeper;
        system_calls::close(descriptor);
    }
    return FilePtr(file);
}

FilePtr openRegularFile(const char* path, const char* mode) {
    const int flags = openFlags(mode);
    if (!isUsablePath(path) || flags < 0) {
        errno = EINVAL;
        return nullptr;
    }
    // Not blocking: opening a pipe must not wait for its other end. Truncation waits until it is
    // known that this is a regular file.
    const int descriptor =
        system_calls::open(path, flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666);
    if (descriptor < 0) return nullptr;
    struct stat status {};
    const bool usable = isRegularFile(descriptor, status) &&
                        (mode[0] != 'w' || makeEmpty(descriptor, status)) &&
                        system_calls::setFlags(descriptor, flags & O_APPEND) == 0;
    if (!usable) {
        const ErrnoKeeper keeper;
        system_calls::close(descriptor);
        return nullptr;
    }
    return adopt(descriptor, mode);
}

}  // namespace

void FileCloser::operator()(std::FILE* file) const noexcept {
    const ErrnoKeeper keeper;
    system_calls::fclose(file);
}

FilePtr openFile(const char* path, const char* mode, ReadErrors* errors) {
    FilePtr file = openRegularFile(path, mode);
    const bool isNoSuchFile =
        errno == ENOENT || errno == ENOTDIR || errno == EISDIR || errno == EINVAL;
    if (!file && !isNoSuchFile) noteIn(errors);
    return file;
}

std::uint64_t fileLength(std::FILE* file, ReadErrors* errors) {
    struct stat status {};
    if (!file) return 0;
    if (system_calls::fstat(fileno(file), &status) != 0 || status.st_size < 0) {
        noteIn(errors);
        return 0;
    }
    return static_cast<std::uint64_t>(status.st_size);
}

std::uint64_t fileLength(const char* path, ReadErrors* errors) {
    struct stat status {};
    const bool known = look(path, status, errors) && S_ISREG(status.st_mode);
    return known ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::optional<FileStamp> fileStamp(const char* path) {
    struct stat status {};
    if (!look(path, status) || !S_ISREG(status.st_mode)) return {};
    FileStamp stamp;
    stamp.device = status.st_dev;
    stamp.number = status.st_ino;
    stamp.length = static_cast<std::uint64_t>(status.st_size);
    stamp.seconds = status.st_mtim.tv_sec;
    stamp.nanoseconds = status.st_mtim.tv_nsec;
    return stamp;
}

std::size_t readAt(std::FILE* file, std::uint64_t offset, void* out, std::size_t size,
                   ReadErrors* errors) {
    auto* const bytes = static_cast<std::uint8_t*>(out);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = system_calls::pread(fileno(file), bytes + done, size - done,
                                                static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) noteIn(errors);
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::size_t writeAt(std::FILE* file, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t put =
            system_calls::pwrite(fileno(file), bytes.data() + done, bytes.size() - done,
                                 static_cast<off_t>(offset + done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) break;
        done += static_cast<std::size_t>(put);
    }
    return done;
}

bool seekTo(std::FILE* file, std::uint64_t offset, ReadErrors* errors) {
    if (system_calls::fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0) return true;
    noteIn(errors);
    return false;
}

bool closeFile(FilePtr file) {
    return !file || system_calls::fclose(file.release()) == 0;
}

bool isReplaceable(const std::string& path) {
    struct stat status {};
    if (!isUsablePath(path.c_str())) return false;
    if (!look(path.c_str(), status)) return errno == ENOENT;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    return system_calls::access(path.c_str(), W_OK) == 0;
}

std::string resolveLinks(const std::string& path) {
    constexpr int kMostLinks = 40;  // as the system allows
    std::filesystem::path at = path;
    std::error_code error;
    for (int i = 0; i < kMostLinks; ++i) {
        const auto next = std::filesystem::read_symlink(at, error);
        if (error) break;
        at = at.parent_path() / next;
    }
    return at.string();
}

bool isSameFile(const std::string& a, const std::string& b, ReadErrors* errors) {
    struct stat first {};
    struct stat second {};
    return look(a.c_str(), first, errors) && look(b.c_str(), second, errors) &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

bool syncFile(const std::string& path, const std::function<void()>& between) {
    constexpr std::uint64_t kPart = std::uint64_t{4} << 20;
    const FilePtr file = openFile(path.c_str(), "rb");
    if (!file) return false;
    const int descriptor = fileno(file.get());
    const std::uint64_t length = fileLength(file.get());
    // A gigabyte takes seconds. Part by part, the caller can give up in between.
    for (std::uint64_t at = 0; at < length; at += kPart) {
        // An error of the disk is reported once: fsync would not report this one again.
        const int synced =
            system_calls::syncRange(descriptor, static_cast<off_t>(at), static_cast<off_t>(kPart));
        if (synced != 0 && errno != ENOSYS && errno != EINVAL) return false;
        between();
    }
    return system_calls::fsync(descriptor) == 0;
}

std::string parentFolder(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

bool fileExists(const std::string& path, ReadErrors* errors) {
    struct stat status {};
    return look(path.c_str(), status, errors);
}

// By hand: the iterators of <filesystem> end the process when memory runs out.
void forEachEntry(const std::string& folder, const std::function<void(std::string_view)>& visit) {
    struct Closer {
        void operator()(DIR* opened) const { closedir(opened); }
    };
    const std::unique_ptr<DIR, Closer> opened(system_calls::opendir(folder.c_str()));
    while (const dirent* const entry = opened ? readdir(opened.get()) : nullptr)
        visit(entry->d_name);
}

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    forEachEntry(folder, [&](std::string_view name) {
        struct stat status {};
        const std::string path = (folder + "/").append(name);
        if (look(path.c_str(), status) && S_ISREG(status.st_mode)) names.emplace_back(name);
    });
    return names;
}

std::uint64_t freeSpaceBeside(const std::string& path) {
    struct statvfs status {};
    if (system_calls::statvfs(parentFolder(path).c_str(), &status) != 0) {
        return std::numeric_limits<std::uint64_t>::max();
    }
    return std::uint64_t{status.f_bavail} * status.f_frsize;
}

bool removeFile(const std::string& path) {
    return system_calls::unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace brisko
