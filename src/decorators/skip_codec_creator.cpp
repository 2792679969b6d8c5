#include "codec/batch_source.h"
#include "decorators/wrapped_codec.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/skip_codec.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <span>

/// Which points a skip codec lets through. Coordinates are metres, as the wrapped reader delivers
/// them. Every comparison is false for a NaN.
namespace brisko {

/// Points at most so far from the origin.
struct DistanceValidator {
    double maximumDistance;

    bool accepts(double x, double y, double z) const {
        return maximumDistance * maximumDistance >= x * x + y * y + z * z;
    }
};

/// Points strictly inside a box.
struct BbPointValidator {
    double minX, minY, minZ;
    double maxX, maxY, maxZ;

    bool accepts(double x, double y, double z) const {
        return minX < x && x < maxX && minY < y && y < maxY && minZ < z && z < maxZ;
    }
};

/// Points that do not lie exactly at the origin, where scanners leave what they could not measure.
struct InvalidPointValidator {
    bool accepts(double x, double y, double z) const { return !(x == 0 && y == 0 && z == 0); }
};

/// A reader that passes over the points of another reader which its validator rejects. Codec is
/// BriskoCodec or BriskoGridCodec, the interface that the wrapper shows.
template <class Codec, class Judge>
class ActualSkipCodec : public WrappedCodec<Codec> {
public:
    using Validator = Judge;

    /// Takes the codec over; a null one gives a wrapper that never opens.
    ActualSkipCodec(BriskoCodec* codec, const Validator& validator) noexcept
        : WrappedCodec<Codec>(codec), m_validator(validator) {}

    bool Open(const char* path) override {
        this->findGrid();
        return this->openWrapped(path);
    }

    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        BriskoCodec* const codec = this->codec();
        if (!codec) return false;
        bool found = codec->ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha);
        while (found && !accepts(x, y, z)) {
            found = codec->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
        }
        return found;
    }

    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        BriskoCodec* const codec = this->codec();
        if (!codec) return false;
        bool found = false;
        do {
            found = codec->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
        } while (found && !accepts(x, y, z));
        return found;
    }

protected:
    bool canRead() const { return this->codec() != nullptr; }
    /// Points are judged in the chosen frame, in whichever they are delivered.
    bool accepts(double x, double y, double z) const {
        this->toChosenFrame(x, y, z);
        return m_validator.accepts(x, y, z);
    }

private:
    Validator m_validator;
};

/// The same with the grid calls.
template <class Validator>
class ActualSkipGridCodec : public ActualSkipCodec<BriskoGridCodec, Validator> {
public:
    using ActualSkipCodec<BriskoGridCodec, Validator>::ActualSkipCodec;

    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        if (this->grid()) this->grid()->GetGridSize(columns, rows, tileSize);
    }

    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        BriskoGridCodec* const grid = this->grid();
        if (!grid) return false;
        Cell cell;
        bool found = grid->ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha,
                                              cell.column, cell.row);
        while (found && !this->accepts(x, y, z)) {
            found = grid->ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha,
                                            cell.column, cell.row);
        }
        return found && cell.store(column, row);
    }

    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        BriskoGridCodec* const grid = this->grid();
        if (!grid) return false;
        Cell cell;
        bool found = false;
        do {
            found = grid->ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha,
                                            cell.column, cell.row);
        } while (found && !this->accepts(x, y, z));
        return found && cell.store(column, row);
    }

protected:
    bool canRead() const { return this->grid() != nullptr; }

private:
    /// Column and row stay as they were when no point is left, so rejected ones must not show.
    struct Cell {
        unsigned column = 0, row = 0;

        bool store(unsigned& columnOut, unsigned& rowOut) const {
            columnOut = column;
            rowOut = row;
            return true;
        }
    };
};

/// Some points of a wrapped reader, before it is known which of them are let through. They lie in the
/// processor's first cache.
class JudgedPoints {
public:
    static constexpr std::size_t kMost = 256;

    // Room alone, which is not written before points come.
    JudgedPoints() {}  // NOLINT(cppcoreguidelines-pro-type-member-init)

    /// Takes the place of a caller's arrays; positions are always wanted.
    PointArrays inPlaceOf(const PointArrays& arrays) {
        return {m_positions, arrays.intensities ? m_intensities : nullptr,
                arrays.colours ? m_colours : nullptr, arrays.columns ? m_columns : nullptr,
                arrays.rows ? m_rows : nullptr};
    }

