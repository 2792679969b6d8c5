#pragma once

#include <brisko_codec/codec.h>

/// Readers that hide some points of another reader. Each wrapper owns the codec given to it and
/// destroys it with itself; free the wrapper with BriskoCodec::Destroy. A null codec gives a wrapper
/// that never opens.
///
/// Only the point calls are filtered: GetPointCount, GetBounds and GetGridSize still speak of all
/// points. Tests use the coordinates that the wrapped codec delivers, after its alignment.
/// Returns: null when memory runs out; the codec given then still belongs to the caller.
class BRISKO_CODEC_EXPORT SkipCodecCreator {
public:
    SkipCodecCreator() = default;
    SkipCodecCreator(const SkipCodecCreator&) = default;
    SkipCodecCreator& operator=(const SkipCodecCreator&);
    SkipCodecCreator& operator=(SkipCodecCreator&&) noexcept;

    /// Keeps points at most maximumDistance metres from the origin; the sign does not matter.
    static BriskoCodec* CreateCodec(BriskoCodec* codec, double maximumDistance);
    static BriskoGridCodec* CreateGridCodec(BriskoGridCodec* codec, double maximumDistance);
    /// Drops points whose three coordinates are all 0.
    static BriskoGridCodec* CreateValidGridCodec(BriskoGridCodec* codec);
    /// Keeps points strictly inside the box; a point on a face is dropped.
    static BriskoGridCodec* CreateBbValidatorGridCodec(BriskoGridCodec* codec, double minX,
                                                       double minY, double minZ, double maxX,
                                                       double maxY, double maxZ);
};
