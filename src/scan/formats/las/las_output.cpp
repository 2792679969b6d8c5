#include "base/bytes.h"
#include "scan/files/named_output.h"
#include "scan/formats/las/las_file.h"
#include "scan/formats/las/las_reader.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/alignment.h>
#include <brisko_codec/version.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <array>
#include <bit>
#include <chrono>
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <vector>

namespace brisko::scan {
namespace {

constexpr std::uint16_t kStation = 1;       // source of the points
constexpr double kUsualPrecision = 0.0001;  // metres
constexpr double kMostUnits = 2147483646;   // of the precision, from the offset

/// How columns and rows stand in a record.
enum class Cells { None, Narrow, Wide };

Cells cellsOf(const OutputTarget& target) {
    constexpr std::uint32_t kNarrow = 1 << 16;
    if (target.columns == 0 || target.rows == 0) return Cells::None;
    return target.columns <= kNarrow && target.rows <= kNarrow ? Cells::Narrow : Cells::Wide;
}

constexpr std::size_t widthOf(Cells cells) {
    return cells == Cells::None ? 0 : cells == Cells::Narrow ? 2 : 4;
}

bool isVersion14(const OutputTarget& target) {
    if (target.formVersion == "1.4") return true;
    if (target.formVersion.empty() || target.formVersion == "1.2") return false;
    throw ScanError(ErrorKind::Request, target.shownPath,
                    "version " + target.formVersion + " of LAS is not written", "1.2 and 1.4 are");
}

double precisionOf(const OutputTarget& target) {
    if (target.precision == 0) return kUsualPrecision;
    const double units = 1 / target.precision;
    if (target.precision > 0 && std::isfinite(units) && units > 0) return target.precision;
    throw ScanError(ErrorKind::Request, target.shownPath,
                    "coordinates cannot be rounded to that precision");
}

/// A whole number of metres near a coordinate: 0 for scans about their own scanner, so that their
/// decimals stay as they are, and never so far that it takes away from the range.
double offsetNear(double coordinate, double precision) {
    constexpr double kShare = 16;
    const double step =
        std::max(1.0, std::pow(10, std::floor(std::log10(kMostUnits * precision / kShare))));
    return std::round(coordinate / step) * step + 0.0;  // never -0
}

void setDate(LasHeader& header) {
    using namespace std::chrono;
    const sys_days today = floor<days>(system_clock::now());
    const year_month_day date(today);
    const sys_days newYear = date.year() / January / 1;
    header.day = static_cast<std::uint16_t>((today - newYear).count() + 1);
    header.year = static_cast<std::uint16_t>(static_cast<int>(date.year()));
}

/// Integers that the coordinates of all points became.
struct Extent {
    std::int32_t min[3], max[3];

    void add(std::size_t axis, std::int32_t value) {
        min[axis] = std::min(min[axis], value);
        max[axis] = std::max(max[axis], value);
    }
};
constexpr std::int32_t kLeast = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

/// The nearest whole number, for numbers that have one of 32 bits: after the addition it stands in the
/// low bits.
std::int32_t toNearest(double value) {
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + 0x1.8p52)));
}

/// A record of a single return of station 1; the rest is 0.
template <std::uint8_t kFormat>
constexpr auto emptyRecord() {
    constexpr bool kWide = kFormat >= kFirstWideFormat;
    std::array<std::uint8_t, kLasPointFormats[kFormat].size> record{};
    record[las_point::kReturns] = kWide ? 0x11 : 0x09;  // return 1 of 1
    record[kWide ? las_point::kSourceId6 : las_point::kSourceId] = kStation;
    return record;
}

/// A LAS file with one cloud. The points are aligned ones: LAS has no place for a pose.
class LasOutput : public ScanOutput {
public:
    explicit LasOutput(const OutputTarget& target)
        : m_target(target),
          m_isVersion14(isVersion14(target)),
          m_precision(precisionOf(target)),
          m_cells(cellsOf(target)),
          m_moves(target.matrix != kIdentityMatrix),
          m_file(target.path, target.shownPath) {
        m_header.pointFormat =
            static_cast<std::uint8_t>((m_isVersion14 ? kFirstWideFormat : 0) + colourStep());
        m_header.pointSize = static_cast<std::uint16_t>(
            kLasPointFormats[m_header.pointFormat].size + 2 * widthOf(m_cells));
        m_encode = chooseEncoder();
        m_file.write(textOf(headBytes()));
    }

    void write(std::span<const CellPoint> points) override {
        if (m_moves) points = align(points);
        if (m_points == 0) chooseOffset(points);
        const std::size_t size = m_header.pointSize;
        const std::size_t most = OutputFile::kReserve / size;
        while (!points.empty()) {
            const std::size_t count = std::min(points.size(), most);
            auto* const room = reinterpret_cast<std::uint8_t*>(m_file.reserve(count * size));
            const std::size_t stored = (this->*m_encode)(points.first(count), room);
            m_file.giveBack((count - stored) * size);
            m_points += stored;
            points = points.subspan(count);
        }
        m_file.require();
        if (!m_isVersion14 && m_points > std::numeric_limits<std::uint32_t>::max()) failCount();
    }

