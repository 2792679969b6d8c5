#pragma once

#include "simulate/photos/camera_rig.h"

namespace brisko::tool {

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

}  // namespace brisko::tool
