#include "simulator/photo_plan.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace brisko::simulator {

namespace {

/// What remains of the scanner's turn in the world when its heading is taken away.
Rotation levellingOf(const Rotation& inWorld) {
    const double heading = std::atan2(inWorld.x.y, inWorld.x.x) * (180 / std::numbers::pi);
    return rotationAboutZ(-heading) * inWorld;
}

Pose cameraOnHead(const CameraRig& rig) {
    const Pose camera = {rig.place, rotationOf(rig.angles)};
    if (!rig.hasCarrier) return camera;
    return Pose{rig.carrierPlace, rotationOf(rig.carrierAngles)} * camera;
}

/// The head's x axis points to the azimuth and the elevation.
Pose headAt(const Rotation& levelling, double azimuth, double elevation) {
    return {{}, levelling.inverse() * rotationAboutZ(azimuth) * rotationAboutY(-elevation)};
}

std::string photoName(const CameraRig& rig, std::size_t number) {
    char text[16];
    std::snprintf(text, sizeof text, "%02zu", number);
    return std::string(rig.photosBegin) + text;
}

}  // namespace

PhotoPlan::PhotoPlan(PhotoKind photoKind, std::uint32_t divisor, const Pose& pose)
    : kind(photoKind),
      rig(rigOf(photoKind)),
      upright{rig.columns / divisor, rig.rows / divisor},
      levelling(rig.isLevelled ? levellingOf(pose.axes) : Rotation{}) {
    const double step = 360.0 / rig.photosAround;
    double start = -175;
    for (const double elevation : rig.elevations) {
        for (std::uint32_t i = 0; i < rig.photosAround; ++i) {
            const double azimuth = std::remainder(start + step * i, 360.0);
            const Pose head = headAt(levelling, azimuth, elevation);
            photos.push_back({photoName(rig, photos.size()), azimuth, elevation,
                              PhotoCamera(rig, upright.columns, head * cameraOnHead(rig))});
        }
        start += step / 2;  // the photos of the next round lie over the edges of these
    }
}

PhotoSize PhotoPlan::stored() const {
    return rig.turn == StoredTurn::Quarter ? PhotoSize{upright.rows, upright.columns} : upright;
}

namespace {

/// Fields one after the other, little-endian.
class FieldWriter {
public:
    FieldWriter& i32(std::int32_t value) { return put(static_cast<std::uint32_t>(value), 4); }
    FieldWriter& f64(double value) { return put(std::bit_cast<std::uint64_t>(value), 8); }
    FieldWriter& vector(const Vector3& v) { return f64(v.x).f64(v.y).f64(v.z); }
    /// Axis after axis.
    FieldWriter& rotation(const Rotation& r) { return vector(r.x).vector(r.y).vector(r.z); }

    std::string take() { return std::move(m_bytes); }

private:
    FieldWriter& put(std::uint64_t bits, int size) {
        for (int i = 0; i < size; ++i)
            m_bytes.push_back(static_cast<char>(bits >> (8 * i) & 0xFF));
        return *this;
    }

    std::string m_bytes;
};

/// Shortest decimals, separated by blanks; a decimal point whatever the host's locale is.
std::string lineOf(std::initializer_list<double> numbers) {
    std::string line;
    for (const double number : numbers) {
        char text[32];
        const char* const end = std::to_chars(text, text + sizeof text, number).ptr;
        line.append(line.empty() ? "" : " ")
            .append(std::string_view(text, static_cast<std::size_t>(end - text)));
    }
    return line + "\n";
}

/// Model 0 counts the principal point down from the upper edge, the others up.
double principalY(const CameraRig& rig) {
    return rig.modelCode == 0 ? rig.fromTop : -rig.fromTop;
}

std::string calibration(const CameraRig& rig) {
    constexpr int kCoefficients = 5;
    constexpr int kPairedRoom = 10;
    FieldWriter out;
    out.f64(rig.distance).f64(rig.fromLeft).f64(principalY(rig)).i32(rig.modelCode);
    const auto& [k1, k2, k3, p1, p2] = rig.lens;
    out.i32(kCoefficients).f64(k1).f64(k2).f64(k3).f64(p1).f64(p2);
    if (rig.file == CalibrationFile::Paired) {
        for (int i = kCoefficients; i < kPairedRoom; ++i)
            out.f64(0);
    }
    out.f64(rig.pitch).f64(rig.pitch).vector(rig.place);
    if (rig.file == CalibrationFile::Classic) return out.vector(rig.angles).take();
    out.rotation(rotationOf(rig.angles));
    if (rig.hasCarrier) out.vector(rig.carrierPlace).rotation(rotationOf(rig.carrierAngles));
    return out.take();
}

std::string headAngles(const PlannedPhoto& photo) {
    const auto stored = [](double degrees) {
        constexpr double kHalfTurn = 2147483647;
        return static_cast<std::int32_t>(std::lround(degrees / 180 * kHalfTurn));
    };
    return FieldWriter().i32(stored(photo.azimuth)).i32(stored(photo.elevation)).take();
}

std::string emptyRecord(std::size_t words) {
    return std::string(words * sizeof(std::int32_t), '\0');
}

std::string ownCamera(const CameraRig& rig) {
    constexpr double kMicrometres = 1000;
    const auto& [k1, k2, k3, p1, p2] = rig.lens;
    return lineOf({rig.pitch * kMicrometres}) +
           lineOf({rig.distance, rig.fromLeft, principalY(rig)}) + lineOf({k1, k2, k3, p1, p2});
}

std::string ownPlace(const PhotoCamera& camera) {
    const Vector3 metres = camera.place(), angles = anglesOf(camera.pose().axes);
    return lineOf({metres.x, metres.y, metres.z}) + lineOf({angles.x, angles.y, angles.z});
}

void addCompanions(const PhotoPlan& plan, const PlannedPhoto& photo,
                   std::vector<CalibrationBytes>& files) {
    const CameraRig& rig = plan.rig;
    if (rig.file == CalibrationFile::WithPhoto) {
        files.push_back({photo.name + ".cmr", ownCamera(rig)});
        files.push_back({photo.name + ".ext", ownPlace(photo.camera)});
        return;
    }
    files.push_back({photo.name + ".ang", headAngles(photo)});
    if (rig.isLevelled) {
        // Row after row, which are the columns of the way back.
        const Rotation rows = plan.levelling.inverse();
        files.push_back({photo.name + ".tor", FieldWriter().rotation(rows).take()});
    }
    if (rig.recordWords > 0) files.push_back({photo.name + ".kin", emptyRecord(rig.recordWords)});
}

}  // namespace

std::vector<CalibrationBytes> projectFiles(const PhotoPlan& plan) {
    std::vector<CalibrationBytes> files;
    if (plan.rig.file != CalibrationFile::WithPhoto) {
        files.push_back({plan.rig.fileName, calibration(plan.rig)});
    }
    if (plan.rig.hasOffset) files.push_back({"station.ofs", "0 0 0\n"});
    return files;
}

std::vector<CalibrationBytes> scanFolderFiles(const PhotoPlan& plan) {
    std::vector<CalibrationBytes> files;
    if (plan.rig.step > 0) {
        files.push_back(
            {"camera_cfg", plan.rig.step == 30 ? "WCAMSTEP=30STEP" : "WCAMSTEP=60STEP"});
    }
    for (const PlannedPhoto& photo : plan.photos)
        addCompanions(plan, photo, files);
    return files;
}

}  // namespace brisko::simulator
