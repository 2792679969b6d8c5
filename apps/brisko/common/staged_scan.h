#pragma once

#include "base/staged_output.h"

#include <string>

namespace brisko::tool {

/// Throws Failure(NotWritten) where an output, or a companion of an output, is there already and may
/// not be replaced. Asked before any work.
void requireNew(const std::string& output, bool mayOverwrite);

/// Output of the tool: what is written appears when it is complete and commit() puts it in place
/// (base/staged_output.h); destruction without it leaves nothing. Scans (.cl3, .clr) bring companions
/// with them, other files do not.
class StagedScan {
public:
    /// finalPath: the output, for example "out/scan.cl3". A symbolic link is followed.
    /// sibling: another output, whose private folder serves for both where they lie in one folder.
    /// Throws Failure(NotWritten) when the folder is missing or not writable, or something other
    /// than a writable file has that name.
    explicit StagedScan(const std::string& finalPath, const StagedScan* sibling = nullptr);

    /// Where to write the file itself: the same extension, so that writers put their companions
    /// beside it under the names that companion() answers.
    const std::string& path() const { return m_output.path(); }
    /// Where a companion is written: extension ".ij" or ".alg".
    std::string companion(const std::string& extension) const {
        return m_output.companion(extension);
    }

    /// Asks early whether commit() could put a scan with this alignment in place: scan.cl3 and
    /// scan.clr share scan.alg, and a scan never changes the alignment of its neighbour.
    /// Throws Failure(NotWritten) when it could not.
    void requireAlignment(const double (&matrix)[16]) const;

    /// Flushes what was written to the disk and puts it in place. An older ".ij" or ".alg" of the
    /// output that the new scan does not have is removed, unless it belongs to a neighbour as well.
    /// Throws Failure(NotWritten) when that fails; the older files are then as they were.
    void commit();

private:
    void requireOwnIndex() const;

    std::string m_finalPath;
    StagedOutput m_output;
};

}  // namespace brisko::tool
