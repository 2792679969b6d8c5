#include "base/input_window.h"

#include "base/file.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <numeric>

namespace brisko {
namespace {

TEST(InputWindow, HandsOutTheWholeFileInOrder) {
    const test::TempFolder folder;
    test::Bytes content(1000);
    std::iota(content.begin(), content.end(), std::uint8_t{0});
    test::writeFile(folder / "in", content);
    const FilePtr file = openFile((folder / "in").c_str(), "rb");
    InputWindow input(file.get(), 64);
    test::Bytes seen;
    for (std::size_t wanted = 1; !input.atLeast(wanted).empty(); wanted = wanted % 64 + 1) {
        EXPECT_EQ(input.position(), seen.size());
        const auto bytes = input.atLeast(wanted);
        EXPECT_EQ(bytes.size() < wanted, seen.size() + wanted > content.size());
        const std::size_t used = std::min(wanted, bytes.size());
        seen.insert(seen.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(used));
        input.skip(used);
    }
    EXPECT_EQ(seen, content);
    EXPECT_FALSE(input.failed());
}

TEST(InputWindow, TellsBytesThatWentMissing) {
    const test::TempFolder folder;
    test::writeFile(folder / "in", test::Bytes(1000));
    const FilePtr file = openFile((folder / "in").c_str(), "rb");
    InputWindow input(file.get(), 64);
    test::writeFile(folder / "in", test::Bytes(10));
    EXPECT_EQ(input.atLeast(20).size(), 10U);
    EXPECT_TRUE(input.failed());
}

}  // namespace
}  // namespace brisko