    void finish() override {
        completeHeader();
        m_file.overwrite(0, textOf(headBytes()));
        m_file.close();
        if (m_beyondScale == 0) return;
        m_remark = countOf(m_beyondScale, "point") +
                   " with an intensity that is not from 0 to 2200 got the nearest that is";
    }

private:
    using Encoder = std::size_t (LasOutput::*)(std::span<const CellPoint> points,
                                               std::uint8_t* out);

    static std::string_view textOf(const std::vector<std::uint8_t>& bytes) {
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }

    /// From a format to the one with colours.
    int colourStep() const { return m_target.withColour ? (m_isVersion14 ? 1 : 2) : 0; }

    Encoder chooseEncoder() const {
        switch (m_header.pointFormat) {
            case 0:
                return chooseCells<0>();
            case 2:
                return chooseCells<2>();
            case 6:
                return chooseCells<6>();
            default:
                return chooseCells<7>();
        }
    }
    template <std::uint8_t kFormat>
    Encoder chooseCells() const {
        if (m_cells == Cells::None) return &LasOutput::encode<kFormat, Cells::None>;
        return m_cells == Cells::Narrow ? &LasOutput::encode<kFormat, Cells::Narrow>
                                        : &LasOutput::encode<kFormat, Cells::Wide>;
    }

    std::span<const CellPoint> align(std::span<const CellPoint> points) {
        m_aligned.assign(points.begin(), points.end());
        const AlignmentMatrix matrix(m_target.matrix);
        for (CellPoint& point : m_aligned)
            matrix.apply(point.x, point.y, point.z);
        return m_aligned;
    }

    /// The first point that there is says where the cloud lies.
    void chooseOffset(std::span<const CellPoint> points) {
        const auto first = std::find_if(points.begin(), points.end(), [](const CellPoint& p) {
            return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
        });
        if (first == points.end()) return;
        m_header.offset = {offsetNear(first->x, m_precision), offsetNear(first->y, m_precision),
                           offsetNear(first->z, m_precision)};
    }

    /// Returns how many points were stored.
    template <std::uint8_t kFormat, Cells kCells>
    std::size_t encode(std::span<const CellPoint> points, std::uint8_t* out) {
        constexpr auto kEmpty = emptyRecord<kFormat>();
        constexpr std::size_t kColour = kLasPointFormats[kFormat].colour;
        constexpr std::size_t kSize = kEmpty.size() + 2 * widthOf(kCells);
        constexpr double kFullScale = 65535;
        constexpr float kLargestIntensity = 2200;
        const std::uint8_t* const begin = out;
        const double units = 1 / m_precision;
        const auto offset = m_header.offset;
        Extent extent = m_extent;
        std::uint64_t coloured = 0, beyondScale = 0;
        bool isWhole = m_isWhole;
        for (const CellPoint& p : points) {
            const double x = (p.x - offset[0]) * units, y = (p.y - offset[1]) * units,
                         z = (p.z - offset[2]) * units;
            // False also for what is not a number.
            const bool fits = std::abs(x) <= kMostUnits && std::abs(y) <= kMostUnits &&
                              std::abs(z) <= kMostUnits && std::isfinite(p.intensity);
            if (!fits || (kCells != Cells::None && !isInGrid(p))) [[unlikely]] {
                leaveOut(p);
                continue;
            }
            const std::int32_t place[] = {toNearest(x), toNearest(y), toNearest(z)};
            std::memcpy(out, kEmpty.data(), kEmpty.size());
            std::memcpy(out + las_point::kX, place, sizeof place);
            for (std::size_t axis = 0; axis < 3; ++axis)
                extent.add(axis, place[axis]);

            const float intensity = std::min(std::max(p.intensity, 0.0F), kLargestIntensity);
            beyondScale += intensity != p.intensity;
            isWhole &= static_cast<float>(static_cast<std::int32_t>(intensity)) == intensity;
            store(out + las_point::kIntensity,
                  static_cast<std::uint16_t>(static_cast<std::int32_t>(
                      static_cast<double>(intensity) * (kFullScale / kLargestIntensity) + 0.5)));
            if constexpr (kColour > 0) {
                constexpr unsigned kTo16Bits = 257;
                store(out + kColour, static_cast<std::uint16_t>(p.red * kTo16Bits));
                store(out + kColour + 2, static_cast<std::uint16_t>(p.green * kTo16Bits));
                store(out + kColour + 4, static_cast<std::uint16_t>(p.blue * kTo16Bits));
                coloured += (p.red | p.green | p.blue) != 0;
            }
            if constexpr (kCells == Cells::Narrow) {
                store(out + kEmpty.size(), static_cast<std::uint16_t>(p.column));
                store(out + kEmpty.size() + 2, static_cast<std::uint16_t>(p.row));
            } else if constexpr (kCells == Cells::Wide) {
                storeU32(out + kEmpty.size(), p.column);
                storeU32(out + kEmpty.size() + 4, p.row);
            }
            if constexpr (kCells != Cells::None) noteOrder(p.column);
            out += kSize;
        }
        m_extent = extent;
        m_isWhole = isWhole;
        m_coloured += coloured;
        m_beyondScale += beyondScale;
        return static_cast<std::size_t>(out - begin) / kSize;
    }

