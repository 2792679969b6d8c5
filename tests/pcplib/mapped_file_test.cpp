#include "pcplib/files/pcp_file.h"
#include "pcplib/files/pcp_file_mapping.h"
#include "support/file_size_limit.h"
#include "support/printed_by.h"
#include "support/scan_bytes.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <random>
#include <string>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

/// Bytes 0, 1, 2 ... so that every byte shows where it lies.
Bytes countingBytes(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

/// A folder with so many counting bytes in a file.
struct Counted {
    explicit Counted(std::size_t size) { writeFile(path, countingBytes(size)); }

    TempFolder folder;
    std::string path = folder / "data";
    PcpFile file;
};

TEST(PcpFile, HandsOutWholeRecordsOfEachChannel) {
    Counted counted(100);
    PcpFile& file = counted.file;
    file.SetLayout(10, 8, 0);
    file.SetLayout(1, 0, 1);
    ASSERT_TRUE(file.OpenMapped(counted.path));
    const struct {
        std::uint64_t index;
        int channel;
        int firstByte;  // -1: no such record
    } cases[] = {
        {0, 0, 10}, {10, 0, 90}, {3, 0, 34},  {11, 0, -1}, {~std::uint64_t{0}, 0, -1},
        {0, 1, -1}, {0, 2, -1},  {0, -1, -1},
    };
    for (const auto& [index, channel, firstByte] : cases) {
        const std::uint8_t* const record = file.GetRecord(index, channel);
        EXPECT_EQ(record ? *record : -1, firstByte) << index << " of channel " << channel;
    }
    // 90 bytes hold 11 whole records of 8; a new layout counts anew, and may leave none.
    file.SetLayout(50, 25, 1);
    EXPECT_EQ(*file.GetRecord(1, 1), 75);
    EXPECT_EQ(file.GetRecord(2, 1), nullptr);
    file.SetLayout(101, 1, 1);
    EXPECT_EQ(file.GetRecord(0, 1), nullptr);
    char header = 0;
    EXPECT_EQ(file.ReadFileHeader(&header, 2), 0U) << "no such channel";
    file.Close();
    EXPECT_EQ(file.GetRecord(0, 0), nullptr);
}

TEST(PcpFile, ReportsWhenAMappedFileCannotBeOpenedOrCreated) {
    const TempFolder folder;
    PcpFile file;
    const std::string path = folder / "missing/data";
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(file.OpenMapped(path)); }),
              "\x81\xa1\x81\xa1\x81\xa1"
              "err :file open\x81\xa1\x81\xa1\x81\xa1\n");
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(file.CreateMapped(path, 10)); }), "err :file create\n");
    {
        const FileSizeLimit limit(1000);
        EXPECT_EQ(printedBy([&] { EXPECT_FALSE(file.CreateMapped(folder / "large", 5000)); }),
                  "err :file create\n");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "large")) << "a file without its size is removed";
    EXPECT_EQ(file.GetLength(), 0u);
}

TEST(PcpFile, CreatesFilesOfZerosAndFillsThemThroughRecords) {
    Counted counted(500);
    PcpFile& file = counted.file;
    file.SetLayout(3, 2, 0);
    ASSERT_TRUE(file.CreateMapped(counted.path, 10));
    EXPECT_TRUE(file.WriteFileHeader("abc", 0));
    EXPECT_EQ(file.GetPosition(), 3u) << "no window yet: the stream took the bytes";
    file.GetRecord(2, 0)[1] = 0x77;
    file.Close();
    EXPECT_EQ(readFile(counted.path), (Bytes{'a', 'b', 'c', 0, 0, 0, 0, 0, 0x77, 0}));
    ASSERT_TRUE(file.OpenMapped(counted.path));
    char header[4] = {};
    EXPECT_EQ(file.ReadFileHeader(header, 0), 3u);
    EXPECT_STREQ(header, "abc");
}

TEST(PcpFile, SetLengthWritesOneZeroAndNeverCuts) {
    const TempFolder folder;
    PcpFile file;
    for (const auto& [size, expected] :
         {std::pair<std::uint64_t, Bytes>{0, {1, 2, 3}}, {2, {1, 0, 3}}, {5, {1, 2, 3, 0, 0}}}) {
        writeFile(folder / "data", Bytes{1, 2, 3});
        ASSERT_TRUE(file.Open(folder / "data", OpenMode::MappedReadWrite));
        ASSERT_TRUE(file.Seek(1));
        EXPECT_TRUE(file.SetLength(size));
        EXPECT_EQ(file.GetPosition(), 1u);
        file.Close();
        EXPECT_EQ(readFile(folder / "data"), expected) << size;
    }
    EXPECT_FALSE(file.SetLength(1));
}

TEST(PcpFile, AFileCutShortByAnotherProgramCostsAnAnswerOnly) {
    Counted counted(200);
    PcpFile& file = counted.file;
    file.SetWindowCapacity(40);
    file.SetViewSize(1);
    ASSERT_TRUE(file.OpenMapped(counted.path));
    std::filesystem::resize_file(counted.path, 100);
    EXPECT_EQ(*file.GetRecord(50, 0), 50);
    EXPECT_EQ(file.GetRecord(150, 0), nullptr);
    EXPECT_TRUE(file.HasFailed());
    file.Close();
    EXPECT_EQ(readFile(counted.path), countingBytes(100)) << "nothing is written back for it";
}

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

TEST(PcpFileMapping, BytesAfterTheFileAreZeroAndNeverWritten) {
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
    EXPECT_EQ(*scan.mapping.MapWindow(1000, 1), 0);
    EXPECT_FALSE(scan.file.HasFailed()) << "nothing of the last window lies in the file";
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
        {"a byte after the last word", kSmallWords, [](PcpFile& file) { ++*file.GetRecord(9, 0); },
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
        // A change that others make meanwhile stays exactly when nothing is written.
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
