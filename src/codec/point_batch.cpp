#include <brisko_codec/point_batch.h>

#include "codec/alignment.h"
#include "codec/batch_source.h"

#include <algorithm>

namespace brisko {

/// Any codec as a source of batches.
class PointBatchReader::Source {
public:
    explicit Source(BriskoCodec& codec) : m_reader(dynamic_cast<const AlignedReader*>(&codec)) {}
    virtual ~Source() = default;
    virtual std::size_t read(const PointArrays& arrays, std::size_t capacity, bool first) = 0;

    /// A codec of others has none that could be known.
    std::uint64_t readErrorCount() const { return m_reader ? m_reader->readErrorCount() : 0; }
    bool hasReadError = false;

private:
    const AlignedReader* const m_reader;
};

namespace {

/// A reader of this library, which fills the arrays itself.
class NativeSource final : public PointBatchReader::Source {
public:
    NativeSource(BriskoCodec& codec, BatchSource& source)
        : Source(codec),
          m_source(source),
          m_hasGrid(dynamic_cast<BriskoGridCodec*>(&codec) != nullptr) {}

    std::size_t read(const PointArrays& arrays, std::size_t capacity, bool first) override {
        if (first && !m_source.startPass()) return 0;
        if (m_hasGrid) return m_source.readBatch(arrays, capacity);
        PointArrays withoutCells = arrays;
        withoutCells.columns = withoutCells.rows = nullptr;
        const std::size_t count = m_source.readBatch(withoutCells, capacity);
        if (arrays.columns) std::fill_n(arrays.columns, count, 0);
        if (arrays.rows) std::fill_n(arrays.rows, count, 0);
        return count;
    }

private:
    BatchSource& m_source;
    const bool m_hasGrid;  // a plain codec may walk a grid, but does not show it
};

/// Any other codec, asked point by point.
class PointwiseSource final : public PointBatchReader::Source {
public:
    explicit PointwiseSource(BriskoCodec& codec)
        : Source(codec), m_codec(codec), m_gridCodec(dynamic_cast<BriskoGridCodec*>(&codec)) {}

    std::size_t read(const PointArrays& arrays, std::size_t capacity, bool first) override {
        const PointArraysWriter out(arrays);
        std::size_t count = 0;
        while (count < capacity && next(first && count == 0)) {
            out.put(count, m_x, m_y, m_z, m_intensity);
            out.putColour(count, m_red, m_green, m_blue);
            out.putCell(count, m_column, m_row);
            ++count;
        }
        return count;
    }

private:
    bool next(bool first) {
        if (m_gridCodec) {
            const auto call =
                first ? &BriskoGridCodec::ReadFirstGridPoint : &BriskoGridCodec::ReadNextGridPoint;
            return (m_gridCodec->*call)(m_x, m_y, m_z, m_intensity, m_red, m_green, m_blue, m_alpha,
                                        m_column, m_row);
        }
        const auto call = first ? &BriskoCodec::ReadFirstPoint : &BriskoCodec::ReadNextPoint;
        return (m_codec.*call)(m_x, m_y, m_z, m_intensity, m_red, m_green, m_blue, m_alpha);
    }

    BriskoCodec& m_codec;
    BriskoGridCodec* const m_gridCodec;
    double m_x = 0, m_y = 0, m_z = 0;
    float m_intensity = 0;
    std::uint8_t m_red = 0, m_green = 0, m_blue = 0, m_alpha = 255;
    unsigned m_column = 0, m_row = 0;
};

}  // namespace

PointBatchReader::PointBatchReader(BriskoCodec& codec) {
    if (auto* const source = dynamic_cast<BatchSource*>(&codec)) {
        m_source = std::make_unique<NativeSource>(codec, *source);
    } else {
        m_source = std::make_unique<PointwiseSource>(codec);
    }
}

PointBatchReader::~PointBatchReader() = default;

std::size_t PointBatchReader::readFirst(const PointArrays& arrays, std::size_t capacity) {
    return read(arrays, capacity, true);
}

std::size_t PointBatchReader::readNext(const PointArrays& arrays, std::size_t capacity) {
    return read(arrays, capacity, false);
}

std::size_t PointBatchReader::read(const PointArrays& arrays, std::size_t capacity, bool first) {
    const std::uint64_t before = m_source->readErrorCount();
    const std::size_t count = m_source->read(arrays, capacity, first);
    m_source->hasReadError |= m_source->readErrorCount() != before;
    return count;
}

bool PointBatchReader::hasReadError() const {
    return m_source->hasReadError;
}

}  // namespace brisko
