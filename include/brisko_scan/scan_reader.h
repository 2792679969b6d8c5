#pragma once

#include <brisko_codec/cell_reader.h>
#include <brisko_codec/point_batch.h>
#include <brisko_scan/export.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/scan_info.h>
#include <brisko_scan/tile_table.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace brisko::scan {

struct ReadOptions {
    Frame frame = Frame::Aligned;   // of the points
    bool colourFromPhotos = false;  // of a native scan: from the photos beside it
    /// One scan of a file with several: its number, from 1, or its name. Empty where the file has one.
    std::string scan = {};
    /// The file's intensities that become 0 and 2200; where it is not given, those that the format or
    /// the file itself names.
    std::optional<IntensityRange> intensities = {};
    /// The only columns that are wanted, of a scan with a grid. Points of others may come, too, where that
    /// costs nothing: an indexed CL3 scan is read from its first tile to its last one that holds such a
    /// column, a raw scan from the first of the columns; other formats take their whole pass. What is not
    /// read is not judged, but for the headers of blocks and tiles.
    std::optional<GridRange> columns = {};
    /// Of an indexed CL3 scan: its table, which saves the walk over the headers of blocks and tiles. One
    /// that is not of these files in their present state is refused (Request).
    std::shared_ptr<const TileTable> tiles = {};
    /// With colourFromPhotos: photos leave out points that their camera cannot see (color_codec.h). Opening
    /// and rewinding then make a pass over the whole scan, whatever the columns.
    bool hideOccluded = false;
    /// With colourFromPhotos: hears of that pass and is asked, with updates without a task, while photos
    /// are decoded. Where it answers false, open, rewind and readWindow throw ScanError(Cancelled).
    ProgressFunction progress = {};
};

/// Reads a scan of any format. Strict: damage is an error, never a short result.
/// Threads: one thread at a time per object, any thread; distinct objects are independent.
class BRISKO_SCAN_EXPORT ScanReader {
public:
    /// Opens a scan (UTF-8 path) and starts a pass. Its files are checked for completeness first.
    /// Throws ScanError: Request for a name that is not a scan's, Damaged.
    static ScanReader open(const std::string& path, const ReadOptions& options = {});
    ScanReader(ScanReader&&) noexcept;
    ScanReader& operator=(ScanReader&&) noexcept;
    ~ScanReader();

    const ScanInfo& info() const;

    /// Fills the arrays with the next points of the pass.
    /// Returns: how many, at most capacity; fewer than capacity only at the end of the scan.
    /// Throws ScanError(Damaged); what was filled in before is sound only when the pass comes to its end.
    std::size_t read(const PointArrays& arrays, std::size_t capacity);
    /// Starts again with the first point.
    void rewind();

    /// All cells of a window of the grid, as CL3CellReader::readWindow lays them out. An indexed CL3 scan
    /// is read by seeking; of other scans this takes a pass of its own, of raw ones over the window's
    /// columns. The pass of read() then starts again.
    /// Returns: the number of points found.
    /// Throws ScanError: Request for a scan without a grid or a window that is not inside it, Damaged.
    std::uint64_t readWindow(const CellWindow& window, const CellArrays& arrays);
    /// The same, asking `progress` all the while whether to go on, with updates without a task.
    /// Throws ScanError(Cancelled) where it answers false; the arrays are then filled in part.
    std::uint64_t readWindow(const CellWindow& window, const CellArrays& arrays,
                             const ProgressFunction& progress);

private:
    class State;
    explicit ScanReader(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

}  // namespace brisko::scan
