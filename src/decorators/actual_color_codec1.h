#pragma once

#include "decorators/color_wrapper.h"
#include "rvx_scan_colorizer/folder_listing.h"
#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include <memory>

namespace brisko {

/// Colours each point as it is read. Codec is BriskoCodec or BriskoGridCodec.
template <class Codec>
class ActualColorCodec1 : public ColorWrapper<Codec> {
public:
    using ColorWrapper<Codec>::ColorWrapper;

    bool Open(const char* path) override {
        Close();
        this->findGrid();
        if (!this->codec() || !path) return false;
        try {
            m_colorizer = std::make_unique<RvxScanColorizer>(
                folderOf(path), RvxScanColorizer::kCapacity, this->outlines());
        } catch (...) {
            return false;
        }
        return this->openWrapped(path);
    }

    void Close() override {
        if (this->codec()) this->codec()->Close();
        m_colorizer.reset();
    }

    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        return this->codec() &&
               this->codec()->ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha) &&
               colour(x, y, z, red, green, blue);
    }

    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        return this->codec() &&
               this->codec()->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha) &&
               colour(x, y, z, red, green, blue);
    }

protected:
    /// Colours a measured point and takes it to where it is delivered. Always true: a point that
    /// cannot be coloured keeps the colour that it came with.
    bool colour(double& x, double& y, double& z, std::uint8_t& red, std::uint8_t& green,
                std::uint8_t& blue) {
        if (m_colorizer) {
            try {
                std::int32_t r = 0, g = 0, b = 0;
                m_colorizer->getColor(x, y, z, r, g, b);
                red = static_cast<std::uint8_t>(r);
                green = static_cast<std::uint8_t>(g);
                blue = static_cast<std::uint8_t>(b);
            } catch (...) {
                // The point is worth more than its colour.
            }
        }
        this->place(x, y, z);
        return true;
    }

private:
    std::unique_ptr<RvxScanColorizer> m_colorizer;
};

/// The same with the grid calls.
class ActualColorGridCodec1 : public ActualColorCodec1<BriskoGridCodec> {
public:
    using ActualColorCodec1<BriskoGridCodec>::ActualColorCodec1;

    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        if (grid()) grid()->GetGridSize(columns, rows, tileSize);
    }

    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        return grid() &&
               grid()->ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column,
                                          row) &&
               colour(x, y, z, red, green, blue);
    }

    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        return grid() &&
               grid()->ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column,
                                         row) &&
               colour(x, y, z, red, green, blue);
    }
};

}  // namespace brisko
