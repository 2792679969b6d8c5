#include "pcplib/files/pcp_file_mapping.h"

#include "pcplib/files/pcp_file.h"
#include "support/scan_bytes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

/// A mapping of its own over a file of the given bytes.
struct Mapped {
    explicit Mapped(const Bytes& bytes, std::int64_t capacity = 1000)
        : content((writeFile(folder / "data", bytes), bytes)),
          opened(file.Open(folder / "data", OpenMode::MappedReadWrite)),
          mapping(file, bytes.size(), capacity) {}

    TempFolder folder;
    PcpFile file;
    Bytes content;
    bool opened;
    PcpFileMapping mapping;
};

Bytes randomBytes(std::size_t size) {
    std::mt19937 random(7);
    Bytes bytes(size);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

TEST(PcpFileMapping, TheWindowBeginsAQuarterBeforeWhatIsAskedFor) {
    const struct {
        std::uint64_t offset, length;
        std::int64_t windowOffset, capacity;
    } cases[] = {
        {5000, 100, 4750, 1000}, {100, 10, 0, 1000},      {9990, 10, 9740, 1000},
        {5000, 666, 4750, 1000}, {5000, 667, 4667, 1334},  // over two thirds: twice as long
        {0, 10000, 0, 20000},
    };
    for (const auto& [offset, length, windowOffset, capacity] : cases) {
        Mapped scan(randomBytes(10000));
        EXPECT_LT(scan.mapping.GetWindowOffset(), 0);
        const std::uint8_t* const bytes = scan.mapping.MapWindow(offset, length);
        ASSERT_TRUE(bytes);
        EXPECT_TRUE(
            std::equal(bytes, bytes + length, scan.content.begin() + static_cast<long>(offset)));
        EXPECT_EQ(scan.mapping.GetWindowOffset(), windowOffset) << offset << ", " << length;
        EXPECT_EQ(scan.mapping.GetCapacity(), capacity) << offset << ", " << length;
    }
}

TEST(PcpFileMapping, BytesBehindTheFileAreZeroAndNeverWritten) {
    Mapped scan({1, 2, 3, 4, 5});
    std::uint8_t* const bytes = scan.mapping.MapWindow(3, 600);
    ASSERT_TRUE(bytes);
    Bytes expected(600);
    expected[0] = 4;
    expected[1] = 5;
    EXPECT_EQ(Bytes(bytes, bytes + 600), expected);
    bytes[1] = 50;
    scan.mapping.Flush();
    EXPECT_EQ(readFile(scan.folder / "data"), (Bytes{1, 2, 3, 4, 50}));

    constexpr std::uint64_t kHuge = ~std::uint64_t{0};
    for (const auto& [offset, length] : {std::pair{std::uint64_t{0}, std::uint64_t{0}},
                                         {kHuge, std::uint64_t{1}},
                                         {std::uint64_t{10}, kHuge - 5}})
        EXPECT_EQ(scan.mapping.MapWindow(offset, length), nullptr) << offset;
    EXPECT_EQ(*scan.mapping.MapWindow(2, 1), 3);
}

/// What a window of two small words and two bytes is made of, so that its sum stays below 2^31.
const Bytes kSmallWords = {1, 0, 0, 0, 2, 0, 0, 0, 9, 8};
const Bytes kLargeWords = {1, 0, 0, 0x80, 2, 0, 0, 0, 9, 8};

TEST(PcpFileMapping, IsWrittenBackWhenItHasChanged) {
    const auto swapWords = [](PcpFile& file) {
        std::swap_ranges(file.GetRecord(0, 0), file.GetRecord(0, 0) + 4, file.GetRecord(4, 0));
    };
    const struct {
        const char* what;
        const Bytes& content;
        void (*edit)(PcpFile&);
        bool written;
    } cases[] = {
        {"nothing", kSmallWords, [](PcpFile&) {}, false},
        {"nothing, but a sum of more than 31 bits", kLargeWords, [](PcpFile&) {}, true},
        {"a word", kSmallWords, [](PcpFile& file) { ++*file.GetRecord(0, 0); }, true},
        {"a byte behind the last word", kSmallWords, [](PcpFile& file) { ++*file.GetRecord(9, 0); },
         true},
        {"an order of words that leaves their sum alone", kSmallWords, swapWords, false},
        {"the same order through Write", kSmallWords,
         [](PcpFile& file) {
             file.Seek(0);
             file.Write("\2\0\0\0\1\0\0\0", 8);
         },
         true},
    };
    for (const auto& [what, content, edit, written] : cases) {
        const TempFolder folder;
        writeFile(folder / "data", content);
        PcpFile file;
        ASSERT_TRUE(file.OpenMapped(folder / "data"));
        ASSERT_TRUE(file.GetRecord(0, 0));
        // Whoever changes the file meanwhile keeps that change exactly when nothing is written.
        const Bytes others(content.size(), 0xee);
        writeFile(folder / "data", others);
        edit(file);
        file.Close();
        EXPECT_EQ(readFile(folder / "data") != others, written) << what;
    }
}

TEST(PcpFileMapping, AnIndexIsSeenATileAtATime) {
    const struct {
        std::uint32_t tileSize;
        std::uint64_t fileSize;
        std::uint32_t viewSize;
    } cases[] = {{256, 300'000, 2'000'000},
                 {1100, 10'000'000, 4'840'000},
                 {4096, 20'000'000, 16'000'000},
                 {0xFFFFFFFF, 100, 2'000'000}};
    for (const auto& c : cases) {
        const TempFolder folder;
        writeFile(folder / "scan.ij", ijHeader(1, 1, c.tileSize));
        std::filesystem::resize_file(folder / "scan.ij", c.fileSize);
        PcpFile file;
        ASSERT_TRUE(file.OpenMappedIndex(folder / "scan.ij"));
        EXPECT_EQ(file.GetViewSize(), c.viewSize) << c.tileSize;
        EXPECT_TRUE(file.GetRecord(c.fileSize - 48 - 1, 0));
        EXPECT_FALSE(file.GetRecord(c.fileSize - 48, 0));
    }
}

}  // namespace
}  // namespace QelPcpLib
