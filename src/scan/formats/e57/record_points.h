#pragma once

#include "base/ordered_work.h"
#include "scan/formats/e57/record_source.h"

#include <brisko_codec/cell_reader.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// How the records of a scan become points.
struct PointRule {
    std::int64_t firstColumn = 0, firstRow = 0;  // of the file, which become 0
    bool hasGrid = false;
    std::uint32_t columns = 0, rows = 0;        // of the grid
    std::uint32_t bandColumns = 0;              // points come by bands of so many; 0: in any order
    std::optional<IntensityRange> intensities;  // of the file, which become 0 to 2200
};

/// The points of a scan: records that measured one, in the scan's own frame. Of the returns of a cell the
/// first is taken.
class RecordPoints {
public:
    /// Throws ScanError: Damaged for records without coordinates.
    RecordPoints(PageReader& pages, const Scan& scan, const PointRule& rule);

    /// Replaces the points by the next ones; none at the end of the scan. Throws ScanError(Damaged).
    void read(std::vector<CellPoint>& points);

    std::uint64_t recordsDone() const { return m_done; }
    /// Records passed over because a number of theirs is not finite.
    std::uint64_t notFinite() const { return m_notFinite; }

private:
    using Place = std::optional<std::size_t>;  // a column of the stream, where the scan has it

    /// (value - minimum) * factor.
    struct Scale {
        double minimum = 0;
        double factor = 1;
    };

    struct Piece : RecordPiece {
        std::vector<CellPoint> points;
        std::vector<std::uint8_t> isInvalid;  // of them
        std::uint32_t firstColumn = 0, lastColumn = 0;
        std::uint64_t notFinite = 0;
    };

    Place want(const char* field);
    void wantCoordinates(const std::string& path);
    Scale scaleTo(double full, std::size_t column,
                  const std::optional<IntensityRange>& limits) const;
    bool areWholeBytes() const;

    void decode(Piece& piece) const;
    void readCoordinates(const RecordColumns& records, CellPoint* points) const;
    void readIntensities(const RecordColumns& records, CellPoint* points) const;
    void readColours(const RecordColumns& records, CellPoint* points) const;
    void readCells(const RecordColumns& records, CellPoint* points, Piece& piece) const;
    bool follows(std::uint32_t column, std::uint32_t last) const {
        const std::uint32_t band = std::max(m_rule.bandColumns, 1U);
        return m_rule.bandColumns == 0 || column / band >= last / band;
    }
    void markInvalid(const RecordColumns& records, std::uint8_t* isInvalid) const;
    void compact(Piece& piece) const;
    [[noreturn]] void failOrder() const;
    [[noreturn]] void failDamaged(const std::string& reason) const;

    std::string m_path;
    const Scan& m_scan;
    PointRule m_rule;
    std::uint32_t m_lastColumn = 0;
    std::vector<std::size_t> m_fields;  // of the scan, one for each column of the stream
    Place m_coordinates[3], m_state, m_returnIndex;
    bool m_isSpherical = false;
    Place m_column, m_row;
    Place m_intensity, m_intensityState;
    Place m_colours[3], m_colourState;
    Scale m_intensityScale, m_colourScales[3];
    bool m_bytesOfColour = false;               // colours are stored as 0 to 255
    std::uint64_t m_done = 0, m_notFinite = 0;  // records
    std::optional<RecordSource> m_source;
    PiecesAhead<Piece> m_pieces;
};

}  // namespace brisko::scan::e57
