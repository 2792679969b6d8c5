#include "rvx_scan_colorizer/projection.h"

#include <exception>

namespace brisko {

namespace {

int marginOf(int workingLength, int nominalLength, int nominalMargin) {
    return static_cast<int>(
        std::ceil(static_cast<double>(workingLength) * nominalMargin / nominalLength));
}

}  // namespace

int sensorWidth(double pixelSize) {
    return traitsOf(kindOfPixels(pixelSize)).sensor.width;
}

Projection::Projection(const CameraModel& model, const CameraTraits& traits,
                       const ImageSize& nominal, const ImageSize& working)
    : m_pose(model.pose),
      m_principalDistance(model.principalDistance * 1000),
      m_originX(model.principalX * 1000),
      // Model 0 counts the principal point's y down from the upper edge, the others up from it.
      m_originY(model.modelCode == 0 ? model.principalY * 1000 : -model.principalY * 1000),
      m_marginX(marginOf(working.width, nominal.width, traits.margin)),
      m_marginY(marginOf(working.height, nominal.height, traits.margin)) {
    const double width = working.width, height = working.height;
    m_pitchX = model.pitchX * 1000 * traits.sensor.width / width;
    m_pitchY = model.pitchY * 1000 * traits.sensor.height / height;
    m_tolerance = model.pitchX * 1000 * sensorWidth(model.pixelSize) / width / 10;
    if (!(m_pitchX > 0 && m_pitchY > 0)) return;
    m_firstColumn = m_marginX;
    m_endColumn = width - m_marginX;
    m_firstRow = m_marginY;
    m_endRow = height - m_marginY;
    m_distortion = Distortion(model.modelCode, model.coefficients,
                              std::hypot(width * m_pitchX, height * m_pitchY) / 2);
}

Vector3 Projection::directionTo(const Pixel& pixel, bool& isBeyondReach) const {
    if (!(m_pitchX > 0 && m_pitchY > 0 && m_principalDistance > 0)) throw std::exception();
    double x = pixel.column * m_pitchX - m_originX;
    double y = m_originY - pixel.row * m_pitchY;
    if (!m_distortion.isKnown()) throw std::exception();
    if (!m_distortion.invert(x, y, m_tolerance)) {
        if (!m_distortion.moveToReach(x, y)) throw std::exception();
        isBeyondReach = true;
    }
    const Vector3 direction = m_pose.toScanner({x, y, -m_principalDistance});
    const double length = std::sqrt(dot(direction, direction));
    if (!(length > 0) || !std::isfinite(length)) throw std::exception();
    return {direction[0] / length, direction[1] / length, direction[2] / length};
}

}  // namespace brisko
