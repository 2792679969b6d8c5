#include "common/staged_scan.h"

#include "common/failure.h"

#include <brisko_codec/alignment.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <vector>

namespace brisko::tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw Failure(ExitCode::NotWritten, path + ": cannot be written: " + reason);
}

[[noreturn]] void failWithErrno(const std::string& path) {
    fail(path, std::strerror(errno));
}

std::string withExtension(const std::string& path, const std::string& extension) {
    return fs::path(path).replace_extension(extension).string();
}

bool isCL3(const std::string& path) {
    const std::string extension = fs::path(path).extension().string();
    return extension == ".cl3" || extension == ".CL3";
}

bool isScan(const std::string& path) {
    const std::string extension = fs::path(path).extension().string();
    return isCL3(path) || extension == ".clr" || extension == ".CLR";
}

bool isThere(const std::string& path) {
    std::error_code error;
    const bool there = fs::exists(path, error);
    if (error) fail(path, error.message());
    return there;
}

/// Other scans whose companions have the same names.
std::vector<std::string> neighbours(const std::string& scan) {
    std::vector<std::string> found;
    for (const char* extension : {".cl3", ".CL3", ".clr", ".CLR"}) {
        const std::string other = withExtension(scan, extension);
        std::error_code ignored;
        if (other == scan || !isThere(other) || fs::equivalent(other, scan, ignored)) continue;
        found.push_back(other);
    }
    return found;
}

Alignment alignmentIn(const std::string& algPath) {
    Alignment alignment;
    if (!isThere(algPath)) return alignment;
    alignment.source = readAlignmentFile(algPath.c_str(), alignment.matrix)
                           ? AlignmentSource::File
                           : AlignmentSource::Unreadable;
    return alignment;
}

std::string resolved(const std::string& path) {
    std::error_code error;
    if (!fs::is_symlink(path, error)) return path;
    const fs::path target = fs::weakly_canonical(path, error);
    if (error) fail(path, error.message());
    return target.string();
}

void requireReplaceable(const std::string& path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (fs::is_directory(status)) fail(path, "there is a folder of that name");
    if (!fs::exists(status)) return;
    if (!fs::is_regular_file(status)) fail(path, "it is not a file");
    if (access(path.c_str(), W_OK) != 0) failWithErrno(path);
}

std::string folderOf(const std::string& path) {
    const fs::path folder = fs::path(path).parent_path();
    return folder.empty() ? "." : folder.string();
}

/// Creates an empty file under a new name in the folder of `path`, with its extension. The name does
/// not grow with the output's, which may already be as long as the file system allows.
std::string createStaged(const std::string& path) {
    const std::string folder = folderOf(path);
    std::error_code ignored;
    if (!fs::is_directory(folder, ignored)) fail(path, "the folder " + folder + " does not exist");
    std::random_device random;
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string name =
            ".brisko-" + std::to_string(random()) + fs::path(path).extension().string();
        std::string staged = (fs::path(folder) / name).string();
        const int file = open(staged.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        if (file >= 0) {
            close(file);
            return staged;
        }
        if (errno != EEXIST) failWithErrno(path);
    }
    failWithErrno(path);
}

void flushToDisk(const std::string& path, const std::string& finalPath) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) failWithErrno(finalPath);
    const int result = fsync(file);
    const int error = errno;
    close(file);
    // Some file systems have no fsync for what they hold; there is nothing to flush then.
    if (result != 0 && error != EINVAL && error != EROFS) fail(finalPath, std::strerror(error));
}

void putInPlace(const std::string& staged, const std::string& finalPath) {
    if (std::rename(staged.c_str(), finalPath.c_str()) != 0) failWithErrno(finalPath);
}

void removeOlder(const std::string& path) {
    if (unlink(path.c_str()) != 0 && errno != ENOENT) failWithErrno(path);
}

}  // namespace

StagedScan::StagedScan(const std::string& finalPath)
    : m_finalPath(resolved(finalPath)), m_hasCompanions(isScan(m_finalPath)) {
    requireReplaceable(m_finalPath);
    requireOwnIndex();
    m_path = createStaged(m_finalPath);
}

StagedScan::~StagedScan() {
    // What was put in place is no longer under these names. They fit into the memory of the first:
    // there may be none to be had.
    unlink(m_path.c_str());
    if (!m_hasCompanions) return;
    for (const char* extension : {".ij", ".alg"}) {
        m_path.replace(m_path.rfind('.'), std::string::npos, extension);
        unlink(m_path.c_str());
    }
}

std::string StagedScan::companion(const std::string& extension) const {
    return withExtension(m_path, extension);
}

void StagedScan::requireOwnIndex() const {
    if (!isCL3(m_finalPath)) return;
    for (const std::string& other : neighbours(m_finalPath)) {
        if (!isCL3(other)) continue;
        fail(m_finalPath, other + " has the same index file; choose another name");
    }
}

void StagedScan::requireAlignment(const double (&matrix)[16]) const {
    if (!isScan(m_finalPath)) return;
    const std::vector<std::string> others = neighbours(m_finalPath);
    if (others.empty()) return;
    const std::string algPath = withExtension(m_finalPath, ".alg");
    const Alignment theirs = alignmentIn(algPath);
    if (theirs.source != AlignmentSource::Unreadable &&
        std::equal(std::begin(matrix), std::end(matrix), std::begin(theirs.matrix))) {
        return;
    }
    fail(m_finalPath,
         others.front() + " shares " + algPath + " and has another alignment; choose another name");
}

void StagedScan::commitAlignment() const {
    const std::string algPath = withExtension(m_finalPath, ".alg");
    // A neighbour has the same alignment, or requireAlignment would have thrown: its file stays.
    if (!neighbours(m_finalPath).empty() && isThere(algPath)) return;
    if (isThere(companion(".alg"))) {
        putInPlace(companion(".alg"), algPath);
    } else {
        removeOlder(algPath);
    }
}

void StagedScan::commit() {
    flushToDisk(m_path, m_finalPath);
    if (!isScan(m_finalPath)) {
        putInPlace(m_path, m_finalPath);
        flushToDisk(folderOf(m_finalPath), m_finalPath);
        return;
    }
    requireAlignment(alignmentIn(companion(".alg")).matrix);
    for (const char* extension : {".ij", ".alg"}) {
        if (isThere(companion(extension))) flushToDisk(companion(extension), m_finalPath);
    }
    const std::string index = withExtension(m_finalPath, ".ij");
    if (isCL3(m_finalPath)) removeOlder(index);
    putInPlace(m_path, m_finalPath);
    commitAlignment();
    if (isThere(companion(".ij"))) putInPlace(companion(".ij"), index);
    flushToDisk(folderOf(m_finalPath), m_finalPath);
}

}  // namespace brisko::tool
