#include "limits/box_tree.h"
#include "limits/camera_ring.h"
#include "limits/layouts.h"
#include "limits/modes.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <thread>

/// Colouring: boxes that hold the point, projection into their photos, nearest pixel, blending.
namespace brisko::limits {

namespace {

constexpr double kSphere = 100;  // radius; the unit does not matter

struct Camera {
    double rotation[9], translation[3];  // millimetres
    double focalLength, pitchX, pitchY, centreX, centreY, blendWidth;
    double distortion[512], distortionStep;  // factors over the radius
    int width, height, margin;
    const std::uint8_t* pixels;
};

struct ColouredPoint {
    double x, y, z;
    float intensity;
    std::uint8_t red, green, blue;
    std::uint32_t column, row;
};

using Axis = std::array<double, 3>;

Axis cross(const Axis& a, const Axis& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

Camera makeCamera(std::uint32_t photo, int width, int height, const std::uint8_t* pixels) {
    const double az = ring::radians(ring::azimuthOf(photo));
    const double el = ring::radians(ring::elevationOf(photo));
    const Axis back = {-std::cos(el) * std::cos(az), -std::cos(el) * std::sin(az), -std::sin(el)};
    const Axis right = {-std::sin(az), std::cos(az), 0};
    const Axis up = cross(back, right);
    Camera camera{};
    std::copy(right.begin(), right.end(), camera.rotation);
    std::copy(up.begin(), up.end(), camera.rotation + 3);
    std::copy(back.begin(), back.end(), camera.rotation + 6);
    std::copy(ring::kPlace.begin(), ring::kPlace.end(), camera.translation);
    camera.focalLength = ring::kFocalLength;
    camera.pitchX = ring::kSensorWidth / width;
    camera.pitchY = ring::kSensorHeight / height;
    camera.centreX = ring::kSensorWidth / 2;
    camera.centreY = ring::kSensorHeight / 2;
    camera.blendWidth = 200.0 * width / ring::kNominalWidth;
    camera.distortionStep =
        511.0 / (std::hypot(ring::kSensorWidth, ring::kSensorHeight) / 2 * 1.05);
    for (int i = 0; i < 512; ++i)
        camera.distortion[i] = 1 + 1e-9 * i * i;
    camera.width = width;
    camera.height = height;
    camera.margin = 10;
    camera.pixels = pixels;
    return camera;
}

BoxTree::Box boxOf(const Camera& camera) {
    constexpr double kMost = std::numeric_limits<double>::max();
    BoxTree::Box box{{kMost, kMost, kMost}, {0, 0, 0}};
    Axis corners[4];
    for (int corner = 0; corner < 4; ++corner) {
        const double u = (corner == 0 || corner == 3 ? -1 : 1) * camera.centreX;
        const double v = (corner < 2 ? -1 : 1) * camera.centreY;
        Axis& c = corners[corner];
        for (std::size_t axis = 0; axis < 3; ++axis) {
            c[axis] = camera.rotation[axis] * u + camera.rotation[3 + axis] * v -
                      camera.rotation[6 + axis] * camera.focalLength;
        }
        const double length = std::hypot(c[0], c[1], c[2]);
        for (double& value : c)
            value /= length;
    }
    const double cosine = corners[0][0] * corners[1][0] + corners[0][1] * corners[1][1] +
                          corners[0][2] * corners[1][2];
    const double outer = kSphere / std::cos(std::acos(cosine) / 2) + 1;
    for (const Axis& corner : corners) {
        for (const double radius : {kSphere - 1, outer}) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                box.min[axis] = std::min(box.min[axis], radius * corner[axis]);
                box.max[axis] = std::max(box.max[axis], radius * corner[axis]);
            }
        }
    }
    return box;
}

struct Station {
    std::vector<Bytes> photos;
    std::vector<Camera> cameras;
    std::vector<BoxTree::Box> boxes;
};

Station makeStation() {
    const auto width = static_cast<int>(options().imageWidth);
    const int height =
        width * static_cast<int>(ring::kNominalHeight) / static_cast<int>(ring::kNominalWidth);
    Station station;
    for (std::uint32_t photo = 0; photo < ring::kPhotos; ++photo) {
        Bytes pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = static_cast<std::uint8_t>(40 + (i * 31 + photo * 7) % 200);
        station.photos.push_back(std::move(pixels));
        station.cameras.push_back(makeCamera(photo, width, height, station.photos.back().data()));
        station.boxes.push_back(boxOf(station.cameras.back()));
    }
    return station;
}

/// What one thread colours with.
class Colouriser {
public:
    explicit Colouriser(const Station& station)
        : m_cameras(station.cameras), m_boxes(station.boxes), m_lastUse(station.cameras.size()) {}

