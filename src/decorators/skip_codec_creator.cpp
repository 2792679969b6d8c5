#include <brisko_codec/skip_codec.h>

#include "decorators/actual_skip_codec.h"

#include <new>

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
