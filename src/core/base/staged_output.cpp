#include "base/staged_output.h"

#include "base/companion_path.h"
#include "base/file.h"
#include "base/system_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <initializer_list>
#include <span>

namespace brisko {

namespace {

/// Stands where the alignment of a scan stood that is being replaced.
constexpr std::string_view kMark =
    "This scan is being replaced. If this text stays, the replacement was stopped, and the scan, "
    "its "
    "index and its alignment may not belong together: write the scan again.\n";

/// The extension of a file name, so long as it is one that a file in the private folder can take on.
std::string extensionOf(const std::string& name) {
    constexpr std::size_t kLongest = 8;
    const std::size_t dot = name.rfind('.');
    return dot != std::string::npos && name.size() - dot <= kLongest ? name.substr(dot) : ".tmp";
}

bool isOneOf(const std::string& text, std::initializer_list<const char*> texts) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

/// What lies there: nothing (answering true, with `isThere` false) or a regular file.
bool lookAt(int folder, const std::string& name, struct stat& status, bool& isThere) {
    isThere = system_calls::fstatat(folder, name.c_str(), &status) == 0;
    if (!isThere) return errno == ENOENT;
    if (S_ISREG(status.st_mode)) return true;
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return false;
}

/// Gives a new file the permissions and the owner of the one that it replaces, as far as possible.
void takeOver(const struct stat& status, int folder, const std::string& name) {
    constexpr auto kNobody = static_cast<uid_t>(-1);
    if (fchownat(folder, name.c_str(), status.st_uid, status.st_gid, AT_SYMLINK_NOFOLLOW) != 0) {
        static_cast<void>(
            fchownat(folder, name.c_str(), kNobody, status.st_gid, AT_SYMLINK_NOFOLLOW));
    }
    static_cast<void>(fchmodat(folder, name.c_str(), status.st_mode & 0777, 0));
}

/// Some file systems have no second names for files, or not for files of others.
bool isWithoutLinks(int error) {
    return error == EPERM || error == EOPNOTSUPP || error == ENOSYS || error == EMLINK ||
           error == EXDEV;
}

/// Outputs take their places in a folder one after the other: else two of one name could end with the scan
/// of one and the index of the other. It is no condition: there are folders that cannot be locked, and a
/// process that was halted halfway keeps the others waiting for some seconds only.
class Turn {
public:
    explicit Turn(int folder) {
        constexpr int kTries = 500;
        constexpr timespec kPause = {0, 10'000'000};
        const int lock = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        m_lock.reset(lock);
        for (int i = 0; lock >= 0 && i < kTries && flock(lock, LOCK_EX | LOCK_NB) != 0; ++i) {
            if (errno != EWOULDBLOCK) break;
            nanosleep(&kPause, nullptr);
        }
    }

private:
    Descriptor m_lock;
};

bool writeFile(const std::string& path, std::string_view content) {
    FilePtr file = openFile(path.c_str(), "wb");
    const bool written = file && system_calls::fwrite(content.data(), 1, content.size(),
                                                      file.get()) == content.size();
    return closeFile(std::move(file)) && written;
}

}  // namespace

// --------------------------------------------------------------------------------------- Being written

bool StagedOutput::findPart(Part& part, const std::string& output, const std::string& stem,
                            std::string_view extension) {
    if (!part.place.find(output, &m_scan.place)) return false;
    part.staged = stem + std::string(extension);
    part.saved = part.staged + ".old";
    m_folder->add(part.staged);
    m_folder->add(part.saved);
    return true;
}

bool StagedOutput::create(const std::string& output, Companions companions,
                          const StagedOutput* sibling) {
    discard();
    if (!m_scan.place.find(output, sibling ? &sibling->m_scan.place : nullptr)) return false;
    if (!isReplaceable(target())) return false;
    const bool isShared =
        sibling && sibling->m_folder && sibling->m_scan.place.folder == m_scan.place.folder;
    m_folder = isShared ? sibling->m_folder : PrivateFolder::create(m_scan.place);
    if (!m_folder) return false;

    const std::string extension = extensionOf(m_scan.place.name);
    const std::string stem = m_folder->newStem();
    const bool isCL3 = isOneOf(extension, {".cl3", ".CL3"});
    const bool isScan = isCL3 || isOneOf(extension, {".clr", ".CLR"});
    const bool isAlone = companions == Companions::None || !isScan;
    const auto find = [&](Part& part, const char* companion) {
        return findPart(part, companionForWriting(target(), companion), stem, companion);
    };
    bool created = findPart(m_scan, target(), stem, extension);
    if (!isAlone && isCL3) created = created && find(m_index, ".ij");
    if (!isAlone) created = created && find(m_alignment, ".alg");
    created = created && m_folder->createFile(m_scan.staged);
    if (created) {
        m_path = m_folder->pathOf(m_scan.staged);
    } else {
        discard();
    }
    return created;
}

std::string StagedOutput::companion(std::string_view extension) const {
    return companionForWriting(m_path, extension);
}

bool StagedOutput::isIn(const Part& part) const {
    struct stat status {};
    return part.place.folder &&
           system_calls::fstatat(m_folder->descriptor(), part.staged.c_str(), &status) == 0;
}

bool StagedOutput::sync(const std::function<void()>& between) const {
    if (!m_folder) return false;
    for (const Part* part : {&m_scan, &m_index, &m_alignment}) {
        if (isIn(*part) && !syncFile(m_folder->pathOf(part->staged), between)) return false;
    }
    return true;
}

void StagedOutput::discard() {
    m_folder.reset();
    m_path.clear();
    m_scan = m_index = m_alignment = {};
}

// ------------------------------------------------------------------------------------ Taking its place

bool StagedOutput::prepare(Part& part) {
    if (!part.place.folder) return true;
    m_failed = &part;
    const int inside = m_folder->descriptor(), outside = part.place.folder->number();
    struct stat status {};
    if (!lookAt(inside, part.staged, status, part.isNew)) return false;
    if (!lookAt(outside, part.place.name, status, part.isReplacing)) return false;
    if (!part.isReplacing) return true;
    if (part.isNew) takeOver(status, inside, part.staged);
    part.isSaved =
        system_calls::linkat(outside, part.place.name.c_str(), inside, part.saved.c_str()) == 0;
    // Another process may be replacing the same output.
    if (!part.isSaved && errno == ENOENT) part.isReplacing = false;
    return part.isSaved || !part.isReplacing || isWithoutLinks(errno);
}

bool StagedOutput::createMark() {
    m_mark = m_alignment.staged + ".mark";
    m_folder->add(m_mark);
    const std::string path = m_folder->pathOf(m_mark);
    return m_folder->createFile(m_mark) && writeFile(path, kMark) && syncFile(path, [] {});
}

std::vector<StagedOutput::Change> StagedOutput::changes() {
    std::vector<Change> all;
    if (m_keepsAlignment && !m_alignment.isNew) m_alignment.isReplacing = false;
    const auto put = [&all](Part& part) {
        if (part.isNew) all.push_back({&part, Step::Put});
    };
    const auto clear = [&all](Part& part) {
        if (part.isReplacing) all.push_back({&part, Step::Clear});
    };
    const bool isMarked = m_scan.isReplacing && (m_alignment.isNew || m_alignment.isReplacing);
    if (isMarked) all.push_back({&m_alignment, Step::Mark});
    clear(m_index);
    if (m_scan.isReplacing) put(m_scan);
    put(m_index);
    if (m_alignment.isNew) {
        put(m_alignment);
    } else if (isMarked) {
        all.push_back({&m_alignment, Step::Clear});
    } else {
        clear(m_alignment);
    }
    if (!m_scan.isReplacing) put(m_scan);
    return all;
}

// From here on nothing takes memory: a lack of it must not end the work halfway.

bool StagedOutput::make(const Change& change) {
    const Part& part = *change.part;
    const int inside = m_folder->descriptor(), outside = part.place.folder->number();
    const char* const name = part.place.name.c_str();
    m_failed = &part;
    switch (change.step) {
        case Step::Mark:
            return system_calls::renameat(inside, m_mark.c_str(), outside, name) == 0;
        case Step::Put:
            return system_calls::renameat(inside, part.staged.c_str(), outside, name) == 0;
        case Step::Clear: {
            const int result =
                part.isSaved ? system_calls::unlinkat(outside, name, 0)
                             : system_calls::renameat(outside, name, inside, part.saved.c_str());
            return result == 0 || errno == ENOENT;
        }
    }
    return false;
}

bool StagedOutput::takeBack(const Change& change) const {
    const Part& part = *change.part;
    const int inside = m_folder->descriptor(), outside = part.place.folder->number();
    const char* const name = part.place.name.c_str();
    // The older index went in a step of its own.
    const bool tookNothing =
        !part.isReplacing || (change.step == Step::Put && change.part == &m_index);
    if (tookNothing) return system_calls::unlinkat(outside, name, 0) == 0 || errno == ENOENT;
    return system_calls::renameat(inside, part.saved.c_str(), outside, name) == 0;
}

bool StagedOutput::makeAll(const std::vector<Change>& all) {
    for (std::size_t done = 0; done < all.size(); ++done) {
        if (make(all[done])) continue;
        const ErrnoKeeper keeper;
        while (done > 0 && !m_isKept) {
            if (takeBack(all[--done])) continue;
            m_folder->keep();
            m_isKept = true;
        }
        return false;
    }
    return true;
}

bool StagedOutput::publish() {
    m_failed = nullptr;
    if (!m_folder || !isReplaceable(target())) return false;
    const Turn turn(m_scan.place.folder->number());
    if (!prepare(m_scan) || !prepare(m_index) || !prepare(m_alignment)) return false;
    const std::vector<Change> all = changes();
    const bool isMarked = !all.empty() && all.front().step == Step::Mark;
    if ((isMarked && !createMark()) || !makeAll(all)) return false;
    const bool isOnDisk = m_scan.place.sync();
    discard();
    return isOnDisk;
}

bool isReplacementMark(const std::string& path) {
    char text[kMark.size()];
    const FilePtr file = openFile(path.c_str(), "rb");
    return file && readAt(file.get(), 0, text, sizeof text) == sizeof text &&
           std::string_view(text, sizeof text) == kMark;
}

// ------------------------------------------------------------------------------------- A text by itself

namespace {

/// The first byte is zero until everything else is there.
bool rewriteInPlace(const char* path, std::string_view content) {
    const FilePtr file = openFile(path, "r+b");
    if (!file || content.empty()) return false;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(content.data());
    constexpr std::uint8_t kZero = 0;
    const auto write = [&file](std::uint64_t offset, std::span<const std::uint8_t> part) {
        return writeAt(file.get(), offset, part) == part.size();
    };
    return write(0, {&kZero, 1}) &&
           system_calls::ftruncate(fileno(file.get()), static_cast<off_t>(content.size())) == 0 &&
           write(1, {bytes + 1, content.size() - 1}) && write(0, {bytes, 1});
}

}  // namespace

bool replaceFile(const char* path, std::string_view content) {
    if (!path) {
        errno = EINVAL;
        return false;
    }
    StagedOutput staged;
    if (staged.create(path, StagedOutput::Companions::None)) {
        return writeFile(staged.path(), content) && staged.publish();
    }
    return (errno == EACCES || errno == EPERM) && rewriteInPlace(path, content);
}

}  // namespace brisko
