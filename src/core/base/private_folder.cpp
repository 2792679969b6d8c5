#include "base/private_folder.h"

#include "base/file.h"
#include "base/system_calls.h"
#include "base/utf8.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <span>

namespace brisko {

namespace {

constexpr int kFolder = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// 128 random bits; empty with errno set where the system has none.
std::string newName() {
    constexpr char kDigits[] = "0123456789abcdef";
    std::uint8_t bytes[16];
    if (system_calls::getentropy(bytes, sizeof bytes) != 0) return {};
    std::string name = ".brisko-";
    for (const std::uint8_t byte : bytes) {
        name += kDigits[byte >> 4];
        name += kDigits[byte & 15];
    }
    return name;
}

}  // namespace

void Descriptor::close() const {
    const ErrnoKeeper keeper;
    if (isOpen()) system_calls::close(m_number);
}

bool OutputPlace::find(const std::string& output, const OutputPlace* sibling) {
    if (output.empty() || !isUtf8(output)) {
        errno = EINVAL;
        return false;
    }
    path = resolveLinks(output);
    const std::string parent = parentFolder(path);
    name = path.substr(path.rfind('/') + 1);
    const bool isShared = sibling && sibling->folder && parentFolder(sibling->path) == parent;
    if (isShared) {
        folder = sibling->folder;
        return true;
    }
    // Not read: a folder that may be written to need not be one that may be listed.
    auto opened = std::make_shared<Descriptor>();
    opened->reset(system_calls::open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC, 0));
    if (!opened->isOpen()) return false;
    folder = std::move(opened);
    return true;
}

bool OutputPlace::sync() const {
    const Descriptor readable(system_calls::openat(folder->number(), ".", O_RDONLY | kFolder, 0));
    if (!readable.isOpen()) return errno == EACCES;
    // Some file systems have no fsync for folders; there is nothing to do then.
    return system_calls::fsync(readable.number()) == 0 || errno == EINVAL || errno == EROFS;
}

PrivateFolder::PrivateFolder(const OutputPlace& place, std::string name)
    : m_outer(place.folder), m_name(std::move(name)) {
    m_shownPath = parentFolder(place.path) + "/" + m_name;
    m_path = m_shownPath;
}

std::shared_ptr<PrivateFolder> PrivateFolder::create(const OutputPlace& place) {
    std::string name = newName();
    if (name.empty()) return nullptr;
    std::shared_ptr<PrivateFolder> folder(new PrivateFolder(place, std::move(name)));
    return folder->make() ? folder : nullptr;
}

bool PrivateFolder::make() {
    constexpr mode_t kOwnersOnly = 0700;
    const int outer = m_outer->number();
    if (system_calls::mkdirat(outer, m_name.c_str(), kOwnersOnly) != 0) return false;
    m_isMade = true;
    m_descriptor.reset(system_calls::openat(outer, m_name.c_str(), O_RDONLY | kFolder, 0));
    struct stat own {};
    if (!m_descriptor.isOpen() || system_calls::fstat(descriptor(), &own) != 0) return false;
    m_owner = own.st_uid;
    // Through the descriptor where the system offers that: a name can be given to another folder.
    std::string direct = "/proc/self/fd/" + std::to_string(descriptor());
    struct stat found {};
    const bool isReached = system_calls::stat(direct.c_str(), &found) == 0 &&
                           found.st_dev == own.st_dev && found.st_ino == own.st_ino;
    if (isReached) m_path = std::move(direct);
    return true;
}

PrivateFolder::~PrivateFolder() {
    if (!m_isMade || m_isKept) return;
    const ErrnoKeeper keeper;
    for (const std::string& name : m_names) {
        if (m_descriptor.isOpen()) system_calls::unlinkat(descriptor(), name.c_str(), 0);
    }
    system_calls::unlinkat(m_outer->number(), m_name.c_str(), AT_REMOVEDIR);
}

bool PrivateFolder::createFile(const std::string& name) const {
    constexpr int kNew = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const Descriptor file(system_calls::openat(descriptor(), name.c_str(), kNew, 0666));
    struct stat status {};
    if (!file.isOpen() || system_calls::fstat(file.number(), &status) != 0) return false;
    if (status.st_uid == m_owner) return true;
    // Somebody put a folder of their own in the place of the new one before it was opened. (Owners
    // are compared with each other: some file systems give all files to one user.)
    errno = EPERM;
    return false;
}

bool SpillFile::create() {
    OutputPlace place;
    if (!place.find(m_beside)) return false;
    const auto folder = PrivateFolder::create(place);
    if (!folder) return false;
    // The open file outlives its name, which goes with the folder.
    const std::string name = folder->newStem();
    folder->add(name);
    if (!folder->createFile(name)) return false;
    m_file = openFile(folder->pathOf(name).c_str(), "r+b");
    return m_file != nullptr;
}

bool SpillFile::append(const void* bytes, std::size_t size) {
    if (!m_file && !create()) return false;
    const std::span<const std::uint8_t> all(static_cast<const std::uint8_t*>(bytes), size);
    if (writeAt(m_file.get(), m_end, all) < size) return false;
    m_end += size;
    return true;
}

bool SpillFile::read(std::uint64_t offset, void* out, std::size_t size) const {
    return m_file && readAt(m_file.get(), offset, out, size) == size;
}

}  // namespace brisko