    bool isInGrid(const CellPoint& p) const { return p.column < m_columnEnd && p.row < m_rowEnd; }

    void noteOrder(std::uint32_t column) {
        constexpr std::uint32_t kBand = 256;  // columns
        m_byColumn &= column >= m_lastColumn;
        m_byBand &= column / kBand >= m_lastColumn / kBand;
        m_lastColumn = column;
    }

    void leaveOut(const CellPoint& p) {
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z) ||
            !std::isfinite(p.intensity)) {
            ++m_leftOut.notFinite;
        } else if (m_cells != Cells::None && !isInGrid(p)) {
            ++m_leftOut.outsideGrid;
        } else {
            throw ScanError(ErrorKind::NotWritten, m_target.shownPath,
                            "a point lies too far from the others for coordinates of 32 bits",
                            "a greater --precision has room for it, or --box leaves it out");
        }
    }

    [[noreturn]] void failCount() const {
        throw ScanError(ErrorKind::NotWritten, m_target.shownPath,
                        "LAS 1.2 has room for 4294967295 points, and there are more",
                        "--las-version 1.4 has room for them");
    }

    /// Header and records, of the same length with and without points.
    std::vector<std::uint8_t> headBytes() {
        std::vector<std::uint8_t> records;
        LasScanRecord scan;
        scan.name = m_target.name;
        scan.wholeIntensities = m_isWhole;
        std::vector<LasField> fields;
        m_header.records = 1;
        if (m_cells != Cells::None) {
            scan.columns = m_target.columns;
            scan.rows = m_target.rows;
            scan.bandColumns = m_byColumn ? 1 : m_byBand ? 256 : 0;
            const std::uint8_t type = m_cells == Cells::Narrow ? kLasU16 : kLasU32;
            fields = {{.name = "column", .type = type}, {.name = "row", .type = type}};
            appendLasRecord(records, {kLasSpecUser, kLasExtraBytesId, 0, "extra bytes"},
                            encodeLasFields(fields));
            ++m_header.records;
        }
        appendLasRecord(records, {kLasScanUser, kLasScanId, 0, "scan"}, encodeLasScan(scan));

        m_header.sourceId = kStation;
        m_header.minor = m_isVersion14 ? 4 : 2;
        m_header.encoding = m_isVersion14 ? kWktBit : 0;
        m_header.headerSize = m_isVersion14 ? las_header::kSize14 : las_header::kSize12;
        m_header.system = m_header.software = LasFile::kSoftware + briskoCodecVersion();
        m_header.scale.fill(m_precision);
        m_header.pointOffset = static_cast<std::uint32_t>(m_header.headerSize + records.size());
        std::vector<std::uint8_t> bytes = encodeLasHeader(m_header);
        bytes.insert(bytes.end(), records.begin(), records.end());
        return bytes;
    }

    void completeHeader() {
        setDate(m_header);
        m_header.count = m_header.returns[0] = m_points;
        if (m_points == 0) return;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            m_header.min[axis] = m_extent.min[axis] * m_precision + m_header.offset[axis];
            m_header.max[axis] = m_extent.max[axis] * m_precision + m_header.offset[axis];
        }
    }

    OutputTarget m_target;
    bool m_isVersion14;
    double m_precision;  // metres
    Cells m_cells;
    bool m_moves;  // the points, by a matrix
    // The padding of the last tiles can hold points, and scans do have some there.
    std::uint64_t m_columnEnd = wholeLasBands(m_target.columns);
    std::uint64_t m_rowEnd = wholeLasBands(m_target.rows);
    NamedOutput m_file;
    LasHeader m_header;
    Encoder m_encode = nullptr;
    std::vector<CellPoint> m_aligned;
    Extent m_extent{{kMost, kMost, kMost}, {kLeast, kLeast, kLeast}};
    bool m_isWhole = true;  // all intensities
    std::uint64_t m_beyondScale = 0;
    bool m_byColumn = true, m_byBand = true;
    std::uint32_t m_lastColumn = 0;
};

}  // namespace

std::unique_ptr<ScanOutput> createLasOutput(const OutputTarget& target) {
    return std::make_unique<LasOutput>(target);
}

}  // namespace brisko::scan
