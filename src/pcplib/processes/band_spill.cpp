#include "pcplib/processes/band_spill.h"

#include "writers/ij_index.h"

#include <span>
#include <type_traits>

namespace QelPcpLib {

static_assert(std::is_trivially_copyable_v<PlacedPoint>,
              "points are written as they lie in memory");

BandSpill::BandSpill(const std::string& path) : m_path(path) {
    m_file.create(path.c_str());
}

BandSpill::~BandSpill() {
    m_reading.reset();
    m_file.close();
    brisko::removeFile(m_path);
}

bool BandSpill::add(const PlacedPoint& point) {
    Band& band = m_bands[point.cell.column / brisko::kTileSize];
    band.waiting.push_back(point);
    return band.waiting.size() < kChunkPoints || writeChunk(band);
}

bool BandSpill::writeChunk(Band& band) {
    band.chunks.push_back(m_file.position());
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(band.waiting.data());
    m_file.append({bytes, band.waiting.size() * sizeof(PlacedPoint)});
    band.waiting.clear();
    return !m_file.failed();
}

bool BandSpill::finish() {
    if (!m_file.close()) return false;
    m_reading = brisko::openFile(m_path.c_str(), "rb");
    return m_reading != nullptr;
}

bool BandSpill::take(std::uint32_t number, const std::function<bool(const PlacedPoint&)>& use) {
    const auto found = m_bands.find(number);
    if (found == m_bands.end()) return true;
    const Band band = std::move(found->second);
    m_bands.erase(found);
    std::vector<PlacedPoint> points(kChunkPoints);
    const std::size_t chunkBytes = kChunkPoints * sizeof(PlacedPoint);
    for (const std::uint64_t offset : band.chunks) {
        if (brisko::readAt(m_reading.get(), offset, points.data(), chunkBytes) < chunkBytes) {
            return false;
        }
        for (const PlacedPoint& point : points) {
            if (!use(point)) return false;
        }
    }
    for (const PlacedPoint& point : band.waiting) {
        if (!use(point)) return false;
    }
    return true;
}

}  // namespace QelPcpLib
