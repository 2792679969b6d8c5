#include "decorators/wrapped_codec.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/skip_codec.h>

#include <cstdint>
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
class ActualSkipCodec : public WrappedCodec<Codec> {
public:
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
