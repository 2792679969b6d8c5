#include "rvx_scan_colorizer/image_cache.h"

#include "support/photo_station.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace brisko {
namespace {

/// Hands out photos of one pixel and remembers for whom. Camera 9 has none.
class Loads {
public:
    ImageCache::Loader loader() {
        return [this](int camera, const GoesOn&) {
            const std::lock_guard lock(m_mutex);
            ++m_count;
            if (camera == 9 && changes == 0) throw std::runtime_error("no such photo");
            return std::make_shared<const DecodedImage>(1, 1);
        };
    }
    /// Camera 9 gets its photo with the first change.
    ImageCache::Stamper stamper() {
        return [this](int) { return FileStamp{.length = static_cast<std::uint64_t>(changes)}; };
    }
    int changes = 0;
    int take() { return std::exchange(m_count, 0); }

private:
    std::mutex m_mutex;
    int m_count = 0;
};

/// Counts uses all at once where the photos are there.
void query(ImageCache& cache, const std::vector<int>& cameras) {
    const auto isLoaded = [&](int camera) { return cache.loaded(camera) != nullptr; };
    if (std::all_of(cameras.begin(), cameras.end(), isLoaded)) {
        for (const int camera : cameras)
            cache.useIn(0, camera);
        return cache.endQueries(1);
    }
    for (const int camera : cameras)
        ASSERT_NE(cache.use(camera), nullptr);
    cache.endQuery();
}

std::vector<int> loaded(const ImageCache& cache) {
    std::vector<int> cameras;
    for (int camera = 0; camera < 10; ++camera) {
        if (cache.isLoaded(camera)) cameras.push_back(camera);
    }
    return cameras;
}

TEST(ImageCache, TheLongestUnusedPhotoGoesFirst) {
    const struct {
        std::size_t slots;
        std::vector<std::vector<int>> queries;
        std::vector<int> loaded;
    } cases[] = {
        {3, {}, {0, 1, 2}},
        {3, {{1}, {3}}, {1, 2, 3}},       // 0 and 2 are as old as ever, so the lower slot goes
        {3, {{1}, {3}, {4}}, {1, 3, 4}},  // 2 was never used
        {3, {{1}, {3}, {4}, {1, 3, 4}, {5}}, {1, 4, 5}},  // all equal: the first slot, with 3
        {2, {{0}, {0, 2}, {3}}, {0, 3}},  // what a query loads is older than what it finds
        {2, {{1}, {0, 2}}, {1, 2}},       // use counts at the end of a query only
    };
    for (const auto& c : cases) {
        Loads loads;
        ImageCache cache(10, c.slots, loads.loader(), loads.stamper());
        cache.loadFirst(9);
        EXPECT_EQ(loads.take(), 9) << "the others are looked at";
        for (const std::vector<int>& cameras : c.queries)
            query(cache, cameras);
        EXPECT_EQ(loaded(cache), c.loaded) << &c - cases;
        if (&c == std::end(cases) - 1) {
            EXPECT_EQ(cache.pushedOut().size(), 1u) << "its pixels may still be wanted";
        }
    }
}

TEST(ImageCache, WhatCannotBeLoadedIsTriedAgainWhenItsFileChanged) {
    Loads loads;
    ImageCache cache(10, 2, loads.loader(), loads.stamper());
    cache.loadFirst(9);
    loads.take();
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(cache.use(9), nullptr);
        cache.dropQuery();
    }
    EXPECT_EQ(loads.take(), 1);
    query(cache, {0, 1});
    EXPECT_EQ(loads.take(), 2) << "the slot that was given up for it counts as new";
    query(cache, {0, 1});
    EXPECT_EQ(loads.take(), 0);
    loads.changes = 1;
    query(cache, {9});
    EXPECT_TRUE(cache.isLoaded(9));
}

TEST(ImageCache, WithoutSlotsNothingIsSeen) {
    Loads loads;
    ImageCache cache(10, 0, loads.loader(), loads.stamper());
    cache.loadFirst(0);
    EXPECT_EQ(cache.use(0), nullptr);
    EXPECT_EQ(loads.take(), 0);
    EXPECT_THROW(cache.loadFirst(10), std::runtime_error) << "a first load failed";
}

TEST(SharedImages, OneFileIsDecodedOnce) {
    const test::TempFolder folder;
    const std::string path = folder / "a.jpg";
    test::writeFile(path, test::jpegBytes(64, 32, test::Rgb{9, 9, 9}));
    std::vector<SharedImage> images(4);
    std::vector<std::thread> threads;
    for (SharedImage& image : images) {
        threads.emplace_back([&] { image = loadSharedImage(path, Turn::None); });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const SharedImage& image : images)
        EXPECT_EQ(image, images[0]);
    const SharedImage turned = loadSharedImage(path, Turn::Quarter);
    EXPECT_NE(turned, images[0]);
    EXPECT_EQ(turned->columns(), 32);

    // Another file of that name is another photo.
    test::writeFile(path, test::jpegBytes(16, 16, test::Rgb{9, 9, 9}));
    EXPECT_EQ(loadSharedImage(path, Turn::None)->columns(), 16);
    EXPECT_EQ(images[0]->columns(), 64);
    EXPECT_THROW(loadSharedImage(folder / "none.jpg", Turn::None), std::exception);
}

}  // namespace
}  // namespace brisko
