#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include "base/file.h"
#include "logging/log.h"
#include "rvx_scan_colorizer/depth_maps.h"
#include "rvx_scan_colorizer/image_cache.h"
#include "rvx_scan_colorizer/station.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <vector>

namespace brisko {

namespace {

namespace log_text {
constexpr const char* kFailed = "setImage error";
constexpr const char* kLoaded = "setImage without error";
constexpr const char* kFinished = "Finished RvxScanColorizerImpl::Initialize";
}  // namespace log_text

/// How many points are looked up before the first of them is blended.
constexpr std::size_t kAhead = 16;

ImageCache::Loader loaderOf(const Station& station) {
    return [&station](int place, const GoesOn& goesOn) -> SharedImage {
        const Camera& camera = station.cameras[static_cast<std::size_t>(place)];
        return loadSharedImage(camera.path, camera.turn, goesOn);
    };
}

ImageCache::Stamper stamperOf(const Station& station) {
    return [&station](int place) {
        return fileStamp(station.cameras[static_cast<std::size_t>(place)].path.c_str());
    };
}

/// How many photos a handle keeps: as many as it may, but no more than the memory for photos holds.
std::size_t slotsFor(const Station& station, std::size_t capacity) {
    constexpr std::uint64_t kFewest = 4;  // so many may show a point
    std::uint64_t largest = 1;
    for (const Camera& camera : station.cameras)
        largest = std::max(largest, kBytesPerPixel * camera.pixels);
    return std::min<std::uint64_t>(capacity, std::max(kFewest, heldPhotoBytes() / largest));
}

}  // namespace

/// The work of a handle. Points are looked up several ahead, and their pixels are requested from memory;
/// when the points are blended a moment later, the pixels are in the cache.
class RvxScanColorizerImpl {
public:
    RvxScanColorizerImpl(std::shared_ptr<const Station> station, std::size_t colorCacheCapacity);
    RvxScanColorizerImpl(const RvxScanColorizerImpl& other)
        : RvxScanColorizerImpl(other.m_station, other.m_colorCacheCapacity) {
        m_depthMaps = other.m_depthMaps;
    }

    /// Reads a station and loads its first photos; logs how that went.
    static std::unique_ptr<RvxScanColorizerImpl> Initialize(const std::string& folder,
                                                            std::size_t colorCacheCapacity,
                                                            PhotoOutlines outlines,
                                                            const GoesOn& goesOn);

    /// Loads the photos that the handle keeps at first, and logs how that went; once for each handle.
    /// The first handle of a station also checks that the rest of the first photos can be loaded.
    void loadFirst(bool isFirstHandle, const GoesOn& goesOn);

    void colourPoints(const double* positions, std::size_t count, std::uint8_t* colours);

