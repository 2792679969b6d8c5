#pragma once

#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>

#include <memory>
#include <string>

namespace brisko::scan {

/// Throws ScanError(NotWritten) where an output, or a companion of an output, is there already and may
/// not be replaced. Asked before any work.
BRISKO_SCAN_EXPORT void requireNew(const std::string& output, bool mayOverwrite);

/// Throws ScanError(Request) where an input and an output are one file.
BRISKO_SCAN_EXPORT void requireDistinct(const std::string& input, const std::string& output);

/// An output that appears under its name when it is complete and commit() puts it in place, or not at
/// all: destruction without it leaves nothing. Scans (.cl3, .clr) bring companions with them, other
/// files do not. It is written in a private folder beside its place.
class BRISKO_SCAN_EXPORT StagedScan {
public:
    /// finalPath: the output, for example "out/scan.cl3". A symbolic link is followed.
    /// sibling: another output, whose private folder serves for both where they lie in one folder.
    /// Throws ScanError(NotWritten) when the folder is missing or not writable, or something other
    /// than a writable file has that name.
    explicit StagedScan(const std::string& finalPath, const StagedScan* sibling = nullptr);
    ~StagedScan();
    StagedScan(const StagedScan&) = delete;
    StagedScan& operator=(const StagedScan&) = delete;

    /// Where to write the file itself: the same extension, so that writers put their companions
    /// beside it under the names that companion() answers.
    const std::string& path() const;
    /// Where a companion is written: extension ".ij" or ".alg".
    std::string companion(const std::string& extension) const;

    /// Asks early whether commit() could put a scan with this alignment in place: scan.cl3 and
    /// scan.clr share scan.alg, and a scan never changes the alignment of its neighbour.
    /// Throws ScanError(NotWritten) when it could not.
    void requireAlignment(const double (&matrix)[16]) const;

    /// Flushes what was written to the disk and puts it in place. An older ".ij" or ".alg" of the
    /// output that the new scan does not have is removed, unless it belongs to a neighbour as well.
    /// Throws ScanError: NotWritten when that fails; the older files are then as they were; Cancelled
    /// where `progress` answers false before the first file is put in place.
    void commit(const ProgressFunction& progress = {});

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace brisko::scan
