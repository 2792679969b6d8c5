#include "rvx_scan_colorizer/image_cache.h"

#include <brisko_codec/threads.h>

#include "base/file.h"
#include "rvx_scan_colorizer/jpeg_file.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <tuple>

namespace brisko {

namespace {

using Key = std::tuple<FileStamp, Turn>;

struct Entry {
    std::mutex mutex;  // held while the photo is decoded
    std::weak_ptr<const DecodedImage> image;
};

/// All photos that somebody in this process holds. Never destroyed: a worker may outlive it.
class Registry {
public:
    static Registry& instance() {
        static Registry& registry = *new Registry;
        return registry;
    }

    std::shared_ptr<Entry> entry(const Key& key) {
        const std::lock_guard lock(m_mutex);
        forgetUnused();
        std::shared_ptr<Entry>& entry = m_entries[key];
        if (!entry) entry = std::make_shared<Entry>();
        return entry;
    }

private:
    /// An entry that only the registry holds is not being filled, and no other thread can get it now.
    /// Its mutex is locked all the same, so that what the last thread wrote into it is visible here.
    void forgetUnused() {
        std::erase_if(m_entries, [](const auto& item) {
            Entry& entry = *item.second;
            if (item.second.use_count() > 1) return false;
            const std::lock_guard lock(entry.mutex);
            return entry.image.expired();
        });
    }

    std::mutex m_mutex;
    std::map<Key, std::shared_ptr<Entry>> m_entries;
};

}  // namespace

SharedImage loadSharedImage(const std::string& path, Turn turn, const GoesOn& goesOn) {
    const std::optional<FileStamp> stamp = fileStamp(path.c_str());
    if (!stamp) throw std::exception();
    const std::shared_ptr<Entry> entry = Registry::instance().entry({*stamp, turn});
    const std::lock_guard lock(entry->mutex);
    SharedImage image = entry->image.lock();
    if (!image) {
        image = std::make_shared<const DecodedImage>(readImage(path, turn, goesOn));
        entry->image = image;
    }
    return image;
}

ImageCache::ImageCache(std::size_t cameras, std::size_t capacity, Loader loader, Stamper stamper)
    : m_loader(std::move(loader)),
      m_stamper(std::move(stamper)),
      m_slots(std::min(cameras, capacity)),
      m_slotOf(cameras, kNoSlot) {
    m_used.reserve(cameras);
}

void ImageCache::loadFirst(std::size_t photos, const GoesOn& goesOn) {
    const auto load = [this](std::size_t i, const GoesOn& isWanted) {
        const int camera = static_cast<int>(i);
        SharedImage image = m_loader(camera, isWanted);
        if (i >= m_slots.size()) return;
        m_slots[i].image = std::move(image);
        m_slots[i].camera = camera;
        m_slotOf[i] = camera;
    };
    forEachIndexWhile(goesOn, std::min(photos, m_slotOf.size()), load, jobThreads());
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
    // Before the file is read: a change during the reading counts as a change.
    const std::optional<FileStamp> stamp = m_stamper(camera);
    try {
        slot.image = m_loader(camera, {});
    } catch (...) {
        m_unloadable[camera] = stamp;
        return nullptr;
    }
    slot.camera = camera;
    slotOfCamera = static_cast<int>(place);
    return slot.image.get();
}

}  // namespace brisko
