#include "scan/files/named_output.h"
#include "scan/formats/las/las_encoder.h"
#include "scan/formats/las/las_file.h"
#include "scan/formats/point_pieces.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/alignment.h>
#include <brisko_codec/version.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <vector>

namespace brisko::scan {
namespace {

LasCells cellsOf(const OutputTarget& target) {
    constexpr std::uint32_t kNarrow = 1 << 16;
    if (target.columns == 0 || target.rows == 0) return LasCells::None;
    return target.columns <= kNarrow && target.rows <= kNarrow ? LasCells::Narrow : LasCells::Wide;
}

bool isVersion14(const OutputTarget& target) {
    if (target.formVersion == "1.4") return true;
    if (target.formVersion.empty() || target.formVersion == "1.2") return false;
    throw ScanError(ErrorKind::Request, target.shownPath,
                    "version " + target.formVersion + " of LAS is not written", "1.2 and 1.4 are");
}

double precisionOf(const OutputTarget& target) {
    constexpr double kUsual = 0.0001, kFinest = 1e-12, kCoarsest = 1e6;  // metres
    if (target.precision == 0) return kUsual;
    if (target.precision >= kFinest && target.precision <= kCoarsest) return target.precision;
    throw ScanError(ErrorKind::Request, target.shownPath,
                    "coordinates cannot be rounded to that precision");
}

LasForm formOf(const OutputTarget& target) {
    const std::uint8_t plain = isVersion14(target) ? kFirstWideFormat : 0;
    const int coloured = isVersion14(target) ? 1 : 2;  // formats later
    return {.pointFormat = static_cast<std::uint8_t>(plain + (target.withColour ? coloured : 0)),
            .cells = cellsOf(target),
            .columns = target.columns,
            .rows = target.rows,
            .precision = precisionOf(target)};
}

void setDate(LasHeader& header) {
    using namespace std::chrono;
    const sys_days today = floor<days>(system_clock::now());
    const year_month_day date(today);
    const sys_days newYear = date.year() / January / 1;
    header.day = static_cast<std::uint16_t>((today - newYear).count() + 1);
    header.year = static_cast<std::uint16_t>(static_cast<int>(date.year()));
}

/// A LAS file with one cloud. The points are aligned ones, as other programs expect: LAS has no place for
/// a pose. Our own record keeps it.
class LasOutput : public ScanOutput {
public:
    explicit LasOutput(const OutputTarget& target)
        : m_target(target),
          m_isVersion14(isVersion14(target)),
          m_form(formOf(target)),
          m_encoder(m_form, target.shownPath),
          m_moves(target.matrix != kIdentityMatrix),
          m_matrix(target.matrix),
          m_file(target.path, target.shownPath),
          m_pieces(
              kPiecePoints, [this](Piece& piece) { encode(piece); },
              [this](const Piece& piece) { deliver(piece); }) {
        if (target.station > 0) m_encoder.setStation(target.station);
        m_file.write(textOf(headBytes()));
    }

    void nextScan(const OutputTarget& target) override {
        m_pieces.finish();
        m_encoder.setStation(target.station);
    }

    void write(std::span<const CellPoint> points) override {
        if (m_hasOffset) {
            m_pieces.write(points);
            return;
        }
        m_encoder.chooseOffset(m_moves ? aligned(points) : points);
        m_pieces.write(points);
        m_pieces.finish();
        m_hasOffset = m_points > 0;
    }

    void take(std::vector<CellPoint>& points) override {
        if (m_hasOffset) {
            m_pieces.take(points);
        } else {
            write(points);
        }
    }

    void settle() override { m_pieces.finish(); }

    void finish() override {
        m_pieces.finish();
        m_file.overwrite(0, textOf(headBytes()));
        m_file.close();
        if (m_tally.beyondScale == 0) return;
        m_remark = countOf(m_tally.beyondScale, "point") +
                   " with an intensity that is not from 0 to 2200 got the nearest that is";
    }

private:
    using Piece = PointPiece<LasTally>;

