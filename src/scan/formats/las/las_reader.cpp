#include "scan/formats/las/las_reader.h"

#include <brisko_codec/codec.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint16_t kLargestByte = 255;
constexpr std::uint32_t kBand = 256;  // columns

std::uint16_t largestColour(const std::uint8_t* in, std::size_t count, std::size_t size) {
    std::uint16_t largest = 0;
    for (; count > 0; --count, in += size) {
        largest = std::max({largest, load<std::uint16_t>(in), load<std::uint16_t>(in + 2),
                            load<std::uint16_t>(in + 4)});
    }
    return largest;
}

}  // namespace

LasRecords::LasRecords(const LasFile& file) : m_file(file), m_stream(file.path()) {
    m_stream.seek(file.header().pointOffset);
}

std::size_t LasRecords::next(const std::uint8_t*& records, std::uint64_t most) {
    const std::uint64_t left = std::min(most, m_file.header().count - m_done);
    if (left == 0) return 0;
    const std::size_t size = m_file.header().pointSize;
    const auto bytes = m_stream.atLeast(size);
    const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size() / size, left));
    records = bytes.data();
    m_stream.seek(m_stream.offset() + count * size);
    m_done += count;
    return count;
}

LasSurvey surveyLas(const LasFile& file, bool colours, bool cells) {
    LasSurvey survey;
    const std::size_t size = file.header().pointSize;
    const LasCellNumber column(file.columnField()), row(file.rowField());
    std::uint32_t lastColumn = 0;
    LasRecords all(file);
    const std::uint8_t* records = nullptr;
    while (colours || cells) {
        const std::size_t count = all.next(records, file.header().count);
        if (count == 0) break;
        if (colours) {
            survey.largestColour = std::max(
                survey.largestColour, largestColour(records + file.colourOffset(), count, size));
            colours = survey.largestColour <= kLargestByte;
        }
        for (std::size_t i = 0; cells && i < count; ++i, records += size) {
            const std::uint32_t next = column.of(records);
            survey.byColumn &= next >= lastColumn;
            survey.byBand &= next / kBand >= lastColumn / kBand;
            lastColumn = next;
            survey.largestColumn = std::max(survey.largestColumn, next);
            survey.largestRow = std::max(survey.largestRow, row.of(records));
        }
    }
    return survey;
}

LasScaling lasScaling(const LasFile& file, const std::optional<IntensityRange>& intensities,
                      std::uint16_t largestColour) {
    constexpr double kLargest = 65535;
    const auto [min, max] = intensities.value_or(IntensityRange{0, kLargest});
    LasScaling scaling;
    scaling.intensityFactor = BriskoCodec::i_range / (max - min);
    scaling.intensityShift = -min * scaling.intensityFactor;
    const double most =
        std::abs(scaling.intensityFactor) * kLargest + std::abs(scaling.intensityShift);
    // False also for what is not a number.
    if (!(most < std::numeric_limits<float>::max())) {
        throw ScanError(ErrorKind::Request, file.path(),
                        "the intensities cannot be scaled by that range");
    }
    scaling.wholeIntensities = !intensities && file.isOurs() && file.scanRecord()->wholeIntensities;
    // 16 bits are 8 bits times 256, or times 257: the upper byte is exact for both.
    scaling.colourShift = largestColour > kLargestByte ? 8 : 0;
    return scaling;
}

LasDecoder::LasDecoder(const LasFile& file, const LasScaling& scaling)
    : m_file(file), m_scaling(scaling) {
    const bool hasColour = file.colourOffset() > 0;
    if (file.columnField()) {
        m_decode =
            hasColour ? &LasDecoder::decodeAll<true, true> : &LasDecoder::decodeAll<false, true>;
    } else {
        m_decode =
            hasColour ? &LasDecoder::decodeAll<true, false> : &LasDecoder::decodeAll<false, false>;
    }
}

template <bool kColour, bool kCells>
LasLargest LasDecoder::decodeAll(const std::uint8_t* in, std::span<CellPoint> points) const {
    const LasHeader& header = m_file.header();
    const std::size_t size = header.pointSize;
    const auto scale = header.scale, offset = header.offset;
    const double factor = m_scaling.intensityFactor, shift = m_scaling.intensityShift;
    // Added and taken away again, this rounds to a whole number; 0 leaves a number as it is.
    const double rounder = m_scaling.wholeIntensities ? 0x1.8p52 : 0;
    const std::size_t colour = m_file.colourOffset();
    const unsigned colourShift = m_scaling.colourShift;
    const LasCellNumber column(m_file.columnField()), row(m_file.rowField());
    LasLargest largest;
    const auto colourAt = [colourShift](const std::uint8_t* place) {
        return static_cast<std::uint8_t>(load<std::uint16_t>(place) >> colourShift);
    };
    // In place: a point put together elsewhere would be copied before its parts are stored.
    for (CellPoint& point : points) {
        point.x = loadI32(in + las_point::kX) * scale[0] + offset[0];
        point.y = loadI32(in + las_point::kY) * scale[1] + offset[1];
        point.z = loadI32(in + las_point::kZ) * scale[2] + offset[2];
        const auto intensity = load<std::uint16_t>(in + las_point::kIntensity);
        largest.intensity = std::max(largest.intensity, intensity);
        point.intensity = static_cast<float>((intensity * factor + shift + rounder) - rounder);
        if constexpr (kColour) {
            point.red = colourAt(in + colour);
            point.green = colourAt(in + colour + 2);
            point.blue = colourAt(in + colour + 4);
        }
        if constexpr (!kColour) point.red = point.green = point.blue = 0;
        if constexpr (!kCells) point.column = point.row = 0;
        if constexpr (kCells) {
            point.column = column.of(in);
            point.row = row.of(in);
            largest.column = std::max(largest.column, point.column);
            largest.row = std::max(largest.row, point.row);
        }
        in += size;
    }
    return largest;
}

}  // namespace brisko::scan
