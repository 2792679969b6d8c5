#include "simulator/photo_output.h"

#include "base/output_file.h"
#include "simulator/scan_output.h"

#include <brisko_scan/scan_error.h>

#include <turbojpeg.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <system_error>

namespace brisko::simulator {

namespace {

/// Red, green and blue of each pixel, 8 bits each, the top row first.
struct RenderedPhoto {
    PhotoSize size;
    std::vector<std::uint8_t> pixels;
};

/// Takes how many pixels of the photo are done. Throws ScanError(Cancelled) to end the work.
using ReportPixels = std::function<void(std::uint64_t)>;

/// A hazy horizon under a blue sky.
Colour skyTowards(const Vector3& direction) {
    const double height = std::clamp(direction.z, 0.0, 1.0);
    const auto channel = [height](double horizon, double zenith) {
        return static_cast<std::uint8_t>(horizon + (zenith - horizon) * height);
    };
    return {channel(205, 70), channel(220, 125), channel(235, 200)};
}

Colour notBlack(const Colour& colour) {
    const bool isBlack = (colour.red | colour.green | colour.blue) == 0;
    return isBlack ? Colour{1, 1, 1} : colour;
}

struct Pixel {
    std::uint32_t column, row;
};

/// The pixel of the upright photo that a stored one holds.
Pixel uprightPixel(StoredTurn turn, const PhotoSize& stored, const Pixel& pixel) {
    switch (turn) {
        case StoredTurn::Quarter:
            return {pixel.row, stored.columns - 1 - pixel.column};
        case StoredTurn::Half:
            return {stored.columns - 1 - pixel.column, stored.rows - 1 - pixel.row};
        case StoredTurn::Upright:
            break;
    }
    return pixel;
}

class PhotoRenderer {
public:
    PhotoRenderer(const PhotoPlan& plan, const PhotoCamera& camera, const Station& station)
        : m_turn(plan.rig.turn),
          m_stored(plan.stored()),
          m_camera(camera),
          m_station(station),
          m_eye(station.pose.origin + station.pose.axes * camera.place()) {}

    std::vector<std::uint8_t> renderRows(std::uint32_t first, std::uint32_t end) const {
        std::vector<std::uint8_t> pixels;
        pixels.reserve(std::size_t{3} * m_stored.columns * (end - first));
        for (std::uint32_t row = first; row < end; ++row) {
            for (std::uint32_t column = 0; column < m_stored.columns; ++column) {
                const Colour colour = colourOf(uprightPixel(m_turn, m_stored, {column, row}));
                pixels.insert(pixels.end(), {colour.red, colour.green, colour.blue});
            }
        }
        return pixels;
    }

private:
    Colour colourOf(const Pixel& pixel) const {
        const Vector3 ray = m_station.pose.axes * m_camera.direction(pixel.column, pixel.row);
        const Hit hit = m_station.scene.cast(m_eye, ray);
        return hit ? notBlack(hit.colour) : skyTowards(ray);
    }

    StoredTurn m_turn;
    PhotoSize m_stored;
    const PhotoCamera& m_camera;
    const Station& m_station;
    Vector3 m_eye;  // metres, world frame
};

/// Bands of about 16,000 pixels: even a small photo has some for every core.
std::uint32_t rowsOfBand(std::uint32_t columns) {
    return std::max(1u, 16384u / std::max(1u, columns));
}

/// Takes a photo as it lies in its file, on all cores. No pixel is black: black stands for none where
/// photos colour a scan.
RenderedPhoto renderPhoto(const PhotoPlan& plan, const PhotoCamera& camera, const Station& station,
                          const ReportPixels& report) {
    const PhotoRenderer renderer(plan, camera, station);
    RenderedPhoto photo{plan.stored(), {}};
    photo.pixels.reserve(3 * photo.size.pixels());
    // A photo is walked row by row, as a scan is column by column.
    forEachBand(
        photo.size.rows, rowsOfBand(photo.size.columns),
        [&](ColumnBand band) { return renderer.renderRows(band.first, band.end); },
        [&](ColumnBand band, const std::vector<std::uint8_t>& rows) {
            photo.pixels.insert(photo.pixels.end(), rows.begin(), rows.end());
            report(std::uint64_t{band.end} * photo.size.columns);
        });
    return photo;
}

namespace fs = std::filesystem;

/// Encodes photos as JPEG, in high quality and with whole colours. One thread at a time per object.
class JpegEncoder {
public:
    JpegEncoder();
    ~JpegEncoder();
    JpegEncoder(const JpegEncoder&) = delete;
    JpegEncoder& operator=(const JpegEncoder&) = delete;