    const std::shared_ptr<const Station>& station() const { return m_station; }
    void hideOccluded(std::shared_ptr<const DepthMaps> maps) { m_depthMaps = std::move(maps); }

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
    std::shared_ptr<const DepthMaps> m_depthMaps;  // null: nothing hides a point
    std::size_t m_colorCacheCapacity;
    ImageCache m_cache;
    std::vector<int> m_candidates;
    std::vector<Sample> m_samples;
};

RvxScanColorizerImpl::RvxScanColorizerImpl(std::shared_ptr<const Station> station,
                                           std::size_t colorCacheCapacity)
    : m_station(std::move(station)),
      m_colorCacheCapacity(colorCacheCapacity),
      m_cache(m_station->cameras.size(), slotsFor(*m_station, colorCacheCapacity),
              loaderOf(*m_station), stamperOf(*m_station)),
      m_samples(kAhead * m_station->cameras.size()) {
    m_candidates.reserve(m_station->cameras.size());
}

std::unique_ptr<RvxScanColorizerImpl> RvxScanColorizerImpl::Initialize(
    const std::string& folder, std::size_t colorCacheCapacity, PhotoOutlines outlines,
    const GoesOn& goesOn) {
    const auto station = std::make_shared<const Station>(readStation(folder, outlines, goesOn));
    auto impl = std::make_unique<RvxScanColorizerImpl>(station, colorCacheCapacity);
    impl->loadFirst(true, goesOn);
    return impl;
}

void RvxScanColorizerImpl::loadFirst(bool isFirstHandle, const GoesOn& goesOn) {
    if (m_station->cameras.empty()) return;
    try {
        m_cache.loadFirst(isFirstHandle ? m_colorCacheCapacity : m_cache.slots(), goesOn);
    } catch (const WorkStopped&) {
        throw;
    } catch (...) {
        logRecord(vexo::kInformation, log_text::kFailed);
        throw;
    }
    logRecord(vexo::kInformation, log_text::kLoaded);
    logRecord(vexo::kInformation, log_text::kFinished);
}

/// The cameras that may show a point, in their order.
const std::vector<int>& RvxScanColorizerImpl::candidates(const std::array<double, 3>& onSphere) {
    m_candidates.clear();
    m_station->boxes.find(onSphere, vexo::GenericItemFinder(std::back_inserter(m_candidates)));
    std::sort(m_candidates.begin(), m_candidates.end());
    return m_candidates;
}

/// Finds the pixels that show a point, in the order in which they are blended. Returns how many.
std::size_t RvxScanColorizerImpl::look(const double* position, Sample* samples) {
    std::array<double, 3> onSphere{};
    if (!placeOnSphere(position, onSphere)) return 0;
    std::size_t count = 0;
    for (const int place : candidates(onSphere)) {
        const Camera& camera = m_station->cameras[static_cast<std::size_t>(place)];
        const DecodedImage* const image = m_cache.use(place);
        if (!image) {
            m_cache.dropQuery();
            return 0;
        }
        Pixel pixel;
        const bool isSeen = !image->empty() &&
                            camera.projection.project(position[0], position[1], position[2], pixel);
        if (!isSeen) continue;
        if (m_depthMaps && m_depthMaps->hides(place, position, pixel)) continue;
        const double weight = count > 0 ? camera.blending.weightAt(pixel) : 1;
        // A photo that covers those before it makes them needless.
        if (weight >= 1) count = 0;
        samples[count] = {camera.sample(*image, pixel), weight};
        __builtin_prefetch(samples[count].pixel);
        ++count;
    }
    m_cache.endQuery();
    return count;
}

void RvxScanColorizerImpl::blend(const Sample* samples, std::size_t count, std::uint8_t* colour) {
    int red = 0, green = 0, blue = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto [pixel, weight] = samples[i];
        // Deliberate: a black pixel counts as none, so the next photo covers it whatever its share.
        if ((red | green | blue) == 0) {
            red = pixel[2];
            green = pixel[1];
            blue = pixel[0];
            continue;
        }
        const auto mixed = [share = weight](int old, std::uint8_t added) {
            return nearestInt(old * (1 - share) + added * share);
        };
        red = mixed(red, pixel[2]);
        green = mixed(green, pixel[1]);
        blue = mixed(blue, pixel[0]);
    }
    colour[0] = static_cast<std::uint8_t>(red);
    colour[1] = static_cast<std::uint8_t>(green);
    colour[2] = static_cast<std::uint8_t>(blue);
}

void RvxScanColorizerImpl::colourPoints(const double* positions, std::size_t count,
                                        std::uint8_t* colours) {
    const std::size_t most = m_station->cameras.size();  // samples of a point
    std::size_t counts[kAhead];
    for (std::size_t begin = 0; begin < count; begin += kAhead) {
        const std::size_t end = std::min(begin + kAhead, count);
        std::size_t blended = begin;
        const auto blendUpTo = [&](std::size_t stop) {
            for (; blended < stop; ++blended) {
                const std::size_t i = blended - begin;
                blend(m_samples.data() + i * most, counts[i], colours + 3 * blended);
            }
            m_cache.pushedOut().clear();
        };
        for (std::size_t point = begin; point < end; ++point) {
            const std::size_t i = point - begin;
            counts[i] = look(positions + 3 * point, m_samples.data() + i * most);
            if (!m_cache.pushedOut().empty()) blendUpTo(point + 1);
        }
        blendUpTo(end);
    }
}

RvxScanColorizer::RvxScanColorizer(const std::string& folder, std::size_t colorCacheCapacity,
                                   PhotoOutlines outlines, const GoesOn& goesOn)
    : m_impl(RvxScanColorizerImpl::Initialize(folder, colorCacheCapacity, outlines, goesOn)) {
}

RvxScanColorizer::RvxScanColorizer(const RvxScanColorizer& other, const GoesOn& goesOn)
    : m_impl(std::make_unique<RvxScanColorizerImpl>(*other.m_impl)) {
    m_impl->loadFirst(false, goesOn);
}

RvxScanColorizer::~RvxScanColorizer() = default;

std::shared_ptr<DepthMaps> RvxScanColorizer::makeDepthMaps() const {
    return std::make_shared<DepthMaps>(m_impl->station());
}

void RvxScanColorizer::hideOccluded(std::shared_ptr<const DepthMaps> maps) {
    m_impl->hideOccluded(std::move(maps));
}

void RvxScanColorizer::getColor(double x, double y, double z, std::int32_t& red,
                                std::int32_t& green, std::int32_t& blue) {
    const double position[3] = {x, y, z};
    std::uint8_t colour[3];
    colourPoints(position, 1, colour);
    red = colour[0];
    green = colour[1];
    blue = colour[2];
}

void RvxScanColorizer::colourPoints(const double* positions, std::size_t count,
                                    std::uint8_t* colours) {
    m_impl->colourPoints(positions, count, colours);
}

}  // namespace brisko
