#pragma once

#include "base/file.h"
#include "base/worker_pool.h"
#include "rvx_scan_colorizer/decoded_image.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brisko {

/// A decoded photo. It never changes, so all users of the same file share it.
using SharedImage = std::shared_ptr<const DecodedImage>;

/// Decodes a photo, or returns the one that this process still holds: the same state of the same file,
/// turned the same way. Different photos are decoded in parallel; a thread that asks for a photo that
/// is being decoded waits for it.
/// Throws: as readImage.
SharedImage loadSharedImage(const std::string& path, Turn turn, const GoesOn& goesOn = {});

/// The decoded photos of one handle: at most so many; the photo longest unused is dropped first.
///
/// Time is counted in queries. A photo that a query uses is as new as the end of that query; one that
/// it has to load is a query older, and so is chosen before those used along with it.
class ImageCache {
public:
    using Loader = std::function<SharedImage(int camera, const GoesOn& goesOn)>;
    /// The state of a camera's file now; nothing when it is not there.
    using Stamper = std::function<std::optional<FileStamp>(int camera)>;

    /// Empty slots. They count as long unused, the first as the oldest.
    ImageCache(std::size_t cameras, std::size_t capacity, Loader loader, Stamper stamper);

    /// Loads the first photos, at most so many, in several threads, and keeps as many as there are
    /// slots. The others are loaded to see that they can be. Throws what the loader throws, and WorkStopped
    /// where goesOn() answers false.
    void loadFirst(std::size_t photos, const GoesOn& goesOn = {});
    std::size_t slots() const { return m_slots.size(); }

    /// The photo of a camera, for the query that is running. Loads it when it is not there, into the
    /// slot of the one longest unused. Null when it cannot be loaded; that is tried again when its
    /// file is another one, or has changed.
    const DecodedImage* use(int camera) {
        const int slot = m_slotOf[static_cast<std::size_t>(camera)];
        if (slot < 0) [[unlikely]]
            return setImage(oldestSlot(), camera);
        m_used.push_back(slot);
        return m_slots[static_cast<std::size_t>(slot)].image.get();
    }

    /// The photo of a camera where it is there; null where it would have to be loaded. No use of it.
    const DecodedImage* loaded(int camera) const {
        const int slot = m_slotOf[static_cast<std::size_t>(camera)];
        return slot < 0 ? nullptr : m_slots[static_cast<std::size_t>(slot)].image.get();
    }
    /// Whether all photos have a slot, so that it does not matter which one was used when.
    bool keepsAll() const { return m_slots.size() == m_slotOf.size(); }
    /// Many queries at once: the last of them that used a camera's photo, which is loaded, counted from 0; then
    /// how many there were.
    void useIn(std::size_t query, int camera) {
        const int slot = m_slotOf[static_cast<std::size_t>(camera)];
        m_slots[static_cast<std::size_t>(slot)].lastUse =
            m_query + static_cast<std::int64_t>(query);
    }
    void endQueries(std::size_t count) { m_query += static_cast<std::int64_t>(count); }

    /// Ends a query that went through.
    void endQuery() {
        for (const int slot : m_used)
            m_slots[static_cast<std::size_t>(slot)].lastUse = m_query;
        dropQuery();
        ++m_query;
    }
    /// Ends a query that failed: it used nothing.
    void dropQuery() { m_used.clear(); }

    /// Photos that were pushed out since this was emptied. They live until then, as pixels of them may
    /// still be wanted.
    std::vector<SharedImage>& pushedOut() { return m_pushedOut; }

    bool isLoaded(int camera) const { return m_slotOf[static_cast<std::size_t>(camera)] >= 0; }

private:
    static constexpr int kNoSlot = -1;
    static constexpr std::int64_t kLongAgo = -100;

    struct Slot {
        SharedImage image;
        int camera = -1;
        std::int64_t lastUse = kLongAgo;
    };

    std::size_t oldestSlot() const;
    const DecodedImage* setImage(std::size_t slot, int camera);

    Loader m_loader;
    Stamper m_stamper;
    std::vector<Slot> m_slots;
    std::vector<int> m_slotOf;  // by camera
    std::vector<int> m_used;    // slots, in the query that is running
    std::map<int, std::optional<FileStamp>>
        m_unloadable;  // cameras, and their files as they failed
    std::vector<SharedImage> m_pushedOut;
    std::int64_t m_query = 1;
};

}  // namespace brisko