    /// The bytes stay until the next call.
    ///   shownPath  of the photo, for the message of ScanError(NotWritten)
    std::string_view encode(const RenderedPhoto& photo, const std::string& shownPath);

private:
    void* m_compressor = nullptr;
    unsigned char* m_bytes = nullptr;
};

JpegEncoder::JpegEncoder() : m_compressor(tjInitCompress()) {
}

JpegEncoder::~JpegEncoder() {
    tjFree(m_bytes);
    if (m_compressor) tjDestroy(m_compressor);
}

std::string_view JpegEncoder::encode(const RenderedPhoto& photo, const std::string& shownPath) {
    constexpr int kQuality = 95;
    tjFree(m_bytes);
    m_bytes = nullptr;
    unsigned long size = 0;
    const int failed =
        tjCompress2(m_compressor, photo.pixels.data(), static_cast<int>(photo.size.columns), 0,
                    static_cast<int>(photo.size.rows), TJPF_RGB, &m_bytes, &size, TJSAMP_444,
                    kQuality, TJFLAG_ACCURATEDCT);
    if (failed) {
        throw scan::ScanError(scan::ErrorKind::NotWritten, shownPath,
                              std::string("cannot be encoded: ") + tjGetErrorStr2(m_compressor));
    }
    return {reinterpret_cast<const char*>(m_bytes), size};
}

std::string inFolder(const std::string& folder, const std::string& name) {
    return (fs::path(folder) / name).string();
}

std::string photoFile(const PlannedPhoto& photo) {
    return photo.name + ".jpg";
}

std::vector<std::string> namesOf(const std::vector<CalibrationBytes>& files) {
    std::vector<std::string> names;
    names.reserve(files.size());
    for (const CalibrationBytes& file : files)
        names.push_back(file.name);
    return names;
}

using Parts = std::initializer_list<const char*>;

/// What makes a file a part of a station wherever it occurs in a name.
constexpr Parts kProjectParts = {"camcal", "CAMCAL", ".ofs"};
constexpr Parts kScanFolderParts = {".jpg", ".JPG", "camera_cfg", "CAMERA_CFG", ".ang",
                                    ".tor", ".kin", ".cmr",       ".ext"};

/// A file of another camera, or of an older and longer round, would be taken for one of these.
void requireNoStranger(const std::string& folder, Parts parts,
                       const std::vector<std::string>& own) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        std::error_code ignored;
        if (entry.is_directory(ignored)) continue;
        const std::string name = entry.path().filename().string();
        const bool isPart = std::any_of(parts.begin(), parts.end(), [&name](const char* part) {
            return name.find(part) != std::string::npos;
        });
        if (!isPart || std::find(own.begin(), own.end(), name) != own.end()) continue;
        throw scan::ScanError(scan::ErrorKind::NotWritten, entry.path().string(),
                              "would be taken for a part of the new photos",
                              "remove it or choose another folder");
    }
    if (error)
        throw scan::ScanError(scan::ErrorKind::NotWritten, folder,
                              "cannot be read: " + error.message());
}

/// Returns its length.
std::uint64_t writeFile(const std::string& staged, const std::string& path,
                        std::string_view content) {
    OutputFile out;
    requireWritten(out.create(staged.c_str()), path);
    out.append({reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
    requireWritten(out.close(), path);
    requireLength(staged, content.size(), path);
    return content.size();
}

}  // namespace

PhotoOutput::Output PhotoOutput::stage(const std::string& path) const {
    scan::requireNew(path, m_mayOverwrite);
    return {path, std::make_unique<scan::StagedScan>(path)};
}

PhotoOutput::PhotoOutput(const PhotoPlan& plan, const std::string& projectFolder,
                         const std::string& scanFolder, bool mayOverwrite)
    : m_plan(plan), m_mayOverwrite(mayOverwrite) {
    const auto project = projectFiles(plan), besideScan = scanFolderFiles(plan);
    std::vector<std::string> scanFolderNames = namesOf(besideScan);
    for (const PlannedPhoto& photo : plan.photos)
        scanFolderNames.push_back(photoFile(photo));
    requireNoStranger(projectFolder, kProjectParts, namesOf(project));
    requireNoStranger(scanFolder, kScanFolderParts, scanFolderNames);

    addCalibration(projectFolder, project);
    addCalibration(scanFolder, besideScan);
    for (const PlannedPhoto& photo : plan.photos)
        m_photos.push_back(stage(inFolder(scanFolder, photoFile(photo))));
}

void PhotoOutput::addCalibration(const std::string& folder,
                                 const std::vector<CalibrationBytes>& files) {
    for (const CalibrationBytes& file : files) {
        m_calibration.push_back(stage(inFolder(folder, file.name)));
        const Output& output = m_calibration.back();
        writeFile(output.staged->path(), output.path, file.bytes);
    }
}

void PhotoOutput::write(const Station& station, const scan::ProgressFunction& function) {
    const std::uint64_t pixels = m_plan.upright.pixels();
    scan::TaskProgress progress(function, "photos", pixels * m_photos.size(), "pixels");
    JpegEncoder encoder;
    for (std::size_t i = 0; i < m_photos.size(); ++i) {
        const RenderedPhoto photo =
            renderPhoto(m_plan, m_plan.photos[i].camera, station,
                        [&](std::uint64_t done) { progress.advanceTo(pixels * i + done); });
        m_bytes += writeFile(m_photos[i].staged->path(), m_photos[i].path,
                             encoder.encode(photo, m_photos[i].path));
    }
}

void PhotoOutput::commit() {
    for (const auto* outputs : {&m_calibration, &m_photos}) {
        for (const Output& output : *outputs)
            output.staged->commit();
    }
}

}  // namespace brisko::simulator
