#include "scan/formats/ptx/number_text.h"
#include "scan/formats/ptx/plain_number.h"
#include "scan/formats/ptx/ptx_reader.h"

#include <algorithm>
#include <cstring>

namespace brisko::scan {
namespace {

bool takeColours(std::string_view& line, CellPoint& point) {
    return takeColour(line, point.red) && takeColour(line, point.green) &&
           takeColour(line, point.blue);
}

bool passNormal(std::string_view& line) {
    double ignored = 0;
    return takeNumber(line, ignored) && takeNumber(line, ignored) && takeNumber(line, ignored);
}

bool isPoint(const CellPoint& point) {
    return point.x != 0 || point.y != 0 || point.z != 0;
}

/// Lines as nearly all are: plain numbers with one blank between two of them.
class UsualLines {
public:
    explicit UsualLines(const PtxCells& cells)
        : m_hasColour(cells.fields.hasColour()),
          m_isUsual(cells.fields.hasIntensity && !cells.intensities &&
                    cells.fields.count == (m_hasColour ? 7 : 4)) {}

    /// Takes a line; returns what comes after it, null where the line is another one.
    const char* take(const char* in, CellPoint& point) const {
        if (!m_isUsual) return nullptr;
        double share = 0;
        in = takeField(in, point.x);
        if (in) in = takeField(in, point.y);
        if (in) in = takeField(in, point.z);
        if (!in) return nullptr;
        in = takePlain(in, share);
        if (!in || !fitsFullScale(share)) return nullptr;
        point.intensity = toFullScale(share);
        if (m_hasColour) {
            in = takeColourAfterBlank(in, point.red);
            if (in) in = takeColourAfterBlank(in, point.green);
            if (in) in = takeColourAfterBlank(in, point.blue);
            if (!in) return nullptr;
        }
        in += *in == '\r';
        return *in == '\n' ? in + 1 : nullptr;
    }

    /// An empty cell, as it is written nearly always; null where the line is another one.
    const char* passEmpty(const char* in) const {
        constexpr std::string_view kPlain = "0 0 0 0.5\n", kColoured = "0 0 0 0.5 0 0 0\n";
        if (!m_isUsual || *in != '0') return nullptr;
        const std::string_view empty = m_hasColour ? kColoured : kPlain;
        return std::memcmp(in, empty.data(), empty.size()) == 0 ? in + empty.size() : nullptr;
    }

private:
    static const char* takeField(const char* in, double& number) {
        in = takePlain(in, number);
        return in && *in == ' ' ? in + 1 : nullptr;
    }
    static const char* takeColourAfterBlank(const char* in, std::uint8_t& colour) {
        return *in == ' ' ? takePlainColour(in + 1, colour) : nullptr;
    }

    bool m_hasColour;
    bool m_isUsual;
};

}  // namespace

bool PtxCells::take(std::string_view line, CellPoint& point) const {
    double share = 0;
    bool fits = takeNumber(line, point.x) && takeNumber(line, point.y) && takeNumber(line, point.z);
    if (fields.hasIntensity) fits = fits && takeNumber(line, share);
    if (intensities) share = (share - intensities->min) / (intensities->max - intensities->min);
    fits = fits && fitsFullScale(share);
    for (int at = 4; fits && at < fields.count; at += 3)
        fits = at == fields.colourAt ? takeColours(line, point) : passNormal(line);
    point.intensity = toFullScale(share);
    return fits && isBlank(line);
}

bool PtxCells::isMissingReturn(std::string_view line) const {
    for (int i = 0; i < 3; ++i) {
        if (!isNan(takeWord(line))) return false;
    }
    int count = 3;
    while (!takeWord(line).empty())
        ++count;
    return count == fields.count;
}

void decodePtx(const std::string& path, const PtxCells& cells, const PtxStretch& stretch,
               std::vector<CellPoint>& points) {
    const std::string_view text = stretch.lines.text();
    const UsualLines usual(cells);
    auto column = static_cast<std::uint32_t>(stretch.firstCell / cells.rows);
    auto row = static_cast<std::uint32_t>(stretch.firstCell % cells.rows);
    points.resize(static_cast<std::size_t>(stretch.cells) + 1);
    CellPoint* out = points.data();
    const char* in = text.data();
    const char* const end = in + text.size();
    while (in < end) {
        const auto passCell = [&] {
            if (++row < cells.rows) return;
            row = 0;
            ++column;
        };
        if (const char* const next = usual.passEmpty(in); next && next <= end) {
            passCell();
            in = next;
            continue;
        }
        CellPoint& point = *out;
        point.column = column;
        point.row = row;
        point.red = point.green = point.blue = 0;
        if (const char* const next = usual.take(in, point); next && next <= end) {
            out += isPoint(point);
            passCell();
            in = next;
            continue;
        }
        const std::string_view rest(in, static_cast<std::size_t>(end - in));
        const std::string_view whole = rest.substr(0, rest.find('\n'));
        const std::string_view line = withoutCarriageReturn(whole);
        point.red = point.green = point.blue = 0;
        const bool fits = cells.take(line, point);
        if (!fits && !isComment(line) && !cells.isMissingReturn(line)) {
            const std::uint64_t before =
                stretch.lines.before +
                countLineEnds({text.data(), static_cast<std::size_t>(in - text.data())});
            throw PtxDamage(path, before + 1, "not " + std::string(nameOf(cells.fields)), true);
        }
        out += fits && isPoint(point);
        if (fits || !isComment(line)) passCell();
        in += std::min(whole.size() + 1, rest.size());
    }
    points.resize(static_cast<std::size_t>(out - points.data()));
}

}  // namespace brisko::scan
