#include "scan/formats/pts/pts_input.h"

#include "scan/files/scan_path.h"
#include "scan/formats/point_pieces.h"
#include "scan/formats/ptx/line_fields.h"
#include "scan/formats/ptx/number_text.h"

#include <brisko_codec/threads.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr IntensityRange kPtsIntensities{-2048, 2047};
constexpr std::uint64_t kShortestLine = 6;  // bytes: "0 0 0" and its end

bool isBlankCharacter(char c) {
    return c == ' ' || c == '\t';
}

bool has(const std::vector<Role>& roles, Role role) {
    return std::find(roles.begin(), roles.end(), role) != roles.end();
}

/// Semicolons before commas: where both are, a comma is a decimal one, which no number has.
char separatorOf(std::string_view line) {
    for (const char separator : {';', ','}) {
        if (line.find(separator) != std::string_view::npos) return separator;
    }
    return ' ';
}

std::vector<Role> rolesOf(const LineFields& fields) {
    std::vector<Role> roles = {Role::X, Role::Y, Role::Z};
    if (fields.hasIntensity) roles.push_back(Role::Intensity);
    while (static_cast<int>(roles.size()) < fields.count) {
        const bool isColour = static_cast<int>(roles.size()) == fields.colourAt;
        for (const Role role : {Role::Red, Role::Green, Role::Blue})
            roles.push_back(isColour ? role : Role::Other);
    }
    return roles;
}

}  // namespace

PtsInput::PtsInput(const std::string& path, const ReadOptions& options)
    : m_isCounted(hasExtension(path, ".pts")),
      m_intensities(options.intensities),
      m_isUsualRange(m_isCounted && !options.intensities),
      m_pieces(
          jobThreads(), [this](Piece& piece) { return fetch(piece); },
          [this](Piece& piece) { decode(piece); }, kShortFilesAlone) {
    if (m_isUsualRange) m_intensities = kPtsIntensities;
    m_info.path = path;
    m_info.format = formatOf(path);
    rewind();
    m_info.storesColour = has(m_roles, Role::Red);
}

void PtsInput::fail(std::uint64_t line, const std::string& reason) const {
    throw ScanError(ErrorKind::Damaged, m_info.path,
                    "line " + std::to_string(line) + ": " + reason);
}

void PtsInput::rewind() {
    m_pieces.rewind();
    m_lines = std::make_unique<LineReader>(m_info.path);
    m_left = m_missing = 0;
    if (m_isCounted) {
        std::string_view line;
        if (!nextLine(line)) {
            throw ScanError(ErrorKind::Damaged, m_info.path, "there is no number of points");
        }
        takeCount(line);
        m_info.records = m_left;
    }
    lookAtLines();
    m_done = m_lines->position();
}

/// The next line that is neither blank nor a comment.
bool PtsInput::nextLine(std::string_view& line) {
    do {
        if (!m_lines->next(line)) return false;
    } while (isBlank(line) || isComment(line));
    return true;
}

void PtsInput::takeCount(std::string_view line) {
    constexpr double kMost = 1e15;
    double count = 0;
    if (!takeNumber(line, count) || !isBlank(line) || count < 0 || count > kMost ||
        count != std::floor(count)) {
        fail(m_lines->number(),
             m_announced.empty() ? "not a number of points" : "more lines than " + m_announced);
    }
    m_left = static_cast<std::uint64_t>(count);
    m_announced =
        "the " + countOf(m_left, "point") + " of line " + std::to_string(m_lines->number());
    const std::uint64_t bytes = m_lines->size() - m_lines->position();
    if ((bytes + 1) / kShortestLine < m_left)
        fail(m_lines->number(), "the file is too short for " + m_announced);
}

void PtsInput::lookAtLines() {
    std::string_view line;
    do {
        if (!m_lines->peek(line)) return;  // no point at all
        if (!isBlank(line) && !isComment(line)) break;
    } while (m_lines->next(line));
    m_separator = m_isCounted ? ' ' : separatorOf(line);
    if (!m_isCounted && takeNames()) return;

    std::string ahead(m_lines->lookAhead());
    std::replace(ahead.begin(), ahead.end(), m_separator, ' ');
    std::size_t longest = 0;
    const LineFields fields = fieldsOf(ahead, longest);
    const int triples = fields.count / 3 - 1;
    if (triples < 0 || triples > 2 || fields.count % 3 == 2) {
        m_lines->next(line);
        fail(m_lines->number(), "not \"x y z\" with an intensity, a colour or both");
    }
    m_roles = rolesOf(fields);
    m_layout = nameOf(fields);
}

/// Takes a line with the names of the columns; false, and nothing taken, where it is a point's.
bool PtsInput::takeNames() {
    std::string_view line;
    m_lines->peek(line);
    std::string text(line);
    std::replace(text.begin(), text.end(), m_separator, ' ');
    std::string_view rest = text;
    double ignored = 0;
    if (takeNumber(rest, ignored) || isNan(takeWord(rest = text))) return false;
    rest = text;
    m_roles.clear();
    for (std::string_view word = takeWord(rest); !word.empty(); word = takeWord(rest)) {
        if (word.size() > 2 && word.front() == '"' && word.back() == '"') {
            word = word.substr(1, word.size() - 2);
        }
        const Role role = roleOf(word);
        const bool isUsed = role < Role::Column && !has(m_roles, role);
        m_roles.push_back(isUsed ? role : Role::Other);
    }
    m_lines->next(line);
    if (!has(m_roles, Role::X) || !has(m_roles, Role::Y) || !has(m_roles, Role::Z)) {
        fail(m_lines->number(), "neither numbers nor names with x, y and z");
    }
    m_layout = countOf(m_roles.size(), "number");
    return true;
}

