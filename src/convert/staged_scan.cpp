#include "convert/staged_scan.h"

#include "base/companion_path.h"
#include "base/file.h"

namespace brisko {

StagedScan::StagedScan(const std::string& output, const std::string& input) {
    if (resolveLinks(output) == resolveLinks(input) || isSameFile(output, input)) return;
    if (!m_scan.create(output)) return;
    const auto stage = [this](StagedFile& companion, const char* extension) {
        companion.adopt(companionForWriting(m_scan.path(), extension),
                        companionForWriting(m_scan.target(), extension));
    };
    stage(m_index, ".ij");
    stage(m_alignment, ".alg");
    const std::string inputAlignment = companionForReading(input, ".alg");
    m_sharesAlignment = m_alignment.target() == resolveLinks(inputAlignment) ||
                        isSameFile(m_alignment.target(), inputAlignment);
}

bool StagedScan::syncAll(const std::function<void()>& between) const {
    for (const StagedFile* file : {&m_scan, &m_index, &m_alignment}) {
        if (fileExists(file->path()) && !file->sync(between)) return false;
    }
    return true;
}

bool StagedScan::publishIfWritten(StagedFile& companion) {
    return !fileExists(companion.path()) || companion.publish();
}

bool StagedScan::commit(const std::function<void()>& between) {
    if (!isReady() || !syncAll(between)) return false;
    // The alignment of the input is the user's: an output that shares its ALG file has the same
    // alignment by that.
    if (m_sharesAlignment) m_alignment.discard();
    return removeFile(m_index.target()) && m_scan.publish() && publishIfWritten(m_alignment) &&
           publishIfWritten(m_index) && syncFolderOf(m_scan.target());
}

}  // namespace brisko
