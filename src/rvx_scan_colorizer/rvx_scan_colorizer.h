#pragma once

#include <brisko_codec/color_codec.h>

#include "base/worker_pool.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace brisko {

class DepthMaps;
class RvxScanColorizerImpl;

/// Gives points the colours that the photos beside a scan show. A handle belongs to one thread at a
/// time; handles made from one another share everything that does not change, and the pixels.
class RvxScanColorizer {
public:
    /// How many decoded photos the colour codecs let a handle keep.
    static constexpr std::size_t kCapacity = 60;

    /// Reads the station around a scan, and its first photos.
    ///   folder              the folder of the scan, absolute
    ///   colorCacheCapacity  how many decoded photos the handle may keep
    ///   outlines            how it is found out which photos may show a point
    ///   goesOn              asked in this thread all the while; where it answers false, WorkStopped is
    ///                       thrown
    /// Throws: std::exception, without a message, when the station cannot be used. A folder without
    ///         photos is no failure: everything is then 0, 0, 0.
    RvxScanColorizer(const std::string& folder, std::size_t colorCacheCapacity,
                     PhotoOutlines outlines = PhotoOutlines::Corners, const GoesOn& goesOn = {});
    /// A handle for another thread, on the same station.
    RvxScanColorizer(const RvxScanColorizer& other, const GoesOn& goesOn = {});
    RvxScanColorizer& operator=(const RvxScanColorizer&) = delete;
    ~RvxScanColorizer();

    /// The colour of a point: x, y, z metres, scanner's frame. 0, 0, 0 where no photo shows it, where
    /// a photo cannot be loaded, and for points that are not finite.
    void getColor(double x, double y, double z, std::int32_t& red, std::int32_t& green,
                  std::int32_t& blue);

    /// The colours of many points, faster than one after the other. `positions` holds x, y, z of each
    /// point in turn; red, green, blue of each go to `colours`.
    void colourPoints(const double* positions, std::size_t count, std::uint8_t* colours);

    /// Empty depth maps of the station's photos, to be filled with the points of the scan.
    std::shared_ptr<DepthMaps> makeDepthMaps() const;
    /// From now on a photo does not colour what its map says that it cannot see. The maps are finished
    /// and of the same station; null: photos colour all that is in their direction.
    void hideOccluded(std::shared_ptr<const DepthMaps> maps);

private:
    std::unique_ptr<RvxScanColorizerImpl> m_impl;
};

}  // namespace brisko
