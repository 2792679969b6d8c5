#include "simulate/pose.h"

#include <algorithm>
#include <iterator>
#include <numbers>

namespace brisko::tool {

Pose::Pose(const Vector3& position, double heading, double pitch, double roll)
    : m_position(position) {
    constexpr double kDegree = std::numbers::pi / 180;
    const double ch = std::cos(heading * kDegree), sh = std::sin(heading * kDegree);
    const double cp = std::cos(pitch * kDegree), sp = std::sin(pitch * kDegree);
    const double cr = std::cos(roll * kDegree), sr = std::sin(roll * kDegree);
    m_rows[0] = {ch * cp, ch * sp * sr - sh * cr, ch * sp * cr + sh * sr};
    m_rows[1] = {sh * cp, sh * sp * sr + ch * cr, sh * sp * cr - ch * sr};
    m_rows[2] = {-sp, cp * sr, cp * cr};
}

void Pose::fillMatrix(double (&matrix)[16]) const {
    const double filled[16] = {
        m_rows[0].x, m_rows[0].y, m_rows[0].z, m_position.x,  //
        m_rows[1].x, m_rows[1].y, m_rows[1].z, m_position.y,  //
        m_rows[2].x, m_rows[2].y, m_rows[2].z, m_position.z,  //
        0,           0,           0,           1,
    };
    std::copy(std::begin(filled), std::end(filled), matrix);
}

}  // namespace brisko::tool
