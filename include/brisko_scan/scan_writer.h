#pragma once

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/scan_info.h>

#include <cstddef>
#include <memory>
#include <string>

namespace brisko::scan {

struct WriteOptions {
    bool overwrite = false;  // an output that is there already
    bool plain = false;      // .cl3 without an index
};

/// Writes a scan of any format that is written. The output appears with commit(), or not at all.
/// Threads: one thread at a time per object.
class BRISKO_SCAN_EXPORT ScanWriter {
public:
    /// The extension of the path (UTF-8) chooses the format.
    ///   info  grid, alignment, header fields and whether there are colours; path and format do not count
    /// Throws ScanError: Request for a name that is not an output's or a format that needs a grid where
    /// there is none, NotWritten.
    static ScanWriter create(const std::string& path, const ScanInfo& info,
                             const WriteOptions& options = {});
    ScanWriter(ScanWriter&&) noexcept;
    ScanWriter& operator=(ScanWriter&&) noexcept;
    /// Without commit() nothing of the output remains.
    ~ScanWriter();

    /// Adds points, in the scanner's frame. They come by bands of info.bandColumns columns (1: column by
    /// column); without a grid in any order.
    /// Throws ScanError: Request for columns that come too late, NotWritten.
    void write(const CellPoint* points, std::size_t count);

    /// Completes the output, reads it back, and puts it in place.
    /// Returns: the number of points stored.
    /// Throws ScanError(NotWritten), Cancelled.
    std::uint64_t commit(const ProgressFunction& progress = {});

private:
    class State;
    explicit ScanWriter(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

}  // namespace brisko::scan
