#include "scan/formats/las/las_encoder.h"

#include "base/bytes.h"
#include "scan/formats/las/las_reader.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace brisko::scan {
namespace {

constexpr double kMostUnits = 2147483646;  // of the precision, from the offset

/// A whole number of metres near a coordinate: 0 for scans about their own scanner, so that their
/// decimals stay as they are, and never so far that it takes away from the range.
double offsetNear(double coordinate, double precision) {
    constexpr double kShare = 16;
    const double step =
        std::max(1.0, std::pow(10, std::floor(std::log10(kMostUnits * precision / kShare))));
    return std::round(coordinate / step) * step + 0.0;  // never -0
}

/// The nearest whole number, for numbers that have one of 32 bits: after the addition it stands in the
/// low bits.
std::int32_t toNearest(double value) {
    return static_cast<std::int32_t>(
        static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value + 0x1.8p52)));
}

/// A record of a single return of a station; the rest is 0.
template <std::uint8_t kFormat>
auto emptyRecord(std::uint16_t station) {
    constexpr bool kWide = kFormat >= kFirstWideFormat;
    std::array<std::uint8_t, kLasPointFormats[kFormat].size> record{};
    record[las_point::kReturns] = kWide ? 0x11 : 0x09;  // return 1 of 1
    store(record.data() + (kWide ? las_point::kSourceId6 : las_point::kSourceId), station);
    return record;
}

}  // namespace

void LasTally::append(const LasTally& later) {
    if (later.points > 0) order.append(later.order, later.firstColumn);
    points += later.points;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        min[axis] = std::min(min[axis], later.min[axis]);
        max[axis] = std::max(max[axis], later.max[axis]);
    }
    hasWholeIntensities &= later.hasWholeIntensities;
    coloured += later.coloured;
    beyondScale += later.beyondScale;
    addTo(leftOut, later.leftOut);
}

LasEncoder::LasEncoder(const LasForm& form, const std::string& shownPath)
    : m_form(form),
      m_shownPath(shownPath),
      m_encode(chooseEncode(form)),
      m_columnEnd(wholeLasBands(form.columns)),
      m_rowEnd(wholeLasBands(form.rows)) {
}

template <std::uint8_t kFormat>
LasEncoder::Encode LasEncoder::chooseCells(LasCells cells) {
    if (cells == LasCells::None) return &LasEncoder::encodeAll<kFormat, LasCells::None>;
    return cells == LasCells::Narrow ? &LasEncoder::encodeAll<kFormat, LasCells::Narrow>
                                     : &LasEncoder::encodeAll<kFormat, LasCells::Wide>;
}

LasEncoder::Encode LasEncoder::chooseEncode(const LasForm& form) {
    switch (form.pointFormat) {
        case 0:
            return chooseCells<0>(form.cells);
        case 2:
            return chooseCells<2>(form.cells);
        case 6:
            return chooseCells<6>(form.cells);
        default:
            return chooseCells<7>(form.cells);
    }
}

void LasEncoder::chooseOffset(std::span<const CellPoint> points) {
    const auto first = std::find_if(points.begin(), points.end(), [](const CellPoint& p) {
        return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
    });
    if (first == points.end()) return;
    m_offset = {offsetNear(first->x, m_form.precision), offsetNear(first->y, m_form.precision),
                offsetNear(first->z, m_form.precision)};
}

template <std::uint8_t kFormat, LasCells kCells>
void LasEncoder::encodeAll(std::span<const CellPoint> points, std::uint8_t* out,
                           LasTally& tally) const {
    const auto empty = emptyRecord<kFormat>(m_station);
    constexpr std::size_t kEmptySize = kLasPointFormats[kFormat].size;
    constexpr std::size_t kColour = kLasPointFormats[kFormat].colour;
    constexpr std::size_t kSize = kEmptySize + 2 * widthOf(kCells);
    constexpr double kFullScale = 65535;
    constexpr float kLargestIntensity = 2200;
    const std::uint8_t* const begin = out;
    const double units = 1 / m_form.precision;
    const auto offset = m_offset;
    auto min = tally.min, max = tally.max;
    std::uint64_t coloured = 0, beyondScale = 0;
    bool isWhole = true;
    ColumnBands order;
    for (const CellPoint& p : points) {
        const double x = (p.x - offset[0]) * units, y = (p.y - offset[1]) * units,
                     z = (p.z - offset[2]) * units;
        // False also for what is not a number.
        const bool fits = std::abs(x) <= kMostUnits && std::abs(y) <= kMostUnits &&
                          std::abs(z) <= kMostUnits && std::isfinite(p.intensity);
        if (!fits || (kCells != LasCells::None && !isInGrid(p))) [[unlikely]] {
            leaveOut(p, tally.leftOut);
            continue;
        }
        std::memcpy(out, empty.data(), kEmptySize);
        // One by one: three in an array would be copied before they are stored.
        const auto put = [&](std::size_t axis, double value) {
            const std::int32_t place = toNearest(value);
            store(out + las_point::kX + axis * sizeof place, place);
            min[axis] = std::min(min[axis], place);
            max[axis] = std::max(max[axis], place);
        };
        put(0, x);
        put(1, y);
        put(2, z);

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
        if constexpr (kCells == LasCells::Narrow) {
            store(out + kEmptySize, static_cast<std::uint16_t>(p.column));
            store(out + kEmptySize + 2, static_cast<std::uint16_t>(p.row));
        } else if constexpr (kCells == LasCells::Wide) {
            storeU32(out + kEmptySize, p.column);
            storeU32(out + kEmptySize + 4, p.row);
        }
        if constexpr (kCells != LasCells::None) {
            if (out == begin) tally.firstColumn = p.column;
            order.add(p.column);
        }
        out += kSize;
    }
    tally.points = static_cast<std::size_t>(out - begin) / kSize;
    tally.min = min;
    tally.max = max;
    tally.hasWholeIntensities = isWhole;
    tally.coloured = coloured;
    tally.beyondScale = beyondScale;
    tally.order = order;
}

void LasEncoder::leaveOut(const CellPoint& p, LeftOut& leftOut) const {
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z) ||
        !std::isfinite(p.intensity)) {
        ++leftOut.notFinite;
    } else if (m_form.cells != LasCells::None && !isInGrid(p)) {
        ++leftOut.outsideGrid;
    } else {
        throw ScanError(ErrorKind::NotWritten, m_shownPath,
                        "a point lies too far from the others for coordinates of 32 bits",
                        "a greater --precision has room for it, or --box leaves it out");
    }
}

std::array<double, 3> LasEncoder::toMetres(const std::array<std::int32_t, 3>& place) const {
    return {place[0] * m_form.precision + m_offset[0], place[1] * m_form.precision + m_offset[1],
            place[2] * m_form.precision + m_offset[2]};
}

}  // namespace brisko::scan
