#include <brisko_scan/staged_scan.h>

#include "base/companion_path.h"
#include "base/file.h"
#include "base/staged_output.h"
#include "scan/files/scan_path.h"

#include <brisko_codec/alignment.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

namespace brisko::scan {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw ScanError(ErrorKind::NotWritten, path, "cannot be written: " + reason);
}

[[noreturn]] void failWithErrno(const std::string& path) {
    fail(path, std::strerror(errno));
}

bool isCL3(const std::string& path) {
    return hasExtension(path, ".cl3");
}

bool isScan(const std::string& path) {
    return isCL3(path) || hasExtension(path, ".clr");
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

void requireOwnIndex(const std::string& scan) {
    if (!isCL3(scan)) return;
    for (const std::string& other : neighbours(scan)) {
        if (!isCL3(other)) continue;
        fail(scan, other + " has the same index file; choose another name");
    }
}

}  // namespace

void requireDistinct(const std::string& input, const std::string& output) {
    std::error_code ignored;
    if (input != output && !fs::equivalent(input, output, ignored)) return;
    throw ScanError(ErrorKind::Request, output, "input and output are the same file");
}

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
        throw ScanError(ErrorKind::NotWritten, file, "is there already",
                        "choose another output or give --overwrite");
    }
}

struct StagedScan::State {
    std::string finalPath;
    StagedOutput output;
};

StagedScan::StagedScan(const std::string& finalPath, const StagedScan* sibling)
    : m_state(std::make_unique<State>()) {
    m_state->finalPath = resolveLinks(finalPath);
    requireReplaceable(m_state->finalPath);
    requireOwnIndex(m_state->finalPath);
    const bool created =
        m_state->output.create(m_state->finalPath, StagedOutput::Companions::ByExtension,
                               sibling ? &sibling->m_state->output : nullptr);
    if (!created) failWithErrno(m_state->finalPath);
}

StagedScan::~StagedScan() = default;

const std::string& StagedScan::path() const {
    return m_state->output.path();
}

std::string StagedScan::companion(const std::string& extension) const {
    return m_state->output.companion(extension);
}

void StagedScan::requireAlignment(const double (&matrix)[16]) const {
    const std::string& scan = m_state->finalPath;
    if (!isScan(scan)) return;
    const std::vector<std::string> others = neighbours(scan);
    if (others.empty()) return;
    const std::string algPath = companionForWriting(scan, ".alg");
    const Alignment theirs = alignmentIn(algPath);
    if (theirs.source != AlignmentSource::Unreadable &&
        std::equal(std::begin(matrix), std::end(matrix), std::begin(theirs.matrix))) {
        return;
    }
    fail(scan,
         others.front() + " shares " + algPath + " and has another alignment; choose another name");
}

void StagedScan::commit(const ProgressFunction& progress) {
    const std::string& scan = m_state->finalPath;
    StagedOutput& output = m_state->output;
    if (isScan(scan)) {
        requireAlignment(alignmentIn(companion(".alg")).matrix);
        // A neighbour has the same alignment, or requireAlignment would have thrown: its file stays.
        const bool isShared =
            !neighbours(scan).empty() && isThere(companionForWriting(scan, ".alg"));
        if (isShared) output.leaveAlignment();
    }
    if (!output.sync([&] { requireGoingOn(progress); })) failWithErrno(scan);
    if (output.publish()) return;
    const std::string reason = std::strerror(errno), kept = output.keptIn();
    const std::string place = output.failedAt().empty() ? scan : output.failedAt();
    fail(place, kept.empty()
                    ? reason
                    : reason + "; what was there before could not be put back and is in " + kept);
}

}  // namespace brisko::scan
