#include "pcplib/files/pcp_file.h"

#include "support/file_size_limit.h"
#include "support/printed_by.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <numeric>
#include <string>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

/// Bytes 0, 1, 2 ... so that every byte tells where it lies.
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
    file.Close();
    EXPECT_EQ(file.GetRecord(0, 0), nullptr);
}

TEST(PcpFile, NeedsTheHeaderOfTheFirstChannel) {
    Counted counted(20);
    counted.file.SetLayout(20, 4, 0);
    EXPECT_TRUE(counted.file.OpenMapped(counted.path));
    EXPECT_EQ(counted.file.GetRecord(0, 0), nullptr);
    counted.file.SetLayout(21, 4, 0);
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(counted.file.OpenMapped(counted.path)); }), "");
    EXPECT_FALSE(counted.file.IsOpen());
}

TEST(PcpFile, TellsWhenAMappedFileCannotBeOpenedOrCreated) {
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

}  // namespace
}  // namespace QelPcpLib