    /// First all projections of a run of points, asking the cache for their pixels; then all
    /// blending.
    void run(std::vector<ColouredPoint>& points, std::size_t from, std::size_t step) {
        Sample samples[kMostAhead][kMostSamples];
        int counts[kMostAhead];
        const std::uint32_t ahead = options().ahead;
        for (std::size_t begin = from; begin < points.size();) {
            std::uint32_t looked = 0;
            for (std::size_t i = begin; looked < ahead && i < points.size(); ++looked, i += step) {
                counts[looked] = look(points[i].x, points[i].y, points[i].z, samples[looked]);
                if (ahead == 1) continue;
                for (int k = 0; k < counts[looked]; ++k)
                    __builtin_prefetch(samples[looked][k].pixel);
            }
            for (std::uint32_t k = 0; k < looked; ++k)
                blend(samples[k], counts[k], points[begin + k * step]);
            begin += looked * step;
        }
    }

    std::uint64_t boxesMet() const { return m_boxesMet; }
    std::uint64_t photosMet() const { return m_photosMet; }

private:
    static constexpr int kMostAhead = 256, kMostSamples = 8;
    struct Sample {
        const std::uint8_t* pixel;
        float share;
    };

    int look(double x, double y, double z, Sample* samples) {
        const double length = std::sqrt(x * x + y * y + z * z);
        if (!(length > 1e-6)) return 0;
        const double scale = kSphere / length;
        const double onSphere[3] = {x * scale, y * scale, z * scale};
        int candidates[BoxTree::kMost], found = 0;
        const int count = m_boxes.find(onSphere, candidates);
        m_boxesMet += static_cast<std::uint64_t>(count);
        ++m_tick;
        x *= 1000, y *= 1000, z *= 1000;
        for (int k = 0; k < count && found < kMostSamples; ++k) {
            const auto photo = static_cast<std::size_t>(candidates[k]);
            m_lastUse[photo] = m_tick;
            found += project(m_cameras[photo], x, y, z, samples[found]);
        }
        m_photosMet += static_cast<std::uint64_t>(found);
        return found;
    }

    /// The nearest pixel of a point, and its share by its distance from the photo's edge.
    static bool project(const Camera& c, double x, double y, double z, Sample& sample) {
        const double* const r = c.rotation;
        const double depth = r[6] * x + r[7] * y + r[8] * z + c.translation[2];
        if (depth > -1e-12) return false;
        const double across = r[0] * x + r[1] * y + r[2] * z + c.translation[0];
        const double down = r[3] * x + r[4] * y + r[5] * z + c.translation[1];
        const double scale = -c.focalLength / depth, u = across * scale, v = down * scale;
        const double radius = std::sqrt(u * u + v * v) * c.distortionStep;
        if (!(radius < 511)) return false;
        const int step = static_cast<int>(radius);
        const double factor =
            c.distortion[step] + (c.distortion[step + 1] - c.distortion[step]) * (radius - step);
        const double atColumn = (u * factor + c.centreX) / c.pitchX;
        const double atRow = (c.centreY - v * factor) / c.pitchY;
        if (!(atColumn > -1 && atRow > -1 && atColumn < 65536 && atRow < 65536)) return false;
        const int column = static_cast<int>(atColumn + 0.5), row = static_cast<int>(atRow + 0.5);
        if (column < c.margin || column >= c.width - c.margin || row < c.margin ||
            row >= c.height - c.margin) {
            return false;
        }
        const int inside =
            std::min(std::min(column, row), std::min(c.width - column, c.height - row));
        const std::size_t pixel =
            static_cast<std::size_t>(row) * static_cast<std::size_t>(c.width) +
            static_cast<std::size_t>(column);
        sample.pixel = c.pixels + 3 * pixel;
        sample.share = static_cast<float>(std::min(1.0, inside / c.blendWidth));
        return true;
    }

