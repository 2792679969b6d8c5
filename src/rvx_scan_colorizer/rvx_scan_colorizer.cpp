#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include "base/file.h"
#include "logging/log.h"
#include "rvx_scan_colorizer/depth_maps.h"
#include "rvx_scan_colorizer/image_cache.h"
#include "rvx_scan_colorizer/nearby_cameras.h"
#include "rvx_scan_colorizer/station.h"

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace brisko {

namespace {

namespace log_text {
constexpr const char* kFailed = "setImage error";
constexpr const char* kLoaded = "setImage without error";
constexpr const char* kFinished = "Finished RvxScanColorizerImpl::Initialize";
}  // namespace log_text

/// How many points a run has at the most.
constexpr std::size_t kRun = Projection::kMostPoints;

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

/// The work of a handle. Points are taken in runs of neighbours, camera by camera: first all their pixels are
/// found and requested from memory, then all are blended.
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
    /// A pixel that shows a point, and its share where a photo before it shows the point too.
    struct Sample {
        const std::uint8_t* pixel;
        double weight;
    };
    /// Points of one run, some or all.
    struct Part {
        std::size_t begin, end;
    };

    void takeRun(const double* positions, std::size_t count);
    bool isHeld(std::size_t camera, std::size_t point) const;
    bool takeLoaded();
    bool load(std::size_t point);
    void look(const Part& part);
    std::size_t lookThrough(std::size_t nearby, const Part& part);
    void blend(std::size_t point, std::uint8_t* colour) const;

    std::shared_ptr<const Station> m_station;
    std::shared_ptr<const DepthMaps> m_depthMaps;  // null: nothing hides a point
    std::size_t m_colorCacheCapacity;
    ImageCache m_cache;

    // The run.
    const double* m_positions = nullptr;
    std::size_t m_count = 0;
    std::array<double, 3> m_onSphere[kRun]{};
    double m_x[kRun]{}, m_y[kRun]{}, m_z[kRun]{};  // millimetres, scanner's frame
    std::uint8_t m_isCovered[kRun]{};  // by a photo that the photos before it do not show through
    std::size_t m_sampleCounts[kRun]{};
    NearbyCameras m_cameras;
    std::vector<const DecodedImage*>
        m_images;  // of the nearby cameras; null: shows none of the points
    std::vector<Sample>
        m_samples;  // the last photo's of all points, then those of the one before it
};

RvxScanColorizerImpl::RvxScanColorizerImpl(std::shared_ptr<const Station> station,
                                           std::size_t colorCacheCapacity)
    : m_station(std::move(station)),
      m_colorCacheCapacity(colorCacheCapacity),
      m_cache(m_station->cameras.size(), slotsFor(*m_station, colorCacheCapacity),
              loaderOf(*m_station), stamperOf(*m_station)),
      m_cameras(*m_station),
      m_images(m_station->cameras.size()),
      m_samples(kRun * m_station->cameras.size()) {
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

/// The next points that have a direction and the same nearby cameras; none where the first one has no
/// direction.
void RvxScanColorizerImpl::takeRun(const double* positions, std::size_t count) {
    const std::size_t most = std::min(count, kRun);
    m_positions = positions;
    for (m_count = 0; m_count < most; ++m_count) {
        const double* const position = positions + 3 * m_count;
        std::array<double, 3>& onSphere = m_onSphere[m_count];
        if (!placeOnSphere(position, onSphere)) return;
        m_x[m_count] = 1000 * position[0];
        m_y[m_count] = 1000 * position[1];
        m_z[m_count] = 1000 * position[2];
        if (m_cameras.cover(onSphere)) continue;
        if (m_count > 0) return;
        m_cameras.moveTo(onSphere);
    }
}

bool RvxScanColorizerImpl::isHeld(std::size_t nearby, std::size_t point) const {
    const NearbyCameras::Nearby& its = m_cameras.nearby()[nearby];
    return its.holdsAll || its.box.contains(m_onSphere[point]);
}

/// Uses the photos of all nearby cameras for the whole run. False: one of them is not loaded, and nothing
/// was used.
bool RvxScanColorizerImpl::takeLoaded() {
    const auto& nearby = m_cameras.nearby();
    for (std::size_t i = 0; i < nearby.size(); ++i) {
        m_images[i] = m_cache.loaded(nearby[i].camera);
        if (!m_images[i]) return false;
    }
    if (m_cache.keepsAll()) return true;
    for (std::size_t i = 0; i < nearby.size(); ++i) {
        std::size_t users = m_count;  // up to the last one
        while (users > 0 && !isHeld(i, users - 1))
            --users;
        if (users > 0) m_cache.useIn(users - 1, nearby[i].camera);
    }
    m_cache.endQueries(m_count);
    return true;
}

/// Uses the photos for one point, in their order, and loads those that are not there. False: one of them
/// cannot be loaded.
bool RvxScanColorizerImpl::load(std::size_t point) {
    const auto& nearby = m_cameras.nearby();
    for (std::size_t i = 0; i < nearby.size(); ++i) {
        m_images[i] = nullptr;
        if (!isHeld(i, point)) continue;
        m_images[i] = m_cache.use(nearby[i].camera);
        if (m_images[i]) continue;
        m_cache.dropQuery();
        return false;
    }
    m_cache.endQuery();
    return true;
}

/// Finds the pixels that show points. The last photo comes first: where it covers those before it, they
/// are not looked at.
void RvxScanColorizerImpl::look(const Part& part) {
    for (std::size_t point = part.begin; point < part.end; ++point) {
        m_isCovered[point] = 0;
        m_sampleCounts[point] = 0;
    }
    std::size_t left = part.end - part.begin;
    for (std::size_t i = m_cameras.nearby().size(); i > 0 && left > 0; --i) {
        if (m_images[i - 1] && !m_images[i - 1]->empty()) left -= lookThrough(i - 1, part);
    }
}

/// Returns how many points the camera's photo covers.
std::size_t RvxScanColorizerImpl::lookThrough(std::size_t nearby, const Part& part) {
    const int place = m_cameras.nearby()[nearby].camera;
    const Camera& camera = m_station->cameras[static_cast<std::size_t>(place)];
    const DecodedImage& image = *m_images[nearby];
    double columns[kRun], rows[kRun];
    camera.projection.project(m_x + part.begin, m_y + part.begin, m_z + part.begin,
                              part.end - part.begin, columns, rows);
    std::size_t covered = 0;
    for (std::size_t point = part.begin; point < part.end; ++point) {
        const double column = columns[point - part.begin], row = rows[point - part.begin];
        if (!(column >= 0) || m_isCovered[point] || !isHeld(nearby, point)) continue;
        const Pixel pixel{static_cast<int>(column), static_cast<int>(row)};
        if (m_depthMaps && m_depthMaps->hides(place, m_positions + 3 * point, pixel)) continue;
        Sample& sample = m_samples[m_sampleCounts[point]++ * kRun + point];
        sample = {camera.sample(image, pixel), camera.blending.weightAt(pixel)};
        __builtin_prefetch(sample.pixel);
        const bool covers = sample.weight >= 1;
        m_isCovered[point] = covers;
        covered += covers;
    }
    return covered;
}

void RvxScanColorizerImpl::blend(std::size_t point, std::uint8_t* colour) const {
    int red = 0, green = 0, blue = 0;
    for (std::size_t i = m_sampleCounts[point]; i > 0; --i) {
        const auto [pixel, weight] = m_samples[(i - 1) * kRun + point];
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
    std::size_t done = 0;
    const auto give = [&](const Part& part) {
        look(part);
        for (std::size_t point = part.begin; point < part.end; ++point)
            blend(point, colours + 3 * (done + point));
    };
    while (done < count) {
        takeRun(positions + 3 * done, count - done);
        if (m_count == 0) {
            std::fill_n(colours + 3 * done, 3, std::uint8_t{0});
            ++done;
        } else if (takeLoaded()) {
            give({0, m_count});
        } else {
            for (std::size_t point = 0; point < m_count; ++point) {
                if (load(point)) {
                    give({point, point + 1});
                } else {
                    std::fill_n(colours + 3 * (done + point), 3, std::uint8_t{0});
                }
                m_cache.pushedOut().clear();
            }
        }
        done += m_count;
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
