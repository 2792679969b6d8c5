#include "scan/formats/las/las_input.h"

#include "base/text.h"
#include "scan/formats/point_pieces.h"

#include <brisko_codec/threads.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns

}  // namespace

LasInput::LasInput(const std::string& path, const ReadOptions& options)
    : m_file(path),
      m_isScaleKnown(options.intensities || m_file.isOurs()),
      m_records(path),
      m_pieces(
          jobThreads(), [this](Piece& piece) { return fetch(piece); },
          [this](Piece& piece) { decode(piece); }, kShortFilesAlone) {
    m_file.requireReadable();
    m_info.path = path;
    m_info.format = formatOf(path);
    m_info.recordsArePoints = true;
    m_info.records = m_file.header().count;
    m_info.storesColour = m_file.colourOffset() > 0;
    if (m_file.scanRecord()) m_info.name = m_file.scanRecord()->name;
    takePose();

    // Other programs leave it open how colours are scaled and how large the grid is.
    const bool isForeign = !m_file.isOurs();
    LasSurvey survey =
        surveyLas(m_file, isForeign && m_info.storesColour, isForeign && m_file.columnField());
    if (!isForeign) survey.largestColour = std::numeric_limits<std::uint16_t>::max();
    takeGrid(survey);
    m_decoder.emplace(m_file, lasScaling(m_file, options.intensities, survey.largestColour));
}

/// Points of our own files are aligned by a matrix that is kept, and can be taken back.
void LasInput::takePose() {
    if (!m_file.isOurs() || m_file.scanRecord()->matrix == kIdentityMatrix) return;
    const std::optional<Matrix> inverse = inverseOf(m_file.scanRecord()->matrix);
    if (!inverse) return;
    m_info.alignment = toAlignment(m_file.scanRecord()->matrix);
    m_toScanner = AlignmentMatrix(*inverse);
}

void LasInput::takeGrid(const LasSurvey& survey) {
    if (!m_file.columnField()) return;
    const auto& ours = m_file.scanRecord();
    if (ours) {
        m_info.columns = ours->columns;
        m_info.rows = ours->rows;
    } else if (m_info.records > 0) {
        // The largest number is nobody's cell; + 1 makes it 0.
        m_info.columns = survey.largestColumn + 1;
        m_info.rows = survey.largestRow + 1;
    }
    m_info.hasGrid = m_info.columns > 0 && m_info.rows > 0;
    if (!m_info.hasGrid) {
        m_info.columns = m_info.rows = 0;
        return;
    }
    bool byColumn = survey.byColumn, byBand = survey.byBand;
    if (m_file.isOurs()) {
        byColumn = ours->bandColumns == 1;
        byBand = ours->bandColumns == kBand;
    }
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    const auto anyOrder =
        static_cast<std::uint32_t>(std::min(wholeLasBands(m_info.columns), kMost));
    m_info.bandColumns = byColumn ? 1 : byBand ? kBand : anyOrder;
}

bool LasInput::fetch(Piece& piece) {
    constexpr std::size_t kMostBytes = 1 << 20;
    const std::size_t size = m_file.header().pointSize;
    const std::uint64_t most = std::clamp<std::size_t>(kMostBytes / size, 1, kPiecePoints);
    piece.first = m_fetched;
    piece.count = static_cast<std::size_t>(std::min(most, m_file.header().count - m_fetched));
    if (piece.count == 0) return false;
    const std::size_t bytes = piece.count * size;
    if (piece.bytes.size() < bytes + ByteStream::kSlack)
        piece.bytes.resize(bytes + ByteStream::kSlack);
    const std::uint64_t place = m_file.header().pointOffset + piece.first * size;
    if (!m_records.readAt(place, piece.bytes.data(), bytes)) {
        throw ScanError(ErrorKind::Damaged, m_info.path,
                        "cannot be read: it became shorter while it was read");
    }
    m_fetched += piece.count;
    return true;
}

void LasInput::decode(Piece& piece) const {
    piece.points.resize(piece.count);
    piece.largest = m_decoder->decode(piece.bytes.data(), piece.points);
    if (m_info.hasGrid && !isInGrid(piece.largest)) failOutside(piece);
    if (!m_toScanner) return;
    for (CellPoint& point : piece.points)
        m_toScanner->apply(point.x, point.y, point.z);
}

void LasInput::read(std::vector<CellPoint>& points) {
    Piece* const piece = m_pieces.next();
    if (!piece) {
        points.clear();
        return;
    }
    points.swap(piece->points);
    m_done += piece->count;
    m_largest.widen(piece->largest);
}

