#include "rvx_scan_colorizer/image_cache.h"

#include "base/worker_pool.h"

#include <algorithm>

namespace brisko {

ImageCache::ImageCache(std::size_t cameras, std::size_t capacity, Loader loader, Stamper stamper)
    : m_loader(std::move(loader)),
      m_stamper(std::move(stamper)),
      m_slots(std::min(cameras, capacity)),
      m_slotOf(cameras, kNoSlot) {
    m_used.reserve(cameras);
}

void ImageCache::loadFirst(std::size_t photos) {
    forEachIndex(std::min(photos, m_slotOf.size()), [this](std::size_t i) {
        const int camera = static_cast<int>(i);
        SharedImage image = m_loader(camera);
        if (i >= m_slots.size()) return;
        m_slots[i].image = std::move(image);
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
    if (m_slots.empty()) return nullptr;
    const auto failed = m_unloadable.find(camera);
    if (failed != m_unloadable.end()) {
        if (m_stamper(camera) == failed->second) return nullptr;
        m_unloadable.erase(failed);
    }
    Slot& slot = m_slots[place];
    if (slot.camera >= 0) m_slotOf[static_cast<std::size_t>(slot.camera)] = kNoSlot;
    if (slot.image) m_pushedOut.push_back(std::move(slot.image));
    slot = {nullptr, -1, m_query - 1};
    // Before the file is read: what changes it meanwhile counts as a change.
    const std::optional<FileStamp> stamp = m_stamper(camera);
    try {
        slot.image = m_loader(camera);
    } catch (...) {
        m_unloadable[camera] = stamp;
        return nullptr;
    }
    slot.camera = camera;
    slotOfCamera = static_cast<int>(place);
    return slot.image.get();
}

}  // namespace brisko
