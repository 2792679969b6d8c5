#pragma once

#include <brisko_codec/codec.h>
#include <brisko_codec/export.h>

#include <cstddef>
#include <cstdint>
#include <memory>

namespace brisko {

/// Arrays of the caller, each with room for the points asked for. A null pointer: not wanted.
struct PointArrays {
    double* positions = nullptr;       // x, y, z of each point in turn, metres: 3 values a point
    float* intensities = nullptr;      // 0 to 2200: 1 value a point
    std::uint8_t* colours = nullptr;   // red, green, blue of each point in turn: 3 values a point
    std::uint32_t* columns = nullptr;  // azimuth steps: 1 value a point
    std::uint32_t* rows = nullptr;     // zenith steps: 1 value a point
};

/// Reads points many at a time. The same points in the same order as ReadNextPoint (or
/// ReadNextGridPoint where the codec has a grid), from any codec; the readers of this library fill
/// the arrays straight from the file's bytes.
///
/// The codec stays the caller's and must outlive the reader. Calls to the codec itself may be mixed
/// in: both move through the same pass.
/// Threads: as the codec.
class BRISKO_CODEC_EXPORT PointBatchReader {
public:
    explicit PointBatchReader(BriskoCodec& codec);
    ~PointBatchReader();
    PointBatchReader(const PointBatchReader&) = delete;
    PointBatchReader& operator=(const PointBatchReader&) = delete;

    /// Starts a pass and fills the arrays with its first points.
    /// Returns: how many points were filled in, at most capacity. Fewer than capacity only at the
    ///          end of the data; 0 when there is no (further) point or the scan cannot be read.
    ///          Columns and rows are 0 where the codec has no grid.
    std::size_t readFirst(const PointArrays& arrays, std::size_t capacity);

    /// Fills the arrays with the next points of the pass.
    std::size_t readNext(const PointArrays& arrays, std::size_t capacity);

    /// Whether a pass of this reader met something that the points alone do not distinguish from the end of
    /// the data: a file that is there and cannot be read, or a lack of memory.
    bool hasReadError() const;

    class BRISKO_CODEC_LOCAL Source;

private:
    std::size_t read(const PointArrays& arrays, std::size_t capacity, bool first);

    std::unique_ptr<Source> m_source;
};

}  // namespace brisko
