#include "codec/aligned_reader.h"
#include "decorators/wrapped_codec.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/skip_codec.h>

#include <cstdint>
#include <limits>
#include <new>

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
template <class Codec, class Validator>
class ActualSkipCodec : public Codec, public AlignedReader {
public:
    /// Takes the codec over; a null one gives a wrapper that never opens.
    ActualSkipCodec(BriskoCodec* codec, const Validator& validator) noexcept
        : m_codec(codec), m_validator(validator) {}
    ActualSkipCodec(const ActualSkipCodec&) = delete;
    ActualSkipCodec& operator=(const ActualSkipCodec&) = delete;

    bool Open(const char* path) override {
        m_grid = dynamic_cast<BriskoGridCodec*>(m_codec.get());
        const bool opened = m_codec && m_codec->Open(path);
        m_judged.update();
        return opened;
    }

    void Close() override {
        if (m_codec) m_codec->Close();
    }

    // Count and bounds speak of all points, those that are passed over included.
    std::int64_t GetPointCount() override { return m_codec ? m_codec->GetPointCount() : 0; }

    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override {
        if (m_codec) return m_codec->GetBounds(minX, minY, minZ, maxX, maxY, maxZ, count);
        minX = minY = minZ = std::numeric_limits<double>::max();
        maxX = maxY = maxZ = std::numeric_limits<double>::min();
        count = 0;
    }

    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        if (!m_codec) return false;
        bool found = m_codec->ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha);
        while (found && !accepts(x, y, z)) {
            found = m_codec->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
        }
        return found;
    }

    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        if (!m_codec) return false;
        bool found = false;
        do {
            found = m_codec->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
        } while (found && !accepts(x, y, z));
        return found;
    }

    Alignment alignment() const override { return m_codec ? getAlignment(*m_codec) : Alignment{}; }

    ReadProblem readProblem() const override {
        return m_codec ? getReadProblem(*m_codec) : ReadProblem{};
    }
    std::uint64_t readErrorCount() const override { return readErrorCountOf(m_codec.get()); }

    Frame frame() const override { return m_codec ? frameOf(*m_codec) : Frame::Aligned; }

    void setFrame(Frame frame) override {
        if (m_codec) brisko::setFrame(*m_codec, frame);
        m_judged.update();
    }

    bool deliverAsMeasured() override { return m_codec && m_judged.takeFrom(*m_codec); }

protected:
    /// The wrapped codec seen as a grid; null before Open.
    BriskoGridCodec* grid() const { return m_grid; }
    /// Points are judged in the chosen frame, in whichever they are delivered.
    bool accepts(double x, double y, double z) const {
        m_judged.toChosenFrame(x, y, z);
        return m_validator.accepts(x, y, z);
    }

private:
    OwnedCodec m_codec;
    Validator m_validator;
    MeasuredPoints m_judged;
    BriskoGridCodec* m_grid = nullptr;
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

}  // namespace brisko

using brisko::ActualSkipCodec;
using brisko::ActualSkipGridCodec;
using brisko::BbPointValidator;
using brisko::DistanceValidator;
using brisko::InvalidPointValidator;

SkipCodecCreator& SkipCodecCreator::operator=(const SkipCodecCreator&) = default;
SkipCodecCreator& SkipCodecCreator::operator=(SkipCodecCreator&&) noexcept = default;

BriskoCodec* SkipCodecCreator::CreateCodec(BriskoCodec* codec, double maximumDistance) {
    using Wrapper = ActualSkipCodec<BriskoCodec, DistanceValidator>;
    return new (std::nothrow) Wrapper(codec, {maximumDistance});
}

BriskoGridCodec* SkipCodecCreator::CreateGridCodec(BriskoGridCodec* codec, double maximumDistance) {
    using Wrapper = ActualSkipGridCodec<DistanceValidator>;
    return new (std::nothrow) Wrapper(codec, {maximumDistance});
}

BriskoGridCodec* SkipCodecCreator::CreateValidGridCodec(BriskoGridCodec* codec) {
    using Wrapper = ActualSkipGridCodec<InvalidPointValidator>;
    return new (std::nothrow) Wrapper(codec, {});
}

BriskoGridCodec* SkipCodecCreator::CreateBbValidatorGridCodec(BriskoGridCodec* codec, double minX,
                                                              double minY, double minZ, double maxX,
                                                              double maxY, double maxZ) {
    using Wrapper = ActualSkipGridCodec<BbPointValidator>;
    return new (std::nothrow) Wrapper(codec, {minX, minY, minZ, maxX, maxY, maxZ});
}
