#pragma once

#include "base/bytes.h"
#include "base/checked.h"
#include "scan/files/input_file.h"
#include "scan/formats/las/las_file.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/scan_info.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace brisko::scan {

/// Native scans have points up to the end of the last band of 256 columns, or rows.
inline std::uint64_t wholeLasBands(std::uint32_t cells) {
    constexpr std::uint32_t kBand = 256;
    return divideRoundingUp(cells, kBand) * kBand;
}

/// A column or row in a point record, of 16 or 32 bits without a question for each point: four bytes and a
/// mask. Bytes after the last record may be looked at (ByteStream::kSlack).
class LasCellNumber {
public:
    /// field: null where there is none; the number means nothing then.
    explicit LasCellNumber(const LasField* field)
        : m_offset(field ? field->offset : 0),
          m_mask(field && field->type == kLasU16 ? 0xffff : 0xffffffff) {}
    std::uint32_t of(const std::uint8_t* record) const {
        return loadU32(record + m_offset) & m_mask;
    }

private:
    std::size_t m_offset;
    std::uint32_t m_mask;
};

/// The point records of a file, in large blocks, with the memory of one.
class LasRecords {
public:
    explicit LasRecords(const LasFile& file);

    /// The next records, one after the other; at most `most` of them. They stay until the next call.
    /// Returns: how many; 0 at the end of the points.
    std::size_t next(const std::uint8_t*& records, std::uint64_t most);
    std::uint64_t done() const { return m_done; }

private:
    const LasFile& m_file;
    ByteStream m_stream;
    std::uint64_t m_done = 0;
};

/// What the points themselves show of what the header leaves open.
struct LasSurvey {
    std::uint16_t largestColour = 0;
    std::uint32_t largestColumn = 0, largestRow = 0;
    bool byColumn = true;  // columns never fall
    bool byBand = true;    // nor do bands of 256 columns
};

/// Looks at the colours of all points, up to one that settles that they have 16 bits, and at all cells.
LasSurvey surveyLas(const LasFile& file, bool colours, bool cells);

/// What the numbers of a point record stand for.
struct LasScaling {
    double intensityFactor = 0, intensityShift = 0;  // to 0 to 2200
    bool wholeIntensities = false;
    unsigned colourShift = 0;  // to the right, down to 8 bits
};

/// intensities: those of the file that become 0 and 2200; empty: what the file itself says, or all of
/// 16 bits. Throws ScanError(Request) for a range that is none.
LasScaling lasScaling(const LasFile& file, const std::optional<IntensityRange>& intensities,
                      std::uint16_t largestColour);

/// The largest numbers of some points; the intensity as the file has it.
struct LasLargest {
    std::uint16_t intensity = 0;
    std::uint32_t column = 0, row = 0;

    void widen(const LasLargest& more) {
        intensity = std::max(intensity, more.intensity);
        column = std::max(column, more.column);
        row = std::max(row, more.row);
    }
};

/// Turns the point records of a file into points. May be used by several threads at once.
class LasDecoder {
public:
    LasDecoder(const LasFile& file, const LasScaling& scaling);

    /// Colours are 0 where the format has none, cells where there are no fields for them.
    ///   in  the records; ByteStream::kSlack bytes after them may be looked at
    LasLargest decode(const std::uint8_t* in, std::span<CellPoint> points) const {
        return (this->*m_decode)(in, points);
    }

private:
    template <bool kColour, bool kCells>
    LasLargest decodeAll(const std::uint8_t* in, std::span<CellPoint> points) const;

    const LasFile& m_file;
    LasScaling m_scaling;
    LasLargest (LasDecoder::*m_decode)(const std::uint8_t* in, std::span<CellPoint> points) const;
};

}  // namespace brisko::scan
