#pragma once

#include "base/ordered_work.h"
#include "layouts/alignment_matrix.h"
#include "scan/formats/ptx/line_fields.h"
#include "scan/formats/ptx/line_reader.h"
#include "scan/formats/scan_input.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/inspect.h>
#include <brisko_scan/scan_error.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan {

/// What comes before the points of each scan of a PTX file.
///
///   line  1    columns
///   line  2    rows
///   line  3    position of the scanner: the translation of the matrix again
///   lines 4-6  the scanner's x, y and z axis: its rotation again
///   lines 7-10 the matrix, one of its columns a line; the translation is the last line
///
/// Then one line for every cell, column by column, row 0 first: x y z intensity, and red green blue
/// where the scan has colour. Metres in the scanner's frame; intensity from 0 to 1. An empty cell
/// is "0 0 0 0.5", with colour "0 0 0 0.5 0 0 0". So are our own files. Those of other programs may
/// hold several scans, one after the other, and comments; their lines may lack the intensity or hold
/// normals, and an empty cell may be "nan nan nan".
struct PtxHeader {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;
    /// Row by row, for column vectors: scanner's frame to aligned frame.
    Matrix matrix = kIdentityMatrix;
};

/// Something in a PTX file that does not fit the layout.
class PtxDamage : public ScanError {
public:
    /// line: where it is, from 1; 0 where it is in none.
    PtxDamage(const std::string& path, std::uint64_t line, const std::string& reason, bool isCell);

    std::uint64_t line() const { return m_line; }
    const std::string& reason() const { return m_reason; }
    /// Whether it is the line of a single cell, after which reading can go on.
    bool isCell() const { return m_isCell; }

private:
    std::uint64_t m_line;
    std::string m_reason;
    bool m_isCell;
};

/// What the lines of the cells of a scan hold.
struct PtxCells {
    LineFields fields;
    std::optional<IntensityRange> intensities;  // those that become 0 and 2200; none: 0 and 1
    std::uint32_t rows = 0;

    /// Takes the point of a line; its cell stays as it is. False: the line holds something else.
    bool take(std::string_view line, CellPoint& point) const;
    /// Whether a line says that its cell is empty: "nan nan nan", whatever the other fields hold.
    bool isMissingReturn(std::string_view line) const;
};

/// The lines of some cells.
struct PtxStretch {
    LineStretch lines;
    std::uint64_t firstCell = 0;  // counted from the first of the scan
    std::uint64_t cells = 0;
};

/// Replaces the points by those of the cells. Throws PtxDamage.
void decodePtx(const std::string& path, const PtxCells& cells, const PtxStretch& stretch,
               std::vector<CellPoint>& points);

/// Reads the scans of a PTX file, whatever its size, with the memory of one block.
/// Everything that does not fit the layout is a PtxDamage, a ScanError(Damaged) that names the line.
class PtxReader {
public:
    /// Opens the file and reads the header of its first scan.
    ///   intensities  those that become 0 and 2200; where it is not given, 0 and 1
    explicit PtxReader(const std::string& path, std::optional<IntensityRange> intensities = {});

    const PtxHeader& header() const { return m_header; }
    bool hasColour() const { return m_cells.fields.hasColour(); }
    const PtxCells& cellsAre() const { return m_cells; }

    /// Replaces the points by the next ones of the scan, at most `capacity`, column by column with rising
    /// rows; empty cells are passed over. Scanner's frame; intensity 0 to 2200, 0 where the file has
    /// none. No points: the scan is at its end, and the file's too or another scan follows. Where
    /// the line of a cell is damaged, `points` holds those before it, and the next call goes on with the
    /// next cell.
    void read(std::vector<CellPoint>& points, std::size_t capacity);
    /// Takes the next lines of the scan, to be decoded apart. False after the last cell.
    bool take(PtxStretch& stretch);
    /// Cells of the scan passed so far, with and without a point.
    std::uint64_t cells() const { return std::uint64_t{m_column} * m_header.rows + m_row; }

    /// Goes on with the header of the next scan, over what is left of this one. False where there is none.
    bool nextScan();
    /// After the last cell of a scan: whether another one follows.
    bool isNextScan();
    /// Whether the file is so large that there must be several scans, or more lines than cells. Few of
    /// the files with several do not show it.
    bool mustHoldMore() const { return m_mustHoldMore; }

    std::uint64_t bytesRead() const { return m_lines.position(); }
    std::uint64_t bytes() const { return m_lines.size(); }

private:
    void readHeader();
    void readCounts();
    void requireRoomForCells();
    void lookAtCells();
    bool readCell(CellPoint& point);
    void passCell();
    std::uint64_t cellsOfScan() const { return std::uint64_t{m_header.columns} * m_header.rows; }
    std::string_view nextLine(const char* what);
    std::uint32_t readCount(const char* what);
    void readNumbers(double* numbers, int count, const char* what);
    [[noreturn]] void failAtEnd(const char* what) const;
    [[noreturn]] void fail(const std::string& reason, bool isCell = false) const;

    LineReader m_lines;
    PtxCells m_cells;
    PtxHeader m_header;
    std::string m_countLines;  // "lines 1 and 2", where the header announces its grid
    bool m_mustHoldMore = false;
    std::uint32_t m_column = 0;  // of the next cell
    std::uint32_t m_row = 0;
};

/// A scan of a PTX file.
class PtxInput : public ScanInput {
public:
    PtxInput(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override;
    void rewind() final;
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_end; }
    const char* stepUnit() const override { return "bytes"; }
    std::string remark() const override;

private:
    struct Piece : PtxStretch {
        std::vector<CellPoint> points;
        bool foreignIntensity = false;
    };

    void choose();
    void decode(Piece& piece) const;

    ReadOptions m_options;
    std::size_t m_scan = 0;
    std::uint64_t m_done = 0, m_end = 0;  // bytes; the end is that of the scan in the file
    std::unique_ptr<PtxReader> m_reader;
    bool m_foreignIntensity = false;  // files of some programs hold other scales than 0 to 1
    PiecesAhead<Piece> m_pieces;
};

/// What the headers of its scans say and their first lines with a point.
ScanReport describePtx(const std::string& path);
std::vector<ScanEntry> listPtx(const std::string& path);

}  // namespace brisko::scan
