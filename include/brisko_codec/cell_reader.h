#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/export.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace brisko {

/// A point of an indexed scan and its cell.
struct CellPoint {
    double x = 0, y = 0, z = 0;  // metres
    float intensity = 0;         // 0 to 2200
    std::uint8_t red = 0, green = 0, blue = 0;
    std::uint32_t column = 0, row = 0;
};

/// What was found in a cell.
enum class CellState {
    Point,    // a point
    Empty,    // no return was measured there, or the cell lies outside the grid
    Damaged,  // the index promises a point that the scan file does not hold
};

/// A part of the grid: columns firstColumn up to (not including) endColumn, rows likewise.
struct CellWindow {
    std::uint32_t firstColumn = 0, endColumn = 0;
    std::uint32_t firstRow = 0, endRow = 0;
};

/// Arrays of the caller that a window of cells is laid out in. The value of the window's column c and
/// row r, both from 0, lies c * columnStride + r * rowStride bytes after the array's start, for every
/// cell of the window; strides may be negative, and values need no alignment. A null array is not
/// wanted. A cell without a point gets the values of `empty`; `present` shows which they are.
struct CellArrays {
    struct Array {
        void* start = nullptr;
        std::ptrdiff_t columnStride = 0, rowStride = 0;  // bytes
    };
    Array positions;    // 3 doubles: x, y, z, metres
    Array intensities;  // 1 float: 0 to 2200
    Array colours;      // 3 bytes: red, green, blue; 0 where the scan has no colour
    Array present;      // 1 byte: 1 where the cell holds a point, else 0

    /// Of cells without a point.
    struct Empty {
        double coordinate = std::numeric_limits<double>::quiet_NaN();
        float intensity = 0;
        std::uint8_t colour = 0;
    } empty;
};

/// Where the tiles of an indexed scan lie. Finding that out takes a visit to each tile of the index; a
/// table can be kept, or handed to other readers of the same files, which then need none.
class BRISKO_CODEC_EXPORT CL3TileTable {
public:
    struct Tile {
        std::uint64_t scanOffset = 0;   // of the block's header in scan.cl3, bytes
        std::uint64_t indexOffset = 0;  // of the tile in scan.ij, bytes
        std::uint32_t points = 0;       // in the block
    };

    /// In the order of the files: down a column of tiles first. Empty in a new table.
    const std::vector<Tile>& tiles() const { return m_tiles; }

    /// The table as bytes: 4 for each tile and a few more. They mean the same on every machine.
    std::vector<std::uint8_t> toBytes() const;
    /// Takes a table over from such bytes. Returns: false, and changes nothing, when they are none.
    bool fromBytes(const std::uint8_t* bytes, std::size_t size);

private:
    friend class CL3CellReader;

    /// The files that the table is about.
    struct Files {
        std::uint64_t scanBytes = 0, indexBytes = 0;
        std::uint32_t columns = 0, rows = 0, tileSize = 0, recordSize = 0;
    };

    void add(std::uint32_t points);

    Files m_files;
    std::vector<Tile> m_tiles;
};

/// Answers single cells of an indexed CL3 scan by seeking, without reading the rest of it.
/// Memory: 24 bytes for every tile that was passed on the way to the last one asked for, and a few
/// megabytes for windows.
/// Threads: one thread at a time per object.
class BRISKO_CODEC_EXPORT CL3CellReader {
public:
    CL3CellReader();
    ~CL3CellReader();
    CL3CellReader(const CL3CellReader&) = delete;
    CL3CellReader& operator=(const CL3CellReader&) = delete;

    /// Opens scan.cl3 (UTF-8 path) with scan.ij and, where there is one, scan.alg.
    /// Returns: false when the scan or its index cannot be opened, the point format is not 0 or 1,
    ///          or the index has no usable tile size.
    bool open(const char* path);
    /// The same with a table of its tiles. Returns: false also when the table is not one of these files,
    /// as far as their sizes and headers show.
    bool open(const char* path, const CL3TileTable& tiles);
    void close();
    /// Fills a table with all tiles. Returns: false, with an empty table, when the index ends before its
    /// last tile or cannot be read.
    bool findTiles(CL3TileTable& tiles);

    std::uint32_t columns() const;  // of the grid; 0 when closed
    std::uint32_t rows() const;
    /// After the last column that has entries: the padding of the last tiles may hold points too.
    std::uint64_t endColumn() const;
    std::uint64_t endRow() const;
    const Alignment& alignment() const;

    /// Points are delivered aligned unless the scanner's frame is chosen here.
    void setFrame(Frame frame);

    /// The point of a cell. The point is untouched unless the answer is Point.
    CellState readCell(std::uint32_t column, std::uint32_t row, CellPoint& point);

    /// All points of a window, column by column, rows rising. Reads one tile's part at a time.
    ///   points  replaced; memory grows with the points found
    /// Returns: Point when every present cell was delivered, Empty when there was none, Damaged when
    ///          some cells were promised but could not be read (the others are delivered).
    CellState readWindow(const CellWindow& window, std::vector<CellPoint>& points);

    /// All cells of a window, into arrays with room for each of them: those outside of the grid and those
    /// that could not be read count as cells without a point. The fastest way to many cells.
    ///   pointCount  null or set to the number of points found
    /// Returns: as above.
    CellState readWindow(const CellWindow& window, const CellArrays& arrays,
                         std::uint64_t* pointCount = nullptr);

private:
    class BRISKO_CODEC_LOCAL State;
    std::unique_ptr<State> m_state;
};

}  // namespace brisko
