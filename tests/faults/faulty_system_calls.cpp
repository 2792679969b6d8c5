// The system calls as the library knows them, with faults on request. This object is linked in front
// of the archive, so its definitions are the ones that count. The tool calls the system by itself; the
// linker sends those calls here, too.

#include "base/system_calls.h"

#include "faults/faults.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

// The linker's names for the calls as they are.
extern "C" {
int __real_open(const char* path, int flags, ...);
int __real_close(int descriptor);
int __real_fstat(int descriptor, struct stat* status);
ssize_t __real_pread(int descriptor, void* out, std::size_t size, off_t offset);
ssize_t __real_pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset);
int __real_unlink(const char* path);
}

namespace brisko::test {

namespace {

enum Kind : unsigned { kOpens = 1, kReads = 2, kWrites = 4, kNames = 8, kOther = 16 };

struct State {
    std::atomic<bool> armed = false;
    std::atomic<std::size_t> left = 0;
    std::atomic<bool> happened = false, keptAFile = false;
    Fault fault = Fault::InputOutput;
    bool forever = false;
};
State state;

/// Which calls a fault speaks of and the error that they give, in the order of Fault. A kill comes
/// before no call that only reads: the disk is then as it was.
constexpr struct {
    unsigned kinds;
    int error;
} kEffects[] = {{~0U, EIO},
                {~0U, EIO},
                {kWrites, ENOSPC},
                {kWrites, EFBIG},
                {kOpens, EMFILE},
                {kOpens | kNames, EACCES},
                {kReads | kWrites, EIO},
                {kReads | kWrites, EINTR},
                {kOpens | kWrites | kNames, EIO}};
static_assert(std::size(kEffects) == static_cast<std::size_t>(Fault::Killed) + 1);

bool isDue() {
    if (!state.armed) return false;
    std::size_t left = state.left;
    while (left > 0 && !state.left.compare_exchange_weak(left, left - 1)) {
    }
    const bool due = left == 1 || (left == 0 && state.forever);
    if (due) state.happened = true;
    return due;
}

/// Whether a call is to fail, with errno set.
bool fails(Kind kind) {
    const auto& [kinds, error] = kEffects[static_cast<std::size_t>(state.fault)];
    if (state.fault == Fault::Allocation || (kinds & kind) == 0 || !isDue()) return false;
    if (state.fault == Fault::Killed) std::raise(SIGKILL);
    errno = error;
    return true;
}

/// How much a call moves; 0 when it fails.
std::size_t moved(Kind kind, std::size_t size) {
    if (!fails(kind)) return size;
    return state.fault == Fault::Short ? (size + 1) / 2 : 0;
}

/// Streams go on by themselves after a short move and after an interruption.
bool isForStreams() {
    return state.fault != Fault::Short && state.fault != Fault::Interrupted;
}

bool failsInStream(Kind kind, std::FILE* file) {
    if (!isForStreams() || !fails(kind)) return false;
    file->_flags |= _IO_ERR_SEEN;  // what ferror asks for
    return true;
}

}  // namespace

Failing::Failing(Fault fault, std::size_t nth, bool forever) {
    state.fault = fault;
    state.forever = forever;
    state.left = nth;
    state.happened = state.keptAFile = false;
    state.armed = true;
}

Failing::~Failing() {
    state.armed = false;
}

Respite::Respite() : m_wasArmed(state.armed.exchange(false)) {
}

Respite::~Respite() {
    state.armed = m_wasArmed;
}

bool Failing::happened() const {
    return state.happened;
}

bool Failing::keptAFile() const {
    return state.keptAFile;
}

}  // namespace brisko::test

