#include "base/system_calls.h"

#include <fcntl.h>
#include <unistd.h>

namespace brisko::system_calls {

int open(const char* path, int flags, mode_t mode) noexcept {
    return ::open(path, flags, mode);
}

int openat(int folder, const char* name, int flags, mode_t mode) noexcept {
    return ::openat(folder, name, flags, mode);
}

int close(int descriptor) noexcept {
    return ::close(descriptor);
}

int fstat(int descriptor, struct stat* status) noexcept {
    return ::fstat(descriptor, status);
}

int stat(const char* path, struct stat* status) noexcept {
    return ::stat(path, status);
}

int fstatat(int folder, const char* name, struct stat* status) noexcept {
    return ::fstatat(folder, name, status, AT_SYMLINK_NOFOLLOW);
}

int statvfs(const char* path, struct statvfs* status) noexcept {
    return ::statvfs(path, status);
}

int access(const char* path, int mode) noexcept {
    return ::access(path, mode);
}

int setFlags(int descriptor, int flags) noexcept {
    return ::fcntl(descriptor, F_SETFL, flags);
}

int ftruncate(int descriptor, off_t length) noexcept {
    return ::ftruncate(descriptor, length);
}

ssize_t pread(int descriptor, void* out, std::size_t size, off_t offset) noexcept {
    return ::pread(descriptor, out, size, offset);
}

ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) noexcept {
    return ::pwrite(descriptor, bytes, size, offset);
}

int fsync(int descriptor) noexcept {
    return ::fsync(descriptor);
}

int syncRange(int descriptor, off_t offset, off_t length) noexcept {
    return ::sync_file_range(
        descriptor, offset, length,
        SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER);
}

DIR* opendir(const char* path) noexcept {
    return ::opendir(path);
}

int unlink(const char* path) noexcept {
    return ::unlink(path);
}

int unlinkat(int folder, const char* name, int flags) noexcept {
    return ::unlinkat(folder, name, flags);
}

int mkdirat(int folder, const char* name, mode_t mode) noexcept {
    return ::mkdirat(folder, name, mode);
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    return ::renameat(fromFolder, from, toFolder, to);
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    return ::linkat(fromFolder, from, toFolder, to, 0);
}

int getentropy(void* out, std::size_t size) noexcept {
    return ::getentropy(out, size);
}

std::FILE* fdopen(int descriptor, const char* mode) noexcept {
    return ::fdopen(descriptor, mode);
}

int fclose(std::FILE* file) noexcept {
    return std::fclose(file);
}

std::size_t fread(void* out, std::size_t size, std::size_t count, std::FILE* file) noexcept {
    return std::fread(out, size, count, file);
}

int getc(std::FILE* file) noexcept {
    return std::getc(file);
}

std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                   std::FILE* file) noexcept {
    return std::fwrite(bytes, size, count, file);
}

int fseeko(std::FILE* file, off_t offset, int origin) noexcept {
    return ::fseeko(file, offset, origin);
}

}  // namespace brisko::system_calls