    static std::string_view textOf(const std::vector<std::uint8_t>& bytes) {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    std::span<const CellPoint> aligned(std::span<const CellPoint> points) {
        m_first.assign(points.begin(), points.end());
        align(m_first);
        return m_first;
    }

    void align(std::span<CellPoint> points) const {
        for (CellPoint& point : points)
            m_matrix.apply(point.x, point.y, point.z);
    }

    void encode(Piece& piece) const {
        if (m_moves) {
            if (piece.own.empty()) piece.own.assign(piece.points.begin(), piece.points.end());
            align(piece.own);
            piece.points = piece.own;
        }
        const std::size_t room = piece.points.size() * m_form.recordSize();
        if (piece.bytes.size() < room) piece.bytes.resize(room);
        m_encoder.encode(piece.points, piece.bytes.data(), piece.tally);
    }

    void deliver(const Piece& piece) {
        m_file.write(piece.bytes.data(),
                     static_cast<std::size_t>(piece.tally.points) * m_form.recordSize());
        m_tally.append(piece.tally);
        m_points = m_tally.points;
        m_coloured = m_tally.coloured;
        m_leftOut = m_tally.leftOut;
        if (!m_isVersion14 && m_points > std::numeric_limits<std::uint32_t>::max()) failCount();
    }

    [[noreturn]] void failCount() const {
        throw ScanError(ErrorKind::NotWritten, m_target.shownPath,
                        "LAS 1.2 has room for 4294967295 points, and there are more",
                        "--las-version 1.4 has room for them");
    }

    /// Header and records, of the same length with and without points.
    std::vector<std::uint8_t> headBytes() const {
        LasHeader header = makeHeader();
        const std::vector<std::uint8_t> records = makeRecords(header.records);
        header.pointOffset = static_cast<std::uint32_t>(header.headerSize + records.size());
        std::vector<std::uint8_t> bytes = encodeLasHeader(header);
        bytes.insert(bytes.end(), records.begin(), records.end());
        return bytes;
    }

    LasHeader makeHeader() const {
        LasHeader header;
        header.sourceId = kLasStation;
        header.minor = m_isVersion14 ? 4 : 2;
        header.encoding = m_isVersion14 ? kWktBit : 0;
        header.headerSize = m_isVersion14 ? las_header::kSize14 : las_header::kSize12;
        header.system = header.software = LasFile::kSoftware + briskoCodecVersion();
        setDate(header);
        header.pointFormat = m_form.pointFormat;
        header.pointSize = static_cast<std::uint16_t>(m_form.recordSize());
        header.scale.fill(m_form.precision);
        header.offset = m_encoder.offset();
        header.count = header.returns[0] = m_points;
        if (m_points == 0) return header;
        header.min = m_encoder.toMetres(m_tally.min);
        header.max = m_encoder.toMetres(m_tally.max);
        return header;
    }

    /// count: becomes how many they are.
    std::vector<std::uint8_t> makeRecords(std::uint32_t& count) const {
        std::vector<std::uint8_t> records;
        LasScanRecord scan;
        scan.name = m_target.name;
        // Readers of ours take the points back by it.
        if (inverseOf(m_target.matrix)) scan.matrix = m_target.matrix;
        scan.wholeIntensities = m_tally.hasWholeIntensities;
        count = 1;
        if (m_form.cells != LasCells::None) {
            // Several stations share their cells; only one has a grid.
            if (m_target.station == 0) {
                scan.columns = m_form.columns;
                scan.rows = m_form.rows;
                scan.bandColumns = m_tally.order.bandColumns();
            }
            const std::uint8_t type = m_form.cells == LasCells::Narrow ? kLasU16 : kLasU32;
            const LasField fields[] = {{.name = "column", .type = type},
                                       {.name = "row", .type = type}};
            appendLasRecord(records, {kLasSpecUser, kLasExtraBytesId, 0, "extra bytes"},
                            encodeLasFields(fields));
            ++count;
        }
        appendLasRecord(records, {kLasScanUser, kLasScanId, 0, "scan"}, encodeLasScan(scan));
        return records;
    }

    OutputTarget m_target;
    bool m_isVersion14;
    LasForm m_form;
    LasEncoder m_encoder;
    bool m_moves;  // the points, by a matrix
    AlignmentMatrix m_matrix;
    NamedOutput m_file;
    bool m_hasOffset = false;
    std::vector<CellPoint> m_first;  // that choose it
    LasTally m_tally;
    PointPieces<Piece> m_pieces;
};

}  // namespace

std::unique_ptr<ScanOutput> createLasOutput(const OutputTarget& target) {
    return std::make_unique<LasOutput>(target);
}

}  // namespace brisko::scan