void LasInput::rewind() {
    m_pieces.rewind();
    m_done = m_fetched = 0;
}

bool LasInput::isInGrid(const LasLargest& largest) const {
    return largest.column < wholeLasBands(m_info.columns) &&
           largest.row < wholeLasBands(m_info.rows);
}

void LasInput::failOutside(const Piece& piece) const {
    const auto first = std::find_if(
        piece.points.begin(), piece.points.end(),
        [this](const CellPoint& p) { return !isInGrid({.column = p.column, .row = p.row}); });
    const std::uint64_t place =
        piece.first + static_cast<std::uint64_t>(first - piece.points.begin());
    const std::uint64_t end = std::min((place / kBatch + 1) * kBatch, m_file.header().count);
    throw ScanError(ErrorKind::Damaged, m_info.path,
                    "a point among the first " + std::to_string(end) +
                        " lies outside the grid of " + std::to_string(m_info.columns) + " x " +
                        std::to_string(m_info.rows) + " cells");
}

std::string LasInput::remark() const {
    constexpr std::uint16_t kFew = 4096;  // a sixteenth of what there is room for
    const std::uint16_t largest = m_largest.intensity;
    if (m_isScaleKnown || largest == 0 || largest >= kFew) return {};
    const std::string text = std::to_string(largest);
    return "its intensities end at " + text + " of 65535; --intensity-range 0:" + text +
           " takes these for all there are";
}

namespace {

std::string numbers(const std::array<double, 3>& values) {
    std::string text;
    for (const double value : values)
        text += formatText(text.empty() ? "%.12g" : " %.12g", value);
    return text;
}

std::string listOf(const std::vector<LasField>& fields) {
    std::string text;
    for (const LasField& field : fields) {
        text += (text.empty() ? "" : ", ") + field.name + " (" + std::to_string(field.size) +
                (field.size == 1 ? " byte)" : " bytes)");
    }
    return text;
}

std::string returnsOf(const LasHeader& header) {
    const auto last = std::find_if(header.returns.rbegin(), header.returns.rend(),
                                   [](std::uint64_t points) { return points > 0; });
    std::string text;
    for (auto it = header.returns.begin(); it != last.base(); ++it)
        text += (text.empty() ? "" : " ") + std::to_string(*it);
    return text.empty() ? "none" : text;
}

std::vector<std::pair<std::string, std::string>> detailsOf(const LasFile& file) {
    const LasHeader& h = file.header();
    const auto number = [](std::uint64_t n) { return std::to_string(n); };
    std::vector<std::pair<std::string, std::string>> details = {
        {"version", number(h.major) + "." + number(h.minor)},
        {"system", h.system},
        {"software", h.software},
        {"created", "day " + number(h.day) + " of " + number(h.year)},
        {"points", number(h.count) + " of format " + number(h.pointFormat & ~kCompressedBit) +
                       ", " + number(h.pointSize) + " bytes each"},
        {"by return", returnsOf(h)},
        {"scale", numbers(h.scale)},
        {"offset", numbers(h.offset)},
        {"least", numbers(h.min)},
        {"largest", numbers(h.max)},
        {"source id", number(h.sourceId)},
    };
    if (!file.problem().empty()) return details;
    details.emplace_back("vlrs",
                         number(file.recordsThere()) + (file.hasCoordinateSystem()
                                                            ? ", with a coordinate system"
                                                            : ", without a coordinate system"));
    if (!file.fields().empty()) details.emplace_back("extra", listOf(file.fields()));
    return details;
}

}  // namespace

ScanReport describeLas(const std::string& path) {
    const LasFile file(path);
    ScanReport report;
    report.path = path;
    report.format = formatOf(path);
    report.bytes = file.bytes();
    report.records = file.pointsThere();
    report.details = detailsOf(file);
    if (!file.problem().empty()) {
        report.problems.push_back(path + ": " + file.problem() +
                                  (file.advice().empty() ? "" : "; " + file.advice()));
        return report;
    }
    report.hasColour = file.colourOffset() > 0;
    const auto& ours = file.scanRecord();
    if (file.isOurs() && inverseOf(ours->matrix) && ours->matrix != kIdentityMatrix) {
        report.alignment = toAlignment(ours->matrix);
    }
    if (ours && file.columnField()) {
        report.columns = ours->columns;
        report.rows = ours->rows;
        report.hasGrid = ours->columns > 0 && ours->rows > 0;
    }
    return report;
}

}  // namespace brisko::scan
