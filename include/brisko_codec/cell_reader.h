#pragma once

#include <brisko_codec/alignment.h>
#include <brisko_codec/export.h>

#include <cstddef>
#include <cstdint>
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

/// Answers single cells of an indexed CL3 scan by seeking, without reading the rest of it.
/// Memory: 8 bytes for every tile that was passed on the way to the last one asked for.
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
    void close();

    std::uint32_t columns() const;  // of the grid; 0 when closed
    std::uint32_t rows() const;
    /// Behind the last column that has entries: the padding of the last tiles may hold points too.
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

private:
    class BRISKO_CODEC_LOCAL State;
    std::unique_ptr<State> m_state;
};

}  // namespace brisko