    static void blend(const Sample* samples, int count, ColouredPoint& point) {
        int colour[3] = {};
        for (int k = 0; k < count; ++k) {
            const std::uint8_t* const pixel = samples[k].pixel;
            if (!(colour[0] | colour[1] | colour[2])) {
                for (int i = 0; i < 3; ++i)
                    colour[i] = pixel[2 - i];
                continue;
            }
            const auto share = static_cast<double>(samples[k].share);
            for (int i = 0; i < 3; ++i) {
                colour[i] = static_cast<int>(colour[i] * (1 - share) + pixel[2 - i] * share + 0.5);
            }
        }
        point.red = static_cast<std::uint8_t>(colour[0]);
        point.green = static_cast<std::uint8_t>(colour[1]);
        point.blue = static_cast<std::uint8_t>(colour[2]);
    }

    std::vector<Camera> m_cameras;
    BoxTree m_boxes;
    std::vector<std::uint64_t> m_lastUse;
    std::uint64_t m_tick = 0, m_boxesMet = 0, m_photosMet = 0;
};

}  // namespace

std::vector<Point> pointsToColour() {
    constexpr std::size_t kPoints = 400'000;
    const bench::Room room(options().columns, options().rows);
    const auto step =
        static_cast<std::uint32_t>(std::max<std::uint64_t>(1, room.cells() / kPoints));
    std::vector<Point> points;
    for (std::uint32_t column = 0; column < room.columns(); column += step) {
        for (std::uint32_t row = 0; row < room.rows() && points.size() < kPoints; ++row)
            points.push_back(room.at(column, row));
    }
    return points;
}

void colourPoints() {
    const Station station = makeStation();
    std::vector<ColouredPoint> points;
    for (const Point& p : pointsToColour())
        points.push_back({p.x, p.y, p.z, p.intensity, 0, 0, 0, 0, 0});
    const std::uint32_t threads = options().threads;
    std::vector<Colouriser> workers(threads, Colouriser(station));
    measure("colour", static_cast<double>(points.size()), [&](Watch& watch) {
        watch.start();
        if (threads == 1) {
            workers[0].run(points, 0, 1);
        } else {
            std::vector<std::thread> running;
            for (std::uint32_t i = 0; i < threads; ++i)
                running.emplace_back([&, i] { workers[i].run(points, i, threads); });
            for (std::thread& thread : running)
                thread.join();
        }
        watch.stop();
        std::uint64_t sum = 0;
        for (const ColouredPoint& p : points)
            sum += std::uint64_t{p.red} + p.green + p.blue;
        return static_cast<double>(sum);
    });
    std::uint64_t boxes = 0, photos = 0;
    for (const Colouriser& worker : workers) {
        boxes += worker.boxesMet();
        photos += worker.photosMet();
    }
    const double looked = static_cast<double>(points.size()) * (options().runs + 1);
    std::printf("boxes a point: %.2f, photos a point: %.2f\n", static_cast<double>(boxes) / looked,
                static_cast<double>(photos) / looked);
}

}  // namespace brisko::limits
