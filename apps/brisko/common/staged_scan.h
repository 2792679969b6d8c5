#pragma once

#include <string>

namespace brisko::tool {

/// Output that appears only when it is complete. Files are written under temporary names in the
/// output's folder; commit() puts them in place, destruction without it removes them.
/// Works for any output: scans (.cl3, .clr) bring companions with them, other files do not.
class StagedScan {
public:
    /// finalPath: the output, for example "out/scan.cl3". A symbolic link is followed.
    /// Throws Failure(NotWritten) when the folder is missing or not writable, or something other
    /// than a writable file has that name.
    explicit StagedScan(const std::string& finalPath);
    ~StagedScan();
    StagedScan(const StagedScan&) = delete;
    StagedScan& operator=(const StagedScan&) = delete;

    /// Where to write the file itself: the same extension, so that writers put their companions
    /// beside it under the names that companion() answers.
    const std::string& path() const { return m_path; }
    /// Where a companion is written: extension ".ij" or ".alg".
    std::string companion(const std::string& extension) const;

    /// Asks early whether commit() could put a scan with this alignment in place: scan.cl3 and
    /// scan.clr share scan.alg, and a scan never changes the alignment of its neighbour.
    /// Throws Failure(NotWritten) when it could not.
    void requireAlignment(const double (&matrix)[16]) const;

    /// Flushes what was written to the disk and renames it. An older index of the output goes first
    /// and the new one comes last, so that an index never stands beside a scan it does not describe.
    /// An older ".ij" or ".alg" of the output that the new scan does not have is removed, unless it
    /// belongs to a neighbour as well.
    /// Throws Failure(NotWritten) when that fails.
    void commit();

private:
    void requireOwnIndex() const;
    void commitAlignment() const;

    std::string m_finalPath;
    bool m_hasCompanions;
    std::string m_path;
};

}  // namespace brisko::tool
