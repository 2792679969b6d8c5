#include "codec/actual_cl3_no_ij_codec.h"

namespace brisko {

ActualCL3NoIjCodec::ActualCL3NoIjCodec() {
    m_reader.makeIndexOptional();
}
ActualCL3NoIjCodec::~ActualCL3NoIjCodec() = default;

bool ActualCL3NoIjCodec::Open(const char* path) {
    return m_reader.Open(path);
}
void ActualCL3NoIjCodec::Close() {
    m_reader.Close();
}
std::int64_t ActualCL3NoIjCodec::GetPointCount() {
    return m_reader.GetPointCount();
}

void ActualCL3NoIjCodec::GetBounds(double& minX, double& minY, double& minZ, double& maxX,
                                   double& maxY, double& maxZ, std::int64_t& count) {
    m_reader.GetBounds(minX, minY, minZ, maxX, maxY, maxZ, count);
}

bool ActualCL3NoIjCodec::ReadFirstPoint(double& x, double& y, double& z, float& intensity,
                                        std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                        std::uint8_t& alpha) {
    return m_reader.ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha);
}

bool ActualCL3NoIjCodec::ReadNextPoint(double& x, double& y, double& z, float& intensity,
                                       std::uint8_t& red, std::uint8_t& green, std::uint8_t& blue,
                                       std::uint8_t& alpha) {
    return m_reader.ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
}

std::size_t ActualCL3NoIjCodec::readBatch(const PointArrays& arrays, std::size_t capacity) {
    return m_reader.readBatch(arrays, capacity);
}

}  // namespace brisko
