#pragma once

#include <string>
#include <vector>

namespace brisko::tool {

/// Output that appears only when it is complete. Files are written under temporary names in the
/// output's folder; commit() puts them in place, destruction without it removes them.
class StagedScan {
public:
    /// finalPath: the output, for example "out/scan.cl3".
    /// Throws Failure(NotWritten) when the folder is missing or not writable.
    explicit StagedScan(const std::string& finalPath);
    ~StagedScan();
    StagedScan(const StagedScan&) = delete;
    StagedScan& operator=(const StagedScan&) = delete;

    /// Where to write the file itself: the same extension, so that writers put their companions
    /// beside it under the names that companion() answers.
    const std::string& path() const { return m_path; }
    /// Where a companion is written: extension ".ij" or ".alg".
    std::string companion(const std::string& extension) const;

    /// Flushes what was written to the disk and renames it. An older index of the output goes first
    /// and the new one comes last, so that an index never stands beside a scan it does not describe.
    /// An older ".ij" or ".alg" of the output that the new scan does not have is removed.
    /// Throws Failure(NotWritten) when that fails.
    void commit();

private:
    std::string m_finalPath;
    std::string m_path;
    bool m_committed = false;
};

}  // namespace brisko::tool
