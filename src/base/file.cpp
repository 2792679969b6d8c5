#include "base/file.h"

#include "base/utf8.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>

namespace brisko {

namespace {

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

/// Sets errno and answers false unless the descriptor is a regular file.
bool isRegularFile(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) return false;
    if (S_ISREG(status.st_mode)) return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
}

FilePtr adopt(int descriptor, const char* mode) {
    std::FILE* const file = fdopen(descriptor, mode);
    if (!file) {
        const ErrnoKeeper keeper;
        close(descriptor);
    }
    return FilePtr(file);
}

bool isUsablePath(const char* path) {
    if (path && *path && isUtf8(path)) return true;
    errno = EINVAL;
    return false;
}

}  // namespace

void FileCloser::operator()(std::FILE* file) const noexcept {
    const ErrnoKeeper keeper;
    std::fclose(file);
}

FilePtr openFile(const char* path, const char* mode) {
    const int flags = openFlags(mode);
    if (!isUsablePath(path) || flags < 0) {
        errno = EINVAL;
        return nullptr;
    }
    // Not blocking: opening a pipe must not wait for its other end. Truncation waits until it is
    // known that this is a regular file.
    const int descriptor = open(path, flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, 0666);
    if (descriptor < 0) return nullptr;
    const bool usable = isRegularFile(descriptor) &&
                        (mode[0] != 'w' || ftruncate(descriptor, 0) == 0) &&
                        fcntl(descriptor, F_SETFL, flags & O_APPEND) == 0;
    if (!usable) {
        const ErrnoKeeper keeper;
        close(descriptor);
        return nullptr;
    }
    return adopt(descriptor, mode);
}

std::uint64_t fileLength(std::FILE* file) {
    struct stat status {};
    if (!file || fstat(fileno(file), &status) != 0 || status.st_size < 0) return 0;
    return static_cast<std::uint64_t>(status.st_size);
}

std::uint64_t fileLength(const char* path) {
    struct stat status {};
    const bool known = isUsablePath(path) && stat(path, &status) == 0 && S_ISREG(status.st_mode);
    return known ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::optional<FileStamp> fileStamp(const char* path) {
    struct stat status {};
    if (!isUsablePath(path) || stat(path, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    FileStamp stamp;
    stamp.device = status.st_dev;
    stamp.number = status.st_ino;
    stamp.length = static_cast<std::uint64_t>(status.st_size);
    stamp.seconds = status.st_mtim.tv_sec;
    stamp.nanoseconds = status.st_mtim.tv_nsec;
    return stamp;
}

std::size_t readAt(std::FILE* file, std::uint64_t offset, void* out, std::size_t size) {
    auto* const bytes = static_cast<std::uint8_t*>(out);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got =
            pread(fileno(file), bytes + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::size_t writeAt(std::FILE* file, std::uint64_t offset, std::span<const std::uint8_t> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t put = pwrite(fileno(file), bytes.data() + done, bytes.size() - done,
                                   static_cast<off_t>(offset + done));
        if (put < 0 && errno == EINTR) continue;
        if (put <= 0) break;
        done += static_cast<std::size_t>(put);
    }
    return done;
}

bool seekTo(std::FILE* file, std::uint64_t offset) {
    return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool closeFile(FilePtr file) {
    return !file || std::fclose(file.release()) == 0;
}

namespace {

/// Creates a new file beside a path; name is set to the new file's path.
FilePtr createBeside(const char* path, std::string& name) {
    constexpr int kTries = 1000;
    for (int i = 0; i < kTries; ++i) {
        name =
            std::string(path) + "." + std::to_string(getpid()) + "-" + std::to_string(i) + ".tmp";
        const int descriptor = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (descriptor >= 0) return adopt(descriptor, "wb");
        if (errno != EEXIST) return nullptr;
    }
    return nullptr;
}

/// Whether a file can be put there: nothing is there, or a regular file that may be written.
bool isReplaceable(const char* path) {
    struct stat status {};
    if (stat(path, &status) != 0) return errno == ENOENT;
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    return access(path, W_OK) == 0;
}

}  // namespace

bool replaceFile(const char* path, std::string_view content) {
    if (!isUsablePath(path) || !isReplaceable(path)) return false;
    std::string name;
    FilePtr file = createBeside(path, name);
    if (!file) return false;
    const bool written =
        std::fwrite(content.data(), 1, content.size(), file.get()) == content.size();
    if (closeFile(std::move(file)) && written && renameFile(name, path)) return true;
    const ErrnoKeeper keeper;
    removeFile(name);
    return false;
}

bool renameFile(const std::string& from, const std::string& to) {
    return std::rename(from.c_str(), to.c_str()) == 0;
}

bool removeFile(const std::string& path) {
    return unlink(path.c_str()) == 0 || errno == ENOENT;
}

}  // namespace brisko
