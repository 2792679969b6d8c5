#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include "rvx_scan_colorizer/rvx_scan_colorizer_impl.h"

namespace brisko {

RvxScanColorizer::RvxScanColorizer(const std::string& folder, std::size_t colorCacheCapacity,
                                   PhotoOutlines outlines)
    : m_impl(RvxScanColorizerImpl::Initialize(folder, colorCacheCapacity, outlines)) {
}

RvxScanColorizer::RvxScanColorizer(const RvxScanColorizer& other)
    : m_impl(std::make_unique<RvxScanColorizerImpl>(*other.m_impl)) {
    m_impl->loadFirst(false);
}

RvxScanColorizer::~RvxScanColorizer() = default;

void RvxScanColorizer::getColor(double x, double y, double z, std::int32_t& red,
                                std::int32_t& green, std::int32_t& blue) {
    const double position[3] = {x, y, z};
    std::uint8_t colour[3];
    colourPoints(position, 1, colour);
    red = colour[0];
    green = colour[1];
    blue = colour[2];
}

void RvxScanColorizer::colourPoints(const double* positions, std::size_t count,
                                    std::uint8_t* colours) {
    m_impl->colourPoints(positions, count, colours);
}

}  // namespace brisko
