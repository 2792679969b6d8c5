#include "limits/camera_ring.h"
#include "limits/layouts.h"
#include "limits/modes.h"

#include <turbojpeg.h>
#include <algorithm>
#include <cmath>
#include <filesystem>

/// A scan with photos around it, and the work of decoding them.
namespace brisko::limits {

namespace {

struct Decompressor {
    tjhandle handle = tjInitDecompress();
    Decompressor() = default;
    Decompressor(const Decompressor&) = delete;
    Decompressor& operator=(const Decompressor&) = delete;
    ~Decompressor() { tjDestroy(handle); }
};

/// Waves, edges and a little noise: as hard to decode as a photo of a room.
Bytes pixelsOf(std::uint32_t width, std::uint32_t height) {
    Bytes pixels(std::size_t{3} * width * height);
    std::uint8_t* out = pixels.data();
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const double noise =
                static_cast<double>(bench::mix(std::uint64_t{x} << 32 | y) & 15) - 7.5;
            const double edge = ((x / 97 + y / 61) & 1) ? 40 : 0;
            const double value = 90 + 50 * std::sin(x * 0.011) * std::cos(y * 0.017) + edge + noise;
            *out++ = static_cast<std::uint8_t>(value * 0.8);
            *out++ = static_cast<std::uint8_t>(value);
            *out++ =
                static_cast<std::uint8_t>(std::min(255.0, value * 1.1 + 10 * std::sin(y * 0.05)));
        }
    }
    return pixels;
}

Bytes jpegOf(const Bytes& pixels, std::uint32_t width, std::uint32_t height) {
    const tjhandle compressor = tjInitCompress();
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    tjCompress2(compressor, pixels.data(), static_cast<int>(width), 0, static_cast<int>(height),
                TJPF_BGR, &bytes, &size, TJSAMP_420, 90, 0);
    Bytes jpeg(bytes, bytes + size);
    tjFree(bytes);
    tjDestroy(compressor);
    return jpeg;
}

template <class T>
void putValue(const File& file, T value) {
    put(file.get(), &value, sizeof value);
}

void writeCalibration(const std::string& path) {
    const File file = openOrExit(path, "wb");
    constexpr std::int32_t kRadialTable = 0, kCoefficients = 1, kRoom = 10;
    for (const double value : {ring::kFocalLength, ring::kSensorWidth / 2, ring::kSensorHeight / 2})
        putValue(file, value);
    putValue(file, kRadialTable);
    putValue(file, kCoefficients);
    putValue(file, 1e-6);
    for (std::int32_t i = kCoefficients; i < kRoom; ++i)
        putValue(file, 0.0);
    putValue(file, ring::kPixel);
    putValue(file, ring::kPixel);
    for (const double value : ring::kPlace)
        putValue(file, value);
    // The camera's axes on the head: right is -y, up is z, backwards is -x.
    for (const double value : {0., -1., 0., 0., 0., 1., -1., 0., 0.})
        putValue(file, value);
}

void writeAngles(const std::string& path, double azimuth, double elevation) {
    const File file = openOrExit(path, "wb");
    for (const double degrees : {azimuth > 180 ? azimuth - 360 : azimuth, elevation})
        putValue(file, static_cast<std::int32_t>(std::lround(degrees / 180 * 2147483647.0)));
}

std::string photoPath(std::uint32_t photo) {
    const std::string number = std::to_string(photo);
    return inputPath("station/scan/W" +
                     std::string(2 - std::min<std::size_t>(2, number.size()), '0') + number);
}

std::uint32_t photoHeight() {
    return options().imageWidth * ring::kNominalHeight / ring::kNominalWidth;
}

/// The points that the colour modes colour, several times over: as they are read ahead in batches, one
/// time would be a single batch.
void writeScan(const std::string& path) {
    constexpr std::uint32_t kTimes = 10;
    const std::vector<Point> points = pointsToColour();
    const File file = openOrExit(path, "wb");
    const Bytes header = cl3Header(kTimes);
    put(file.get(), header.data(), header.size());
    for (std::uint32_t i = 0; i < kTimes; ++i) {
        putValue(file, static_cast<std::uint32_t>(points.size()));
        putValue(file, std::uint8_t{0});
        for (const Point& p : points)
            put(file.get(), &p, kRecord);
    }
}

Bytes wholeFile(const std::string& path) {
    const File file = openOrExit(path, "rb");
    Bytes bytes(fileSize(path));
    get(file.get(), bytes.data(), bytes.size());
    return bytes;
}

/// Not cleared: the decoder writes every byte.
struct Photo {
    std::unique_ptr<std::uint8_t[]> pixels;
    std::size_t size = 0;
};

Photo decode(const Bytes& jpeg) {
    const Decompressor decompressor;
    int width = 0, height = 0, subsampling = 0;
    tjDecompressHeader2(decompressor.handle, const_cast<std::uint8_t*>(jpeg.data()), jpeg.size(),
                        &width, &height, &subsampling);
    Photo photo;
    photo.size =
        std::size_t{3} * static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    photo.pixels = std::make_unique_for_overwrite<std::uint8_t[]>(photo.size);
    tjDecompress2(decompressor.handle, jpeg.data(), jpeg.size(), photo.pixels.get(), width,
                  3 * width, height, TJPF_BGR, TJFLAG_FASTDCT);
    return photo;
}

void turnByHalf(Photo& photo) {
    std::uint8_t* front = photo.pixels.get();
    std::uint8_t* back = front + photo.size - 3;
    for (; front < back; front += 3, back -= 3) {
        for (int i = 0; i < 3; ++i)
            std::swap(front[i], back[i]);
    }
}

}  // namespace

void generateStation() {
    std::filesystem::create_directories(inputPath("station/scan"));
    writeCalibration(inputPath("station/camcalW"));
    const std::uint32_t width = options().imageWidth, height = photoHeight();
    const Bytes jpeg = jpegOf(pixelsOf(width, height), width, height);
    for (std::uint32_t photo = 0; photo < ring::kPhotos; ++photo) {
        const File file = openOrExit(photoPath(photo) + ".jpg", "wb");
        put(file.get(), jpeg.data(), jpeg.size());
        writeAngles(photoPath(photo) + ".ang", ring::azimuthOf(photo), ring::elevationOf(photo));
    }
    writeScan(inputPath("station/scan/colour.cl3"));
}

/// Each photo is decoded and turned as the photos of a "W" camera are stored: upside down.
void openStation() {
    measure("open-station", ring::kPhotos, [](Watch& watch) {
        std::vector<Photo> photos;
        watch.start();
        for (std::uint32_t photo = 0; photo < ring::kPhotos; ++photo) {
            photos.push_back(decode(wholeFile(photoPath(photo) + ".jpg")));
            turnByHalf(photos.back());
        }
        watch.stop();
        return static_cast<double>(photos.back().pixels[photos.back().size / 2]);
    });
}

}  // namespace brisko::limits
