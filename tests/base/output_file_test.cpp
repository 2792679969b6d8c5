#include "base/output_file.h"
#include "base/file.h"
#include "layouts/ij_index.h"
#include "layouts/output_limit.h"

#include "support/file_size_limit.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <numeric>

namespace brisko {
namespace {

using namespace test;

TEST(OutputLimit, IsAShareOfTheInputAndWhatTheDiskHas) {
    const TempFolder folder;
    const std::string path = folder / "out";
    constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;
    EXPECT_TRUE(isOutputReasonable(1, 0, path));
    EXPECT_FALSE(isOutputReasonable(kGiB + 1, 0, path));
    EXPECT_FALSE(isOutputReasonable(kGiB + 64 * 1000 + 1, 1000, path));
    EXPECT_FALSE(isOutputReasonable(freeSpaceBeside(path) + kGiB, ~std::uint64_t{0}, path));
    // One point on 65 x 64 tiles: its new index is as large as the one it is made from.
    const OutputBounds bounds{65 * 256, 64 * 256, 1, true};
    EXPECT_TRUE(mayBeWritten(bounds, 65 * 64 * ijTileBytes(kTileSize), path));
    EXPECT_FALSE(mayBeWritten(bounds, 200, path));
}

Bytes counting(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

TEST(OutputFile, PatchesReachBytesInTheBufferAndOnDisk) {
    const TempFolder folder;
    const std::string path = folder / "out";
    OutputFile file;
    ASSERT_TRUE(file.create(path.c_str()));
    Bytes expected = counting(700'000);
    file.append(std::span(expected).first(10));
    file.append(std::span(expected).subspan(10, 600'000));
    file.append(std::span(expected).subspan(600'010));
    const Bytes patch{0xAA, 0xBB, 0xCC, 0xDD};
    for (const std::size_t at : {0UL, 300'000UL, 600'006UL, 699'996UL}) {
        file.patch(at, patch);
        std::copy(patch.begin(), patch.end(), expected.begin() + static_cast<std::ptrdiff_t>(at));
    }
    file.appendZeros(200'000);
    expected.resize(expected.size() + 200'000);
    EXPECT_EQ(file.position(), expected.size());
    EXPECT_TRUE(file.close());
    EXPECT_EQ(readFile(path), expected);
}

TEST(OutputFile, StopsAtTheFirstErrorButStillPatches) {
    const TempFolder folder;
    const std::string path = folder / "out";
    OutputFile file;
    ASSERT_TRUE(file.create(path.c_str()));
    {
        const FileSizeLimit limit(1000);
        file.append(counting(600));
        file.flush();
        EXPECT_FALSE(file.failed());
        file.append(counting(600));
        file.flush();
        EXPECT_TRUE(file.failed());
        EXPECT_EQ(file.onDisk(), 1000U);
    }
    file.append(counting(100));  // there is room again: nothing may land after the hole
    file.patch(0, Bytes{0xEE});
    EXPECT_FALSE(file.close());
    const Bytes bytes = readFile(path);
    EXPECT_EQ(bytes.size(), 1000U);
    EXPECT_EQ(bytes[0], 0xEE);
    EXPECT_EQ(bytes[600], 0);
}

}  // namespace
}  // namespace brisko