    /// Notes which of the first points are let through. Returns how many.
    template <class Accepts>
    std::size_t choose(std::size_t count, const Accepts& accepts) {
        std::size_t chosen = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const double* const p = m_positions + 3 * i;
            m_places[chosen] = static_cast<std::uint16_t>(i);
            chosen += accepts(p[0], p[1], p[2]) ? 1 : 0;
        }
        m_count = count;
        m_chosen = chosen;
        return chosen;
    }

    /// Copies those to a place in the caller's arrays.
    void copyTo(const PointArrays& arrays, std::size_t first) const {
        copy<3>(m_positions, arrays.positions, first);
        copy<1>(m_intensities, arrays.intensities, first);
        copy<3>(m_colours, arrays.colours, first);
        copy<1>(m_columns, arrays.columns, first);
        copy<1>(m_rows, arrays.rows, first);
    }

private:
    template <std::size_t width, class T>
    void copy(const T* from, T* to, std::size_t first) const {
        if (!to) return;
        to += width * first;
        if (m_chosen == m_count) {
            std::copy_n(from, width * m_count, to);
            return;
        }
        for (const std::size_t place : std::span(m_places, m_chosen))
            to = std::copy_n(from + width * place, width, to);
    }

    double m_positions[3 * kMost];
    float m_intensities[kMost];
    std::uint8_t m_colours[3 * kMost];
    std::uint32_t m_columns[kMost];
    std::uint32_t m_rows[kMost];
    std::uint16_t m_places[kMost];  // of those that are let through
    std::size_t m_chosen = 0;
    std::size_t m_count = 0;
};

/// A skip codec around a reader that fills arrays itself, which does so too.
template <class SkipCodec>
class BatchedSkipCodec final : public SkipCodec, public BatchSource {
public:
    BatchedSkipCodec(BriskoCodec* codec, BatchSource& source,
                     const typename SkipCodec::Validator& validator) noexcept
        : SkipCodec(codec, validator), m_source(source) {}

    bool startPass() override { return this->canRead() && m_source.startPass(); }

    /// Never asks for more points than there is room for: what the wrapped reader gives is delivered, so
    /// that calls for single points go on from there.
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) override {
        if (!this->canRead()) return 0;
        const auto accepts = [this](double x, double y, double z) {
            return this->accepts(x, y, z);
        };
        const PointArrays judged = m_judged.inPlaceOf(arrays);
        std::size_t count = 0;
        while (count < capacity) {
            const std::size_t wanted = std::min(capacity - count, JudgedPoints::kMost);
            const std::size_t got = m_source.readBatch(judged, wanted);
            const std::size_t chosen = m_judged.choose(got, accepts);
            m_judged.copyTo(arrays, count);
            count += chosen;
            if (got < wanted) break;
        }
        return count;
    }

private:
    BatchSource& m_source;  // the wrapped reader
    JudgedPoints m_judged;
};

/// A skip codec around any codec.
///   limits  what its validator is made of
template <class SkipCodec, class... Limits>
SkipCodec* makeSkipCodec(BriskoCodec* codec, Limits... limits) {
    const typename SkipCodec::Validator validator{limits...};
    if (auto* const source = dynamic_cast<BatchSource*>(codec)) {
        return new (std::nothrow) BatchedSkipCodec<SkipCodec>(codec, *source, validator);
    }
    return new (std::nothrow) SkipCodec(codec, validator);
}

}  // namespace brisko

using brisko::ActualSkipCodec;
using brisko::ActualSkipGridCodec;
using brisko::BbPointValidator;
using brisko::DistanceValidator;
using brisko::InvalidPointValidator;
using brisko::makeSkipCodec;

SkipCodecCreator& SkipCodecCreator::operator=(const SkipCodecCreator&) = default;
SkipCodecCreator& SkipCodecCreator::operator=(SkipCodecCreator&&) noexcept = default;

BriskoCodec* SkipCodecCreator::CreateCodec(BriskoCodec* codec, double maximumDistance) {
    return makeSkipCodec<ActualSkipCodec<BriskoCodec, DistanceValidator>>(codec, maximumDistance);
}

BriskoGridCodec* SkipCodecCreator::CreateGridCodec(BriskoGridCodec* codec, double maximumDistance) {
    return makeSkipCodec<ActualSkipGridCodec<DistanceValidator>>(codec, maximumDistance);
}

BriskoGridCodec* SkipCodecCreator::CreateValidGridCodec(BriskoGridCodec* codec) {
    return makeSkipCodec<ActualSkipGridCodec<InvalidPointValidator>>(codec);
}

BriskoGridCodec* SkipCodecCreator::CreateBbValidatorGridCodec(BriskoGridCodec* codec, double minX,
                                                              double minY, double minZ, double maxX,
                                                              double maxY, double maxZ) {
    return makeSkipCodec<ActualSkipGridCodec<BbPointValidator>>(codec, minX, minY, minZ, maxX, maxY,
                                                                maxZ);
}
