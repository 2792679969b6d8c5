#include "simulator/photo_output.h"

#include <brisko_scan/scan_error.h>

#include "base/output_file.h"
#include "simulator/photo_renderer.h"
#include "simulator/scan_output.h"

#include <turbojpeg.h>
#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <system_error>

namespace brisko::simulator {

namespace fs = std::filesystem;

namespace {

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
