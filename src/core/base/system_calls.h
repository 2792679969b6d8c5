#pragma once

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/types.h>
#include <cerrno>
#include <cstddef>
#include <cstdio>

/// The calls to the operating system that can fail, one thin function each: parameters, results and
/// errno are those of the call of the same name. Everything that touches files goes through here, so
/// that a test program can bring a definition of its own that fails on purpose.
namespace brisko::system_calls {

int open(const char* path, int flags, mode_t mode) noexcept;
int openat(int folder, const char* name, int flags, mode_t mode) noexcept;
int close(int descriptor) noexcept;
int fstat(int descriptor, struct stat* status) noexcept;
int stat(const char* path, struct stat* status) noexcept;
/// Does not follow a link.
int fstatat(int folder, const char* name, struct stat* status) noexcept;
int statvfs(const char* path, struct statvfs* status) noexcept;
int access(const char* path, int mode) noexcept;
int setFlags(int descriptor, int flags) noexcept;  // fcntl with F_SETFL
int ftruncate(int descriptor, off_t length) noexcept;
ssize_t pread(int descriptor, void* out, std::size_t size, off_t offset) noexcept;
ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) noexcept;
int fsync(int descriptor) noexcept;
/// Brings a part to the disk and waits for it: sync_file_range.
int syncRange(int descriptor, off_t offset, off_t length) noexcept;
DIR* opendir(const char* path) noexcept;
int unlink(const char* path) noexcept;
int unlinkat(int folder, const char* name, int flags) noexcept;
int mkdirat(int folder, const char* name, mode_t mode) noexcept;
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept;
int linkat(int fromFolder, const char* from, int toFolder, const char* to) noexcept;
int getentropy(void* out, std::size_t size) noexcept;

std::FILE* fdopen(int descriptor, const char* mode) noexcept;
int fclose(std::FILE* file) noexcept;
std::size_t fread(void* out, std::size_t size, std::size_t count, std::FILE* file) noexcept;
int getc(std::FILE* file) noexcept;
std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                   std::FILE* file) noexcept;
int fseeko(std::FILE* file, off_t offset, int origin) noexcept;

}  // namespace brisko::system_calls

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
