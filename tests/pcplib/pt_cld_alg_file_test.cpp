#include "pcplib/files/pt_cld_alg_file.h"

#include "support/comma_locale.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>

namespace QelPcpLib {
namespace {

using brisko::test::readText;
using brisko::test::TempFolder;
using brisko::test::writeFile;

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

AlgArea sampleArea() {
    return {.max = {1.5, -22.5, 1e20}, .min = {-1.5, 1.234567890123e-07, 0}};
}

void expectEqual(const AlgHeader& actual, const AlgHeader& expected) {
    EXPECT_EQ(actual.version, expected.version);
    EXPECT_EQ(actual.matrix, expected.matrix);
    EXPECT_EQ(actual.maxIntensity, expected.maxIntensity);
    EXPECT_EQ(actual.minIntensity, expected.minIntensity);
    EXPECT_EQ(actual.blockSize, expected.blockSize);
}

/// What reading a text gave: the result, the record, and what was printed.
struct HeaderRead {
    bool done;
    AlgHeader header;
    std::string printed;
};
HeaderRead readHeader(const std::string& text, AlgHeader before = {}) {
    const TempFolder folder;
    writeFile(folder / "scan.alg", text);
    CPtCldAlgFile file;
    EXPECT_TRUE(file.Open(folder / "scan.alg", OpenMode::ReadText));
    testing::internal::CaptureStdout();
    const bool done = file.ReadHeader(before);
    return {done, before, testing::internal::GetCapturedStdout()};
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

TEST(CPtCldAlgFile, WritesTheseBytes) {
    const TempFolder folder;
    CPtCldAlgFile file;
    ASSERT_TRUE(file.Open(folder / "scan.alg", OpenMode::WriteText));
    EXPECT_TRUE(file.WriteHeader(sampleHeader()));
    EXPECT_TRUE(file.WriteArea(sampleArea()));
    file.Close();
    EXPECT_EQ(readText(folder / "scan.alg"), std::string(kHeaderText) + kAreaText);
}

TEST(CPtCldAlgFile, ReadsBackWhatItWrites) {
    const TempFolder folder;
    writeFile(folder / "scan.alg", std::string(kHeaderText) + kAreaText + kAreaText);
    CPtCldAlgFile file;
    ASSERT_TRUE(file.Open(folder / "scan.alg", OpenMode::ReadText));
    AlgHeader header;
    AlgArea area;
    EXPECT_TRUE(file.ReadHeader(header));
    EXPECT_TRUE(file.ReadHeader(header)) << "starts at the front every time";
    EXPECT_TRUE(file.ReadArea(area));
    EXPECT_TRUE(file.ReadArea(area));
    EXPECT_FALSE(file.ReadArea(area));
    expectEqual(header, sampleHeader());
    EXPECT_EQ(area.max, sampleArea().max);
    EXPECT_EQ(area.min, sampleArea().min);
}

TEST(CPtCldAlgFile, ReadsTextOfOtherSystemsAndWriters) {
    std::string crlf = kHeaderText;
    for (std::size_t at = 0; (at = crlf.find('\n', at)) != std::string::npos; at += 2) {
        crlf.insert(at, "\r");
    }
    expectEqual(readHeader(crlf).header, sampleHeader());

    // As the grid writer prints it: fixed point, blanks in other places.
    const HeaderRead fixed = readHeader(
        "CL3_ALG_0.1\n"
        "0.000000000000000000 4.0 8.0 12.0 //matrix 1\n"
        "1.0 5.0 9.0 13.0 //matrix 2\n\t2 6 10 14 //matrix 3\n3.0 7.0 11.0 15.0 //matrix 4\n"
        "2200 // max intensity\n1 // min intensity\n1// block size");
    EXPECT_TRUE(fixed.done);
    EXPECT_EQ(fixed.header.matrix, sampleHeader().matrix);
    EXPECT_EQ(fixed.header.maxIntensity, 2200.0f);
    EXPECT_EQ(fixed.header.minIntensity, 1.0f);
    EXPECT_EQ(fixed.header.blockSize, 1);
}

TEST(CPtCldAlgFile, ReadsAndWritesADecimalPointWhateverTheLocale) {
    const brisko::test::CommaLocale locale;
    ASSERT_TRUE(locale.isComma()) << "localedef made no locale with a decimal comma";
    expectEqual(readHeader(kHeaderText).header, sampleHeader());
    const TempFolder folder;
    CPtCldAlgFile file;
    ASSERT_TRUE(file.Open(folder / "scan.alg", OpenMode::WriteText));
    file.WriteHeader(sampleHeader());
    file.Close();
    EXPECT_EQ(readText(folder / "scan.alg"), kHeaderText);
}

TEST(CPtCldAlgFile, AcceptsOneVersionOnly) {
    const std::string message =
        "ALG\x83\x74\x83\x40\x83\x43\x83\x8b\x82\xcc\x83\x77\x83\x62\x83\x5f\x83\x6f\x81\x5b\x83"
        "\x57"
        "\x83\x87\x83\x93\x83\x47\x83\x89\x81\x5b\n";
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
    AlgHeader before;
    before.maxIntensity = 1;
    before.minIntensity = 2;
    before.blockSize = 3;
    const AlgHeader after = readHeader(withLine(6, ""), before).header;
    EXPECT_EQ(after.matrix, sampleHeader().matrix);
    EXPECT_EQ(after.maxIntensity, 1.0f);
    EXPECT_EQ(after.minIntensity, 2.0f);
    EXPECT_EQ(after.blockSize, 3);
}

TEST(CPtCldAlgFile, NumbersThatAreNoneKeepTheirValues) {
    const AlgHeader matrix = readHeader(withLine(2, "7 8//matrix 1\n")).header;
    EXPECT_EQ(matrix.matrix[0], 7);
    EXPECT_EQ(matrix.matrix[4], 8);
    EXPECT_EQ(matrix.matrix[8], 0);
    EXPECT_EQ(matrix.matrix[12], 0);
    AlgHeader before;
    before.maxIntensity = 5;
    EXPECT_EQ(readHeader(withLine(6, "// max intensity\n"), before).header.maxIntensity, 5.0f);
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

}  // namespace
}  // namespace QelPcpLib
