#include "common/staged_scan.h"

#include "base/companion_path.h"
#include "base/file.h"
#include "common/failure.h"
#include "common/progress.h"

#include <brisko_codec/alignment.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
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

bool hasExtension(const std::string& path, std::initializer_list<const char*> extensions) {
    const std::string own = fs::path(path).extension().string();
    return std::find(extensions.begin(), extensions.end(), own) != extensions.end();
}

bool isCL3(const std::string& path) {
    return hasExtension(path, {".cl3", ".CL3"});
}

bool isScan(const std::string& path) {
    return isCL3(path) || hasExtension(path, {".clr", ".CLR"});
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
        const std::string other = companionForWriting(scan, extension);
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

void requireReplaceable(const std::string& path) {
    std::error_code ignored;
    const fs::file_status status = fs::status(path, ignored);
    if (fs::is_directory(status)) fail(path, "there is a folder of that name");
    if (fs::exists(status) && !fs::is_regular_file(status)) fail(path, "it is not a file");
    const std::string folder = fs::path(path).parent_path().string();
    const std::string shown = folder.empty() ? "." : folder;
    if (!fs::is_directory(shown, ignored)) fail(path, "the folder " + shown + " does not exist");
}

}  // namespace

void requireNew(const std::string& output, bool mayOverwrite) {
    if (mayOverwrite) return;
    std::vector<std::string> files = {output};
    const std::string path = resolveLinks(output);
    // A neighbour's alignment is no companion of the output alone.
    if (isScan(path) && neighbours(path).empty())
        files.push_back(companionForWriting(path, ".alg"));
    if (isCL3(path)) files.push_back(companionForWriting(path, ".ij"));
    for (const std::string& file : files) {
        if (!isThere(file)) continue;
        throw Failure(ExitCode::NotWritten,
                      file + ": is there already; choose another output or give --overwrite");
    }
}

StagedScan::StagedScan(const std::string& finalPath, const StagedScan* sibling)
    : m_finalPath(resolveLinks(finalPath)) {
    requireReplaceable(m_finalPath);
    requireOwnIndex();
    const bool created = m_output.create(m_finalPath, StagedOutput::Companions::ByExtension,
                                         sibling ? &sibling->m_output : nullptr);
    if (!created) failWithErrno(m_finalPath);
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
    const std::string algPath = companionForWriting(m_finalPath, ".alg");
    const Alignment theirs = alignmentIn(algPath);
    if (theirs.source != AlignmentSource::Unreadable &&
        std::equal(std::begin(matrix), std::end(matrix), std::begin(theirs.matrix))) {
        return;
    }
    fail(m_finalPath,
         others.front() + " shares " + algPath + " and has another alignment; choose another name");
}

void StagedScan::commit() {
    if (isScan(m_finalPath)) {
        requireAlignment(alignmentIn(companion(".alg")).matrix);
        // A neighbour has the same alignment, or requireAlignment would have thrown: its file stays.
        const bool isShared =
            !neighbours(m_finalPath).empty() && isThere(companionForWriting(m_finalPath, ".alg"));
        if (isShared) m_output.leaveAlignment();
    }
    if (!m_output.sync(throwIfInterrupted)) failWithErrno(m_finalPath);
    if (m_output.publish()) return;
    const std::string reason = std::strerror(errno), kept = m_output.keptIn();
    const std::string place = m_output.failedAt().empty() ? m_finalPath : m_output.failedAt();
    fail(place, kept.empty()
                    ? reason
                    : reason + "; what was there before could not be put back and is in " + kept);
}

}  // namespace brisko::tool
