#pragma once

#include "scan/formats/e57/record_stream.h"

#include <brisko_codec/cell_reader.h>

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

    /// Replaces the points by the next ones, at most `most`; none at the end of the scan.
    /// Throws ScanError(Damaged).
    void read(std::vector<CellPoint>& points, std::size_t most);

    std::uint64_t recordsDone() const { return m_stream->done(); }
    /// Records passed over because a number of theirs is not finite.
    std::uint64_t notFinite() const { return m_notFinite; }

private:
    using Place = std::optional<std::size_t>;  // a column of the stream, where the scan has it

    /// (value - minimum) * factor.
    struct Scale {
        double minimum = 0;
        double factor = 1;
    };

    Place want(const char* field);
    void wantCoordinates(const std::string& path);
    Scale scaleTo(double full, std::size_t column,
                  const std::optional<IntensityRange>& limits) const;
    bool areWholeBytes() const;

    void readCoordinates(CellPoint* points) const;
    void readIntensities(CellPoint* points) const;
    void readColours(CellPoint* points) const;
    void readCells(CellPoint* points);
    void markInvalid();
    void compact(std::vector<CellPoint>& points);
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
    bool m_bytesOfColour = false;  // colours are stored as 0 to 255
    std::optional<RecordStream> m_stream;
    std::vector<std::uint8_t> m_isInvalid;  // of the records at hand
    std::uint64_t m_notFinite = 0;
};

}  // namespace brisko::scan::e57
