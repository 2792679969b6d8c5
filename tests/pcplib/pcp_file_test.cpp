#include "pcplib/files/pcp_file.h"

#include "support/file_size_limit.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <numeric>
#include <string>

namespace QelPcpLib {
namespace {

using brisko::test::Bytes;
using brisko::test::readFile;
using brisko::test::TempFolder;
using brisko::test::writeFile;

/// Bytes 0, 1, 2 ... so that every byte tells where it lies.
Bytes countingBytes(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

template <class Operation>
std::string printedBy(const Operation& operation) {
    testing::internal::CaptureStdout();
    operation();
    return testing::internal::GetCapturedStdout();
}

TEST(PcpFile, HandsOutWholeRecordsOfEachChannel) {
    const TempFolder folder;
    writeFile(folder / "data", countingBytes(100));
    PcpFile file;
    file.SetLayout(10, 8, 0);
    file.SetLayout(1, 0, 1);
    ASSERT_TRUE(file.OpenMapped(folder / "data"));
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

TEST(PcpFile, ViewsOfAnySizeGiveTheSameRecords) {
    const TempFolder folder;
    writeFile(folder / "data", countingBytes(200));
    for (const std::uint32_t viewSize : {0u, 1u, 7u, 50u, 0xffffffffu}) {
        PcpFile file;
        file.SetLayout(4, 7, 0);
        file.SetViewSize(viewSize);
        ASSERT_TRUE(file.OpenMapped(folder / "data"));
        for (const std::uint64_t index : {27u, 0u, 13u, 14u, 12u, 26u}) {
            const std::uint8_t* const record = file.GetRecord(index, 0);
            ASSERT_TRUE(record) << viewSize;
            EXPECT_EQ(Bytes(record, record + 7)[6], 4 + 7 * index + 6) << viewSize;
        }
    }
}

TEST(PcpFile, NeedsTheHeaderOfTheFirstChannel) {
    const TempFolder folder;
    writeFile(folder / "data", countingBytes(20));
    PcpFile file;
    file.SetLayout(20, 4, 0);
    EXPECT_TRUE(file.OpenMapped(folder / "data"));
    EXPECT_EQ(file.GetRecord(0, 0), nullptr);
    file.SetLayout(21, 4, 0);
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(file.OpenMapped(folder / "data")); }), "");
    EXPECT_FALSE(file.IsOpen());
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
        const brisko::test::FileSizeLimit limit(1000);
        EXPECT_EQ(printedBy([&] { EXPECT_FALSE(file.CreateMapped(folder / "large", 5000)); }),
                  "err :file create\n");
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "large")) << "a file without its size is removed";
    EXPECT_EQ(file.GetLength(), 0u);
}

TEST(PcpFile, CreatesFilesOfZerosAndFillsThemThroughRecords) {
    const TempFolder folder;
    writeFile(folder / "data", countingBytes(500));
    PcpFile file;
    file.SetLayout(3, 2, 0);
    ASSERT_TRUE(file.CreateMapped(folder / "data", 10));
    EXPECT_TRUE(file.WriteFileHeader("abc", 0));
    EXPECT_EQ(file.GetPosition(), 3u) << "no window yet: the stream took the bytes";
    file.GetRecord(2, 0)[1] = 0x77;
    file.Close();
    EXPECT_EQ(readFile(folder / "data"), (Bytes{'a', 'b', 'c', 0, 0, 0, 0, 0, 0x77, 0}));
    ASSERT_TRUE(file.OpenMapped(folder / "data"));
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
    const TempFolder folder;
    writeFile(folder / "data", countingBytes(200));
    PcpFile file;
    file.SetWindowCapacity(40);
    file.SetViewSize(1);
    ASSERT_TRUE(file.OpenMapped(folder / "data"));
    std::filesystem::resize_file(folder / "data", 100);
    EXPECT_EQ(*file.GetRecord(50, 0), 50);
    EXPECT_EQ(file.GetRecord(150, 0), nullptr);
    EXPECT_TRUE(file.HasFailed());
    file.Close();
    EXPECT_EQ(readFile(folder / "data"), countingBytes(100)) << "nothing is written back for it";
}

}  // namespace
}  // namespace QelPcpLib
