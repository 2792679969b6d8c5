#pragma once

#include <brisko_codec/codec.h>

#include "support/scan_bytes.h"

#include <cstring>
#include <functional>

namespace brisko::test {

/// A host's own codec: so many points, made as they are asked for, in a grid of 100 rows. Opens
/// everything but "missing" and knows of no frames.
class MadeCodec : public BriskoGridCodec {
public:
    using Maker = std::function<TestPoint(std::size_t)>;

    MadeCodec(std::size_t count, Maker pointAt, int* destroyed = nullptr)
        : m_count(count), m_pointAt(std::move(pointAt)), m_destroyed(destroyed) {}
    ~MadeCodec() override {
        if (m_destroyed) ++*m_destroyed;
    }

    bool Open(const char* path) override {
        return isOpen = path != nullptr && std::strcmp(path, "missing") != 0;
    }
    void Close() override { isOpen = false; }
    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override {
        minX = minY = minZ = -4;
        maxX = maxY = maxZ = 4;
        count = static_cast<std::int64_t>(m_count);
    }
    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        m_next = 0;
        return ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
    }
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        unsigned column = 0, row = 0;
        return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        columns = m_count / 100 + 1;
        rows = 100;
        tileSize = 256;
    }
    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        m_next = 0;
        return ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        if (!isOpen || m_next >= m_count) {
            ++callsAfterEnd;
            return false;
        }
        if (beforePoint) beforePoint(m_next);
        const TestPoint p = m_pointAt(m_next++);
        x = p.x, y = p.y, z = p.z;
        intensity = p.intensity;
        red = p.red, green = p.green, blue = p.blue;
        alpha = 255;
        column = p.column, row = p.row;
        return true;
    }

    bool isOpen = false;
    int callsAfterEnd = 0;
    std::function<void(std::size_t)> beforePoint;

private:
    std::size_t m_count;
    Maker m_pointAt;
    int* m_destroyed;
    std::size_t m_next = 0;
};

}  // namespace brisko::test
