#include "convert/staged_scan.h"

#include "base/companion_path.h"
#include "base/file.h"

namespace brisko {

StagedScan::StagedScan(std::string output, const std::string& input)
    : m_output(resolvedPath(output)),
      m_inputAlignment(resolvedPath(companionForReading(input, ".alg"))) {
    if (m_output == resolvedPath(input) || !isReplaceable(m_output)) return;
    m_path = reserveBeside(m_output, ".cl3");
}

StagedScan::~StagedScan() {
    if (!isReady()) return;
    // What was put in place is no longer under these names.
    for (const std::string& name : {m_path, companion(".ij"), companion(".alg")})
        removeFile(name);
}

std::string StagedScan::companion(const std::string& extension) const {
    return companionForWriting(m_path, extension);
}

std::string StagedScan::finalCompanion(const std::string& extension) const {
    return companionForWriting(m_output, extension);
}

bool StagedScan::flushAll() const {
    for (const std::string& name : {m_path, companion(".ij"), companion(".alg")}) {
        if (fileExists(name) && !flushToDisk(name)) return false;
    }
    return true;
}

/// The alignment of the input is the user's: an output that shares its ALG file has the same
/// alignment by that.
bool StagedScan::commitAlignment() const {
    const std::string name = finalCompanion(".alg");
    if (!fileExists(companion(".alg")) || resolvedPath(name) == m_inputAlignment) return true;
    return isReplaceable(name) && renameFile(companion(".alg"), name);
}

bool StagedScan::commitIndex() const {
    return !fileExists(companion(".ij")) || renameFile(companion(".ij"), finalCompanion(".ij"));
}

bool StagedScan::commit() {
    if (!isReady() || !flushAll()) return false;
    return removeFile(finalCompanion(".ij")) && renameFile(m_path, m_output) && commitAlignment() &&
           commitIndex() && flushToDisk(folderOf(m_output));
}

}  // namespace brisko