/// A line with blanks in place of its separators. Empty where a number is missing between them, or where
/// blanks separate numbers, too: "1,5 2,5 3,5".
std::string_view PtsInput::separated(std::string_view line, std::string& room) const {
    if (m_separator == ' ') return line;
    room.reserve(line.size() + kPlainSlack);
    room.assign(line);
    bool isOpen = true;         // a number is expected
    bool isAfterBlank = false;  // a number ended with a blank
    for (char& c : room) {
        if (c == m_separator) {
            if (isOpen) return {};
            isOpen = true;
            isAfterBlank = false;
            c = ' ';
        } else if (isBlankCharacter(c)) {
            isAfterBlank = !isOpen;
        } else {
            if (isAfterBlank) return {};
            isOpen = false;
        }
    }
    return room;
}

bool PtsInput::takeIntensity(std::string_view& line, Piece& piece, float& intensity) const {
    double value = 0;
    if (!takeNumberInside(line, value)) return false;
    if (m_isUsualRange) {
        piece.foreignIntensity |= value < kPtsIntensities.min || value > kPtsIntensities.max ||
                                  value != std::floor(value);
    }
    if (m_intensities) {
        const double share =
            (value - m_intensities->min) / (m_intensities->max - m_intensities->min);
        if (!fitsFullScale(share)) return false;
        intensity = toFullScale(share);
        return true;
    }
    if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max())) return false;
    intensity = static_cast<float>(value);
    return true;
}

bool PtsInput::takePoint(std::string_view line, Piece& piece, CellPoint& point) const {
    const auto take = [&](Role role) {
        double ignored = 0;
        switch (role) {
            case Role::X:
                return takeNumberInside(line, point.x);
            case Role::Y:
                return takeNumberInside(line, point.y);
            case Role::Z:
                return takeNumberInside(line, point.z);
            case Role::Intensity:
                return takeIntensity(line, piece, point.intensity);
            case Role::Red:
                return takeColour(line, point.red);
            case Role::Green:
                return takeColour(line, point.green);
            case Role::Blue:
                return takeColour(line, point.blue);
            default:
                return takeNumberInside(line, ignored);
        }
    };
    return std::all_of(m_roles.begin(), m_roles.end(), take) && isBlank(line);
}

/// x, y and z are "nan", whatever the other numbers are.
bool PtsInput::isMissingReturn(std::string_view line) const {
    const auto fits = [&](Role role) {
        const std::string_view word = takeWord(line);
        return !word.empty() && (role > Role::Z || isNan(word));
    };
    return std::all_of(m_roles.begin(), m_roles.end(), fits) && isBlank(line);
}

/// Takes lines of points up to the end of those that are announced.
bool PtsInput::fetch(Piece& piece) {
    while (m_isCounted && m_left == 0) {
        std::string_view line;
        if (!nextLine(line)) return false;
        takeCount(line);
    }
    if (!m_lines->take(piece.lines)) {
        if (!m_isCounted) return false;
        throw ScanError(ErrorKind::Damaged, m_info.path,
                        "the file ends after line " + std::to_string(m_lines->number()) +
                            ", before the last of " + m_announced);
    }
    const std::size_t end = endOfPoints(piece.lines);
    if (end < piece.lines.size) m_lines->giveBack(piece.lines, end);
    return true;
}

/// Where the last of the announced points ends, or the stretch before it.
std::size_t PtsInput::endOfPoints(const LineStretch& lines) {
    const std::string_view text = lines.text();
    if (!m_isCounted) return text.size();
    std::size_t end = 0;
    while (end < text.size() && m_left > 0) {
        const std::size_t stop = std::min(text.find('\n', end), text.size());
        const std::string_view line = withoutCarriageReturn(text.substr(end, stop - end));
        m_left -= !isBlank(line) && !isComment(line);
        end = std::min(stop + 1, text.size());
    }
    return end;
}

void PtsInput::decode(Piece& piece) const {
    piece.points.clear();
    piece.missing = 0;
    piece.foreignIntensity = false;
    std::string_view text = piece.lines.text();
    std::string room;
    for (std::uint64_t number = piece.lines.before + 1; !text.empty(); ++number) {
        const std::size_t stop = std::min(text.find('\n'), text.size());
        std::string_view line = withoutCarriageReturn(text.substr(0, stop));
        text.remove_prefix(std::min(stop + 1, text.size()));
        if (isBlank(line) || isComment(line)) continue;
        line = separated(line, room);
        CellPoint& point = piece.points.emplace_back();
        if (takePoint(line, piece, point)) continue;
        if (!isMissingReturn(line)) fail(number, "not " + m_layout);
        ++piece.missing;
        piece.points.pop_back();
    }
}

void PtsInput::read(std::vector<CellPoint>& points) {
    points.clear();
    while (points.empty()) {
        Piece* const piece = m_pieces.next();
        if (!piece) return;
        points.swap(piece->points);
        m_done = piece->lines.end;
        m_missing += piece->missing;
        m_foreignIntensity |= piece->foreignIntensity;
    }
}

std::string PtsInput::remark() const {
    if (m_foreignIntensity) {
        return "some intensities are not whole numbers from -2048 to 2047; all were taken as of "
               "that "
               "range nevertheless";
    }
    if (m_missing == 0) return {};
    return countOf(m_missing, "line") + " without a point passed over";
}

}  // namespace brisko::scan
