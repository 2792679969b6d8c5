#include "rvx_scan_colorizer/shared_images.h"

#include "base/file.h"
#include "rvx_scan_colorizer/jpeg_file.h"

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
    /// An entry that only the registry holds is not being filled, and nobody can come by it now. Its
    /// mutex is locked all the same: only so is seen what the last one to fill it wrote.
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

SharedImage loadSharedImage(const std::string& path, Turn turn) {
    const std::optional<FileStamp> stamp = fileStamp(path.c_str());
    if (!stamp) throw std::exception();
    const std::shared_ptr<Entry> entry = Registry::instance().entry({*stamp, turn});
    const std::lock_guard lock(entry->mutex);
    SharedImage image = entry->image.lock();
    if (!image) {
        image = std::make_shared<const DecodedImage>(readImage(path, turn));
        entry->image = image;
    }
    return image;
}

}  // namespace brisko