namespace brisko::system_calls {

using namespace brisko::test;

int open(const char* path, int flags, mode_t mode) noexcept {
    return fails(kOpens) ? -1 : __real_open(path, flags, mode);
}
int openat(int folder, const char* name, int flags, mode_t mode) noexcept {
    return fails(kOpens) ? -1 : ::openat(folder, name, flags, mode);
}
int close(int descriptor) noexcept {
    // A close that fails has closed all the same.
    const int closed = __real_close(descriptor);
    return fails(kOther) ? -1 : closed;
}
int fstat(int descriptor, struct stat* status) noexcept {
    return fails(kOther) ? -1 : __real_fstat(descriptor, status);
}
int stat(const char* path, struct stat* status) noexcept {
    return fails(kOther) ? -1 : ::stat(path, status);
}
int fstatat(int folder, const char* name, struct stat* status) noexcept {
    return fails(kOther) ? -1 : ::fstatat(folder, name, status, AT_SYMLINK_NOFOLLOW);
}
int statvfs(const char* path, struct statvfs* status) noexcept {
    return fails(kOther) ? -1 : ::statvfs(path, status);
}
int access(const char* path, int mode) noexcept {
    return fails(kNames) ? -1 : ::access(path, mode);
}
int setFlags(int descriptor, int flags) noexcept {
    return fails(kOther) ? -1 : ::fcntl(descriptor, F_SETFL, flags);
}
int ftruncate(int descriptor, off_t length) noexcept {
    return isForStreams() && fails(kWrites) ? -1 : ::ftruncate(descriptor, length);
}
ssize_t pread(int descriptor, void* out, std::size_t size, off_t offset) noexcept {
    const std::size_t some = moved(kReads, size);
    return some == 0 && size > 0 ? -1 : __real_pread(descriptor, out, some, offset);
}
ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) noexcept {
    const std::size_t some = moved(kWrites, size);
    return some == 0 && size > 0 ? -1 : __real_pwrite(descriptor, bytes, some, offset);
}
int fsync(int) noexcept {
    // Bytes stay in memory: only the answer counts here.
    return isForStreams() && fails(kWrites) ? -1 : 0;
}
int syncRange(int, off_t, off_t) noexcept {
    return isForStreams() && fails(kWrites) ? -1 : 0;
}
DIR* opendir(const char* path) noexcept {
    return fails(kOpens) ? nullptr : ::opendir(path);
}
int unlink(const char* path) noexcept {
    if (!fails(kNames)) return __real_unlink(path);
    state.keptAFile = true;
    return -1;
}
int unlinkat(int folder, const char* name, int flags) noexcept {
    if (!fails(kNames)) return ::unlinkat(folder, name, flags);
    struct stat status {};
    if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0) state.keptAFile = true;
    return -1;
}
int mkdirat(int folder, const char* name, mode_t mode) noexcept {
    return fails(kNames) ? -1 : ::mkdirat(folder, name, mode);
}
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    if (!fails(kNames)) return ::renameat(fromFolder, from, toFolder, to);
    // What was done before cannot be taken back either.
    if (state.forever) state.keptAFile = true;
    return -1;
}
int linkat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
    return fails(kNames) ? -1 : ::linkat(fromFolder, from, toFolder, to, 0);
}
int getentropy(void* out, std::size_t size) noexcept {
    return fails(kOther) ? -1 : ::getentropy(out, size);
}
std::FILE* fdopen(int descriptor, const char* mode) noexcept {
    return fails(kOther) ? nullptr : ::fdopen(descriptor, mode);
}
int fclose(std::FILE* file) noexcept {
    const int closed = std::fclose(file);
    return isForStreams() && fails(kWrites) ? EOF : closed;
}
std::size_t fread(void* out, std::size_t size, std::size_t count, std::FILE* file) noexcept {
    return failsInStream(kReads, file) ? 0 : std::fread(out, size, count, file);
}
int getc(std::FILE* file) noexcept {
    return failsInStream(kReads, file) ? EOF : std::getc(file);
}
std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                   std::FILE* file) noexcept {
    return failsInStream(kWrites, file) ? 0 : std::fwrite(bytes, size, count, file);
}
int fseeko(std::FILE* file, off_t offset, int origin) noexcept {
    return fails(kOther) ? -1 : ::fseeko(file, offset, origin);
}

}  // namespace brisko::system_calls

extern "C" {

int __wrap_open(const char* path, int flags, mode_t mode) {
    return brisko::system_calls::open(path, flags, mode);
}
int __wrap_close(int descriptor) {
    return brisko::system_calls::close(descriptor);
}
int __wrap_fstat(int descriptor, struct stat* status) {
    return brisko::system_calls::fstat(descriptor, status);
}
ssize_t __wrap_pread(int descriptor, void* out, std::size_t size, off_t offset) {
    return brisko::system_calls::pread(descriptor, out, size, offset);
}
ssize_t __wrap_pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset) {
    return brisko::system_calls::pwrite(descriptor, bytes, size, offset);
}
int __wrap_fsync(int descriptor) {
    return brisko::system_calls::fsync(descriptor);
}
int __wrap_unlink(const char* path) {
    return brisko::system_calls::unlink(path);
}
}

namespace {

constexpr std::size_t kFilled = 1 << 16;  // the rest of large buffers would take the loops' time

void* allocate(std::size_t size) {
    using brisko::test::state;
    const bool due = state.fault == brisko::test::Fault::Allocation && brisko::test::isDue();
    if (due) return nullptr;
    void* const memory = std::malloc(size > 0 ? size : 1);
    // Never the same: what is written without having been set shows in the bytes of a file.
    static std::atomic<unsigned> fill = 0;
    if (memory) std::memset(memory, static_cast<int>(++fill & 0xFF), std::min(size, kFilled));
    return memory;
}

}  // namespace

void* operator new(std::size_t size) {
    void* const memory = allocate(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}
void* operator new[](std::size_t size) {
    return operator new(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
