#pragma once

#include "rvx_scan_colorizer/image_cache.h"
#include "rvx_scan_colorizer/station.h"

#include <memory>
#include <string>
#include <vector>

namespace brisko {

/// The work behind a handle. Points are looked up first, several ahead, and their pixels asked from
/// memory; when they are blended a moment later, the pixels are there.
class RvxScanColorizerImpl {
public:
    RvxScanColorizerImpl(std::shared_ptr<const Station> station, std::size_t colorCacheCapacity);
    RvxScanColorizerImpl(const RvxScanColorizerImpl& other)
        : RvxScanColorizerImpl(other.m_station, other.m_colorCacheCapacity) {}

    /// Reads a station and loads its first photos; logs how that went.
    static std::unique_ptr<RvxScanColorizerImpl> Initialize(const std::string& folder,
                                                            std::size_t colorCacheCapacity,
                                                            PhotoOutlines outlines);

    /// Loads the photos that the handle keeps at first, and logs how that went: once a handle. The
    /// first handle of a station looks at the others, too, that the prescribed number of photos loads.
    void loadFirst(bool isFirstHandle);

    void colourPoints(const double* positions, std::size_t count, std::uint8_t* colours);

    const ImageCache& cache() const { return m_cache; }

private:
    /// A pixel that shows a point, and its share where another shows the point too.
    struct Sample {
        const std::uint8_t* pixel;
        double weight;
    };

    std::size_t look(const double* position, Sample* samples);
    const std::vector<int>& candidates(const std::array<double, 3>& onSphere);
    static void blend(const Sample* samples, std::size_t count, std::uint8_t* colour);

    std::shared_ptr<const Station> m_station;
    std::size_t m_colorCacheCapacity;
    ImageCache m_cache;
    std::vector<int> m_candidates;
    std::vector<Sample> m_samples;
};

}  // namespace brisko
