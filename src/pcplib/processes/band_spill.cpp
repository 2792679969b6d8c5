#include "pcplib/processes/band_spill.h"

#include "layouts/ij_index.h"

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
    band.chunks.push_back({m_file.position(), band.waiting.size()});
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(band.waiting.data());
    m_file.append({bytes, band.waiting.size() * sizeof(PlacedPoint)});
    band.waiting.clear();
    return !m_file.failed();
}

bool BandSpill::finish() {
    for (auto& [number, band] : m_bands) {
        if (!band.waiting.empty() && !writeChunk(band)) return false;
        band.waiting = {};
    }
    if (!m_file.close()) return false;
    m_reading = brisko::openFile(m_path.c_str(), "rb");
    return m_reading != nullptr;
}

bool BandSpill::take(std::uint32_t number, const std::function<Placing(const PlacedPoint&)>& use) {
    const auto found = m_bands.find(number);
    if (found == m_bands.end()) return true;
    const std::vector<Chunk> chunks = std::move(found->second.chunks);
    m_bands.erase(found);
    std::vector<PlacedPoint> points(kChunkPoints);
    for (std::size_t c = 0; c < chunks.size(); ++c) {
        const std::size_t bytes = chunks[c].count * sizeof(PlacedPoint);
        if (brisko::readAt(m_reading.get(), chunks[c].offset, points.data(), bytes) < bytes) {
            return false;
        }
        for (std::size_t i = 0; i < chunks[c].count; ++i) {
            const Placing placing = use(points[i]);
            if (placing == Placing::Failed) return false;
            if (placing == Placing::Done) continue;
            std::vector<Chunk>& carried = m_bands[number + 1].chunks;
            carried.push_back({chunks[c].offset + i * sizeof(PlacedPoint), chunks[c].count - i});
            carried.insert(carried.end(), chunks.begin() + static_cast<std::ptrdiff_t>(c) + 1,
                           chunks.end());
            return true;
        }
    }
    return true;
}

}  // namespace QelPcpLib
