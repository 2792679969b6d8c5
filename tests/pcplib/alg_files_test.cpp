#include "pcplib/files/pcp_file.h"
#include "pcplib/files/pt_cld_alg_file.h"
#include "support/comma_locale.h"
#include "support/file_size_limit.h"
#include "support/printed_by.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <tuple>
#include <vector>

namespace QelPcpLib {
namespace {

using namespace brisko::test;

TEST(CpStdioFile, ReadsLinesUpToTheFirstEmptyOne) {
    using Lines = std::vector<std::string>;
    const std::string longest(4096, 'x');
    const struct {
        std::string content;
        Lines lines;
    } cases[] = {
        {"", {}},
        {"a\nb\n", {"a", "b"}},
        {"a\nlast", {"a", "last"}},
        {"a\r\nb\r\n", {"a", "b"}},
        {"a\rb\r\n", {"a\rb"}},  // a lone carriage return stays
        {"a\r\r\n", {"a\r"}},    // and only the one before the line feed goes
        {"a\r", {"a"}},          // or of the end of the file
        {"a\n\nb\n", {"a"}},     // an empty line ends the reading
        {"a\n\r\nb\n", {"a"}},   // with CR LF too
        {" \nb", {" ", "b"}},    // a blank one does not
        {longest + "\nb", {longest, "b"}},
        {longest + "\r\nb", {longest, "b"}},
        {longest + "yy\nb", {longest, "b"}},  // what is too long is dropped, not a line of its own
        {longest + std::string(3'000'000, 'y') + "\nb", {longest}},
        {std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
    };
    for (const auto& [content, lines] : cases) {
        const TempFolder folder;
        writeFile(folder / "text", content);
        CpStdioFile file;
        EXPECT_TRUE(file.Open(folder / "text", OpenMode::ReadText));
        Lines read;
        for (std::string line; file.ReadString(line);)
            read.push_back(line);
        EXPECT_EQ(read, lines) << content.substr(0, 20);
    }
    std::string line;
    EXPECT_FALSE(CpStdioFile().ReadString(line)) << "nothing is open";
}

// Worked out by hand: the matrix array holds 0 to 15, so a line of the file steps by 4.
constexpr char kHeaderText[] =
    "CL3_ALG_0.1\n"
    "0.000000000000e+00 4.000000000000e+00 8.000000000000e+00 1.200000000000e+01//matrix 1\n"
    "1.000000000000e+00 5.000000000000e+00 9.000000000000e+00 1.300000000000e+01//matrix 2\n"
    "2.000000000000e+00 6.000000000000e+00 1.000000000000e+01 1.400000000000e+01//matrix 3\n"
    "3.000000000000e+00 7.000000000000e+00 1.100000000000e+01 1.500000000000e+01//matrix 4\n"
    "2200.500000 // max intensity\n"
    "-0.250000 // min intensity\n"
    "-7 // block size\n";
constexpr char kAreaText[] =
    "1.500000000000e+00 -2.250000000000e+01 1.000000000000e+20 // max area\n"
    "-1.500000000000e+00 1.234567890123e-07 0.000000000000e+00 // min area\n";

AlgHeader sampleHeader() {
    AlgHeader header;
    std::iota(header.matrix.begin(), header.matrix.end(), 0.0);
    header.maxIntensity = 2200.5f;
    header.minIntensity = -0.25f;
    header.blockSize = -7;
    return header;
}

/// All that a header holds but its version.
auto fieldsOf(const AlgHeader& h) {
    return std::tuple(h.matrix, h.maxIntensity, h.minIntensity, h.blockSize);
}

/// What reading a text gave: the result, the record, and what was printed.
struct HeaderRead {
    bool done;
    AlgHeader header;
    std::string printed;
};
HeaderRead readHeader(const std::string& text, const AlgHeader& before = {}) {
    const TempFolder folder;
    writeFile(folder / "scan.alg", text);
    CPtCldAlgFile file;
    EXPECT_TRUE(file.Open(folder / "scan.alg", OpenMode::ReadText));
    HeaderRead read{false, before, ""};
    read.printed = printedBy([&] { read.done = file.ReadHeader(read.header); });
    return read;
}

/// The text with its n-th line (from 1) replaced; without an end of line the rest is cut off.
std::string withLine(std::size_t n, const std::string& line) {
    const std::string text = kHeaderText;
    std::size_t begin = 0;
    for (std::size_t i = 1; i < n; ++i)
        begin = text.find('\n', begin) + 1;
    const bool cut = line.empty() || line.back() != '\n';
    return text.substr(0, begin) + line + (cut ? "" : text.substr(text.find('\n', begin) + 1));
}

void expectTheseBytesBothWays() {
    const AlgArea area{.max = {1.5, -22.5, 1e20}, .min = {-1.5, 1.234567890123e-07, 0}};
    const TempFolder folder;
    CPtCldAlgFile file;
    ASSERT_TRUE(file.Open(folder / "scan.alg", OpenMode::WriteText));
    EXPECT_TRUE(file.WriteHeader(sampleHeader()));
    EXPECT_TRUE(file.WriteArea(area));
    EXPECT_TRUE(file.WriteArea(area));
    file.Close();
    EXPECT_EQ(readText(folder / "scan.alg"), std::string(kHeaderText) + kAreaText + kAreaText);

    ASSERT_TRUE(file.Open(folder / "scan.alg", OpenMode::ReadText));
    AlgHeader header;
    AlgArea read;
    EXPECT_TRUE(file.ReadHeader(header));
    EXPECT_TRUE(file.ReadHeader(header)) << "starts at the front every time";
    EXPECT_TRUE(file.ReadArea(read) && file.ReadArea(read));
    EXPECT_FALSE(file.ReadArea(read));
    EXPECT_EQ(fieldsOf(header), fieldsOf(sampleHeader()));
    EXPECT_EQ(read.max, area.max);
    EXPECT_EQ(read.min, area.min);
}

TEST(CPtCldAlgFile, WritesTheseBytesAndReadsThemWhateverTheLocale) {
    expectTheseBytesBothWays();
    const CommaLocale locale;
    ASSERT_TRUE(locale.isComma()) << "localedef made no locale with a decimal comma";
    expectTheseBytesBothWays();
}

TEST(CPtCldAlgFile, ReadsTextOfOtherSystemsAndWriters) {
    std::string crlf = kHeaderText;
    for (std::size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2)
        crlf.insert(at, "\r");
    // As the grid writer prints it: fixed point, blanks in other places.
    const std::string fixedPoint =
        "CL3_ALG_0.1\n"
        "0.000000000000000000 4.0 8.0 12.0 //matrix 1\n"
        "1.0 5.0 9.0 13.0 //matrix 2\n\t2 6 10 14 //matrix 3\n3.0 7.0 11.0 15.0 //matrix 4\n"
        "2200.5 // max intensity\n-.25 // min intensity\n-7// block size";
    for (const std::string& text : {crlf, fixedPoint}) {
        const HeaderRead read = readHeader(text);
        EXPECT_TRUE(read.done);
        EXPECT_EQ(fieldsOf(read.header), fieldsOf(sampleHeader()));
    }
}

TEST(CPtCldAlgFile, AcceptsOneVersionOnly) {
    const std::string message =
        "ALG\x83\x74\x83\x40\x83\x43\x83\x8b\x82\xcc\x83\x77\x83\x62\x83\x5f\x83\x6f\x81\x5b"
        "\x83\x57\x83\x87\x83\x93\x83\x47\x83\x89\x81\x5b\n";
    const std::string tooLong(5000, 'v');
    for (const std::string line : {"CL3_ALG_0.2", "CL3_ALG_0.1 ", "cl3_alg_0.1", "CL3_ALG_0.1\r\r",
                                   "CL3_ALG_0.11", tooLong.c_str()}) {
        const HeaderRead read = readHeader(withLine(1, line + "\n"));
        EXPECT_FALSE(read.done) << line;
        EXPECT_EQ(read.printed, message) << line;
        EXPECT_EQ(read.header.matrix, AlgHeader{}.matrix);
    }
    EXPECT_EQ(readHeader(withLine(1, "1.0 beta\n")).header.version, "1.0 beta");
    const HeaderRead empty = readHeader("");
    EXPECT_FALSE(empty.done);
    EXPECT_EQ(empty.printed, "");
}

TEST(CPtCldAlgFile, NeedsAllLinesOfTheMatrixAndNoOther) {
    for (std::size_t n = 2; n <= 8; ++n) {
        EXPECT_EQ(readHeader(withLine(n, "")).done, n > 5) << "cut before line " << n;
        EXPECT_EQ(readHeader(withLine(n, "\n")).done, n > 5) << "empty line " << n;
    }
}

TEST(CPtCldAlgFile, NumbersThatAreMissingKeepTheirValues) {
    AlgHeader before;
    before.maxIntensity = 1;
    before.minIntensity = 2;
    before.blockSize = 3;
    const AlgHeader cut = readHeader(withLine(6, ""), before).header;
    EXPECT_EQ(fieldsOf(cut), std::tuple(sampleHeader().matrix, 1.0f, 2.0f, 3));
    const std::string fifth = "CL3_ALG_0.1\n0 4 8 12 99\n1 5 9 13\n2 6 10 14\n3 7 11 15\n";
    EXPECT_EQ(fieldsOf(readHeader(fifth, before).header), fieldsOf(cut)) << "belongs to nothing";
    const AlgHeader none = readHeader(withLine(6, "// max intensity\n"), before).header;
    EXPECT_EQ(fieldsOf(none), std::tuple(sampleHeader().matrix, 1.0f, -0.25f, -7));
    std::array<double, 16> matrix = sampleHeader().matrix;
    matrix[0] = 7;
    matrix[4] = 8;
    matrix[8] = matrix[12] = 0;
    EXPECT_EQ(readHeader(withLine(2, "7 8//matrix 1\n")).header.matrix, matrix);
    EXPECT_EQ(readHeader(withLine(8, "99999999999 // block size\n")).header.blockSize, 2147483647);
    EXPECT_EQ(readHeader(withLine(8, "-99999999999\n")).header.blockSize, -2147483647 - 1);
}

TEST(CPtCldAlgFile, ReadsAreasWordByWord) {
    const std::string longZeros(250, '0');
    const struct {
        std::string text;
        bool done;
        AlgArea area;
    } cases[] = {
        {"1 2 3\n4 5 6\n", true, {{1, 2, 3}, {4, 5, 6}}},
        {"  1.5\t-2e1  3.0000 // max area\n4 5 6", true, {{1.5, -20, 3}, {4, 5, 6}}},
        {"1 2 // max area\n4 x 6y\n", true, {{1, 2, 0}, {4, 0, 6}}},
        {"1\n4\n", true, {{1, -1, -1}, {4, -1, -1}}},
        // a word of 256 characters counts as one of 255 and one more
        {"0" + longZeros + "12347 2 3\n4 5 6\n", true, {{1234, 7, 2}, {4, 5, 6}}},
        {"1 2 3\n", false, {{1, 2, 3}, {-1, -1, -1}}},
        {"1 2 3\n   \n4 5 6\n", false, {{1, 2, 3}, {-1, -1, -1}}},
        {"\n1 2 3\n4 5 6\n", false, {{-1, -1, -1}, {-1, -1, -1}}},
    };
    for (const auto& [text, done, expected] : cases) {
        const TempFolder folder;
        writeFile(folder / "scan.alg", text);
        CPtCldAlgFile file;
        ASSERT_TRUE(file.Open(folder / "scan.alg", OpenMode::ReadText));
        AlgArea area{{-1, -1, -1}, {-1, -1, -1}};
        EXPECT_EQ(file.ReadArea(area), done) << text;
        EXPECT_EQ(area.max, expected.max) << text;
        EXPECT_EQ(area.min, expected.min) << text;
    }
}

AlgBlocks blocksWithAreas(std::size_t count) {
    AlgBlocks blocks;
    for (std::size_t i = 0; i < count; ++i) {
        const auto edge = static_cast<double>(i + 1);
        blocks.areas.push_back({.max = {edge, edge, edge}, .min = {-edge, -edge, -edge}});
    }
    return blocks;
}

std::string messageAbout(const std::string& operation, const std::string& path) {
    return operation + "() : \xcc\xa7\xb2\xd9[" + path +
           "]\x82\xaa\x8a\x4a\x82\xaf\x82\xdc\x82\xb9\x82\xf1\n";
}

TEST(AlgBlocks, ReadsTheAreasOfAsManyBlocksAsItHolds) {
    const TempFolder folder;
    AlgBlocks written = blocksWithAreas(3);
    written.header.blockSize = 12;
    ASSERT_TRUE(written.WriteALGFile(folder / "scan.alg"));
    EXPECT_FALSE(written.HasWriteError());
    EXPECT_EQ(written.blockCount, 3u);

    const struct {
        std::size_t areas, blockCount;
        bool done;
        std::size_t filled;
    } cases[] = {
        {3, 3, true, 3},  {2, 2, true, 2},
        {0, 0, true, 0},  {3, 2, true, 0},  // numbers that differ leave the areas alone
        {5, 5, false, 3},                   // the file describes three blocks only
    };
    for (const auto& [areas, blockCount, done, filled] : cases) {
        AlgBlocks blocks;
        blocks.areas.resize(areas);
        blocks.blockCount = blockCount;
        EXPECT_EQ(blocks.ReadALGFile(folder / "scan.alg"), done);
        EXPECT_EQ(blocks.header.blockSize, 12);
        for (std::size_t i = 0; i < areas; ++i) {
            const double edge = i < filled ? static_cast<double>(i + 1) : 0.0;
            EXPECT_EQ(blocks.areas[i].max[2], edge) << areas << " blocks, block " << i;
            EXPECT_EQ(blocks.areas[i].min[2], -edge) << areas << " blocks, block " << i;
        }
    }
}

TEST(AlgBlocks, AnEmptyPathMeansTheLastFileAndFullDisksAreRemembered) {
    const TempFolder folder;
    AlgBlocks blocks = blocksWithAreas(1000);
    {
        const FileSizeLimit limit(500);
        EXPECT_TRUE(blocks.WriteALGFile(folder / "scan.alg"));
    }
    EXPECT_TRUE(blocks.HasWriteError());
    EXPECT_EQ(blocks.GetALGFilePath(), folder / "scan.alg");
    blocks.header.blockSize = 5;
    EXPECT_TRUE(blocks.WriteALGFile());
    EXPECT_FALSE(blocks.HasWriteError());
    blocks.header.blockSize = 0;
    EXPECT_TRUE(blocks.ReadALGFile());
    EXPECT_EQ(blocks.header.blockSize, 5);
}

TEST(AlgBlocks, ReportsWhichFileCannotBeOpened) {
    const TempFolder folder;
    const std::string path = folder / (std::string(200, 'a') + "/scan.alg");
    AlgBlocks blocks;
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(blocks.ReadALGFile(path)); }),
              messageAbout("ReadALGFile", path));
    EXPECT_EQ(printedBy([&] { EXPECT_FALSE(blocks.WriteALGFile(path)); }),
              messageAbout("WriteALGFile", path));
    EXPECT_TRUE(blocks.HasWriteError());
    EXPECT_EQ(blocks.GetALGFilePath(), "");
    writeFile(folder / "scan.alg", withLine(1, "CL3_ALG_0.2\n"));
    printedBy([&] { EXPECT_FALSE(blocks.ReadALGFile(folder / "scan.alg")); });
}

TEST(PartFileName, StandsBesideTheScanAndShowsPartsFromTheSecondOn) {
    const struct {
        const char *path, *extension;
        int part;
        const char* name;
    } cases[] = {
        {"/scans/hall.cl3", ".alg", 1, "/scans/hall.alg"},
        {"/scans/hall.cl3", ".alg", -3, "/scans/hall.alg"},
        {"/scans/hall.cl3", ".alg", 2, "/scans/hall_2.alg"},
        {"/scans/hall.cl3", ".ij", 12, "/scans/hall_12.ij"},
        {"hall.cl3", ".ix", 1, "hall.ix"},
        {"scan.v2/hall", ".alg", 2, "scan.v2/hall_2.alg"},
        {"hall.v2.cl3", ".alg", 2, "hall.v2_2.alg"},
    };
    for (const auto& [path, extension, part, name] : cases) {
        EXPECT_EQ(partFileName(path, extension, part), name);
    }
}

}  // namespace
}  // namespace QelPcpLib
