#pragma once

#include "base/ordered_work.h"
#include "scan/formats/point_role.h"
#include "scan/formats/ptx/line_reader.h"
#include "scan/formats/scan_input.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan {

/// A list of points as text, one a line: "x y z", then an intensity, a colour from 0 to 255 and a normal, each
/// of which may be missing. Lines of comments and blank lines are passed over.
///
///   .pts  A line with the number of points comes first, and may come again before more of them.
///         Intensities from -2048 to 2047 become 0 to 2200, if no other range is given.
///   .xyz  No number of points. A line of names may come first; then they say what the columns are.
///         Commas or semicolons may separate the numbers. Intensities are taken as they are, if no range is given.
class PtsInput : public ScanInput {
public:
    PtsInput(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override;
    void rewind() final;
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_lines->size(); }
    const char* stepUnit() const override { return "bytes"; }
    std::string remark() const override;

private:
    /// Lines of points, blank ones and comments.
    struct Piece {
        LineStretch lines;
        std::vector<CellPoint> points;
        std::uint64_t missing = 0;  // lines without a point
        bool foreignIntensity = false;
    };

    bool nextLine(std::string_view& line);
    void takeCount(std::string_view line);
    void lookAtLines();
    bool takeNames();
    bool fetch(Piece& piece);
    std::size_t endOfPoints(const LineStretch& lines);
    void decode(Piece& piece) const;
    bool takePoint(std::string_view line, Piece& piece, CellPoint& point) const;
    bool takeIntensity(std::string_view& line, Piece& piece, float& intensity) const;
    bool isMissingReturn(std::string_view line) const;
    std::string_view separated(std::string_view line, std::string& room) const;
    [[noreturn]] void fail(std::uint64_t line, const std::string& reason) const;

    bool m_isCounted;
    std::optional<IntensityRange> m_intensities;
    bool m_isUsualRange;  // of PTS files
    std::unique_ptr<LineReader> m_lines;
    std::vector<Role> m_roles;  // of the numbers of a line
    std::string m_layout;       // the same for messages
    char m_separator = ' ';
    std::uint64_t m_left = 0;     // points of the announced ones that are not fetched
    std::string m_announced;      // "the 8 points of line 1"
    std::uint64_t m_missing = 0;  // lines without a point
    bool m_foreignIntensity = false;
    std::uint64_t m_done = 0;  // bytes
    PiecesAhead<Piece> m_pieces;
};

}  // namespace brisko::scan
