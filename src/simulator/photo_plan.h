#pragma once

#include "simulator/camera_rig.h"
#include "simulator/geometry.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko::simulator {

/// The camera of one photo: where its pixels look in the scanner's frame.
class PhotoCamera {
public:
    /// columns: of the upright photo; the sensor's are spread over them.
    ///   pose  of the camera in the scanner's frame, millimetres
    PhotoCamera(const CameraRig& rig, std::uint32_t columns, const Pose& pose)
        : m_lens(rig.lens),
          m_distance(rig.distance),
          m_fromLeft(rig.fromLeft),
          m_fromTop(rig.fromTop),
          m_pitch(rig.pitch * rig.columns / columns),
          m_pose(pose) {}

    /// Metres, scanner frame.
    Vector3 place() const { return m_pose.origin * 0.001; }
    const Pose& pose() const { return m_pose; }

    /// The direction, of length 1, that a pixel of the upright photo shows. Whole numbers are the
    /// middles of pixels.
    Vector3 direction(double column, double row) const {
        const PicturePlace place =
            m_lens.ideal({column * m_pitch - m_fromLeft, m_fromTop - row * m_pitch});
        // The camera looks along its -z.
        return unit(m_pose.axes * Vector3{place.right, place.up, -m_distance});
    }

private:
    Lens m_lens;
    double m_distance, m_fromLeft, m_fromTop, m_pitch;  // millimetres
    Pose m_pose;
};

/// Pixels.
struct PhotoSize {
    std::uint32_t columns = 0;
    std::uint32_t rows = 0;

    std::uint64_t pixels() const { return std::uint64_t{columns} * rows; }
};

/// A photo that is to be taken.
struct PlannedPhoto {
    std::string name;      // without extension
    double azimuth = 0;    // of the head, degrees, counter-clockwise from +x, -180 to 180
    double elevation = 0;  // degrees, positive up
    PhotoCamera camera;
};

/// The photos of a station.
struct PhotoPlan {
    /// divisor: photos have the sensor's columns and rows divided by it.
    PhotoPlan(PhotoKind photoKind, std::uint32_t divisor, const Pose& pose);

    PhotoKind kind;
    const CameraRig& rig;
    PhotoSize upright;
    Rotation levelling;  // from the scanner's frame to the one in which the head's angles are taken
    std::vector<PlannedPhoto> photos;

    /// As photos lie in their files.
    PhotoSize stored() const;
};

/// A small file with its bytes.
struct CalibrationBytes {
    std::string name;
    std::string bytes;
};

/// The files that describe how the photos were taken; docs/formats/camera_files.md has their layouts.
/// For the folder above the scan's:
std::vector<CalibrationBytes> projectFiles(const PhotoPlan& plan);
/// For the folder of the scan and its photos:
std::vector<CalibrationBytes> scanFolderFiles(const PhotoPlan& plan);

}  // namespace brisko::simulator
