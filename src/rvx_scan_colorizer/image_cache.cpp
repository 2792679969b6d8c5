#include "rvx_scan_colorizer/image_cache.h"

#include "rvx_scan_colorizer/parallel_for.h"

#include <algorithm>

namespace brisko {

ImageCache::ImageCache(std::size_t cameras, std::size_t capacity, Loader loader)
    : m_loader(std::move(loader)),
      m_slots(std::min(cameras, capacity)),
      m_slotOf(cameras, kNoSlot) {
    m_used.reserve(cameras);
}

void ImageCache::loadFirst() {
    parallelFor(m_slots.size(), [this](std::size_t i) {
        const int camera = static_cast<int>(i);
        m_slots[i].image = m_loader(camera);
        m_slots[i].camera = camera;
        m_slotOf[i] = camera;
    });
}

std::size_t ImageCache::oldestSlot() const {
    const auto oldest =
        std::min_element(m_slots.begin(), m_slots.end(),
                         [](const Slot& a, const Slot& b) { return a.lastUse < b.lastUse; });
    return static_cast<std::size_t>(oldest - m_slots.begin());
}

const DecodedImage* ImageCache::setImage(std::size_t place, int camera) {
    int& slotOfCamera = m_slotOf[static_cast<std::size_t>(camera)];
    if (m_slots.empty() || slotOfCamera == kUnloadable) return nullptr;
    Slot& slot = m_slots[place];
    if (slot.camera >= 0) m_slotOf[static_cast<std::size_t>(slot.camera)] = kNoSlot;
    if (slot.image) m_pushedOut.push_back(std::move(slot.image));
    slot = {nullptr, -1, m_query - 1};
    try {
        slot.image = m_loader(camera);
    } catch (...) {
        slotOfCamera = kUnloadable;
        return nullptr;
    }
    slot.camera = camera;
    slotOfCamera = static_cast<int>(place);
    return slot.image.get();
}

}  // namespace brisko
