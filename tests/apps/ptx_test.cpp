#include <brisko_scan/inspect.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/scan_reader.h>
#include "apps/ptx_scan.h"
#include "apps/tool_run.h"
#include "scan/formats/ptx/number_text.h"
#include "scan/formats/ptx/ptx_text.h"
#include "support/comma_locale.h"

#include <gtest/gtest.h>

#include <charconv>
#include <cmath>
#include <cstdio>
#include <random>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace test;

bool isSame(const CellPoint& a, const CellPoint& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z && a.intensity == b.intensity &&
           a.column == b.column && a.row == b.row && a.blue == b.blue;
}

TEST(PtxReader, GivesPointsTheirCellsAndPassesOverEmptyOnes) {
    const TempFolder folder;
    const std::string path = folder / "a.ptx";
    writeFile(path, ptxText(2, 3,
                            "1.5 -2 3e0 0.25\n0 0 0 0.5\n 4\t5  6 1 \n"
                            "0 0 0 0.5\n+7 8 9 0\n0 0 -0.001 0.5"));
    for (const std::size_t capacity : {1u, 2u, 1000u}) {
        const std::vector<CellPoint> points = readPtx(path, capacity).points;
        const CellPoint expected[] = {{1.5, -2, 3, 550, 0, 0, 0, 0, 0},
                                      {4, 5, 6, 2200, 0, 0, 0, 0, 2},
                                      {7, 8, 9, 0, 0, 0, 0, 1, 1},
                                      {0, 0, -0.001, 1100, 0, 0, 0, 1, 2}};
        EXPECT_TRUE(std::equal(points.begin(), points.end(), std::begin(expected),
                               std::end(expected), isSame))
            << capacity;
    }
}

TEST(PtxReader, ReadsLineEndsOfEverySystemAndBlankLinesAtTheEnd) {
    const TempFolder folder;
    std::string text = ptxText(1, 2, "1 2 3 0.5\n4 5 6 0.5\n");
    writeFile(folder / "unix.ptx", text + "\n \n\n");
    writeFile(folder / "open.ptx", text.substr(0, text.size() - 1));
    std::string dos;
    for (const char c : text)
        dos += c == '\n' ? std::string("\r\n") : std::string(1, c);
    writeFile(folder / "dos.ptx", dos + "\r\n");
    for (const char* name : {"unix.ptx", "open.ptx", "dos.ptx"}) {
        EXPECT_EQ(readPtx(folder / name).points.size(), 2u) << name;
    }
}

TEST(PtxReader, NamesTheLineThatIsDamaged) {
    const std::string header = ptxText(2, 2, ""), frame = kIdentityLines;
    const std::string axes = "1\n1\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n";
    const std::string cell = "1 2 3 0.5\n";
    const std::string coloured = "1 2 3 0.5 1 2 3\n";
    const struct {
        const char* what;
        std::string text;
        const char* message;
    } cases[] = {
        {"empty file", "", "ends after line 0"},
        {"header cut", "2\n2\n0 0 0\n1 0 0\n", "ends after line 4"},
        {"no count", "two\n2\n" + frame + cell, "line 1:"},
        {"no rows", "2\n0\n" + frame + cell, "line 2:"},
        {"negative", "-2\n2\n" + frame + cell, "line 1:"},
        {"fraction", "2.5\n2\n" + frame + cell, "line 1:"},
        {"two counts", "2 2\n2\n" + frame + cell, "line 1:"},
        {"beyond all grids", "1e300\n2\n" + frame + cell, "line 1:"},
        {"absurd counts", "2147483647\n2147483647\n" + frame + cell, "too short"},
        {"many cells, short file", "1000\n1000\n" + frame + cell, "too short"},
        {"axis with two numbers", "1\n1\n0 0 0\n1 0\n0 1 0\n0 0 1\n" + cell, "line 4:"},
        {"matrix not finite", axes + "1 0 0 0\n0 inf 0 0\n0 0 1 0\n0 0 0 1\n" + cell, "line 8:"},
        {"matrix with five", axes + "1 0 0 0 0\n", "line 7:"},
        {"three fields", header + cell + "1 2 3\n" + cell + cell, "line 12:"},
        {"five fields", header + cell + cell + "1 2 3 0.5 7\n" + cell, "line 13:"},
        {"colour comes late", header + cell + coloured + cell + cell, "line 12:"},
        {"colour stops", header + coloured + coloured + coloured + cell, "line 14:"},
        {"colour beyond 255", header + coloured + "1 2 3 0.5 1 2 256\n" + coloured + coloured,
         "line 12:"},
        {"negative colour", header + "1 2 3 0.5 1 2 -1\n" + coloured + coloured + coloured,
         "line 11:"},
        {"not a number", header + cell + cell + cell + "1 2 x 0.5\n", "line 14:"},
        {"nan", header + cell + cell + cell + "1 nan 3 0.5\n", "line 14:"},
        {"stuck together", header + cell + cell + cell + "1 2 3m 0.5\n", "line 14:"},
        {"too strong", header + cell + cell + cell + "1 2 3 1e300\n", "line 14:"},
        {"decimal comma", header + "1,5 2 3 0.5\n" + cell + cell + cell, "line 11:"},
        {"blank line inside", header + cell + cell + "\n" + cell + cell, "line 13:"},
        {"too few cells", header + cell + cell + cell + std::string(40, '\n'), "line 14:"},
        {"too few, no filling", header + "1 2 3 0.55555555555555\n" + cell + cell, "line 13"},
        {"too many cells", header + cell + cell + cell + cell + cell, "line 15: more lines"},
        {"second scan cut", header + cell + cell + cell + cell + header, "lines 15 and 16"},
        {"after a second scan", ptxText(1, 1, cell) + ptxText(1, 1, cell + cell), "line 23: more"},
        {"one of three is nan", header + "1 2 nan 0.5\n" + cell + cell + cell, "line 11:"},
        {"short nan", header + cell + "nan nan nan\n" + cell + cell, "line 12:"},
        {"endless line", std::string(2 << 20, '7'), "line 1 is too long"},
        {"zeros", std::string(100000, '\0'), "line 1 is too long"},
    };
    const TempFolder folder;
    for (const auto& bad : cases) {
        writeFile(folder / "bad.ptx", bad.text);
        try {
            readPtx(folder / "bad.ptx");
            for (PtxReader reader(folder / "bad.ptx"); reader.nextScan();)
                ;
            ADD_FAILURE() << bad.what << " was read";
        } catch (const ScanError& error) {
            EXPECT_EQ(error.kind(), ErrorKind::Damaged) << bad.what;
            EXPECT_TRUE(contains(error.what(), bad.message)) << bad.what << ": " << error.what();
            EXPECT_TRUE(contains(error.what(), "bad.ptx: ")) << error.what();
        }
        const ToolRun check = test::run({"check", folder / "bad.ptx"});
        EXPECT_EQ(check.code, 3) << bad.what;
        EXPECT_TRUE(contains(check.out + check.err, bad.message)) << bad.what << check.out;
    }
}

TEST(PtxReader, ReadsLinesAsOtherProgramsWriteThem) {
    const struct {
        const char* what;
        std::string cells;
        CellPoint second;  // of two cells, the first of them empty
    } cases[] = {
        {"no intensity", "0 0 0\n1 2 3\n", {1, 2, 3, 0, 0, 0, 0, 0, 1}},
        {"colours with a fraction",
         "0 0 0 0.5 0 0 0\n1 2 3 0.5 10.0 127.5 2.55e2\n",
         {1, 2, 3, 1100, 10, 128, 255, 0, 1}},
        {"normals", "0 0 0 0.5 0 0 0\n1 2 3 0.5 0 -1 0\n", {1, 2, 3, 1100, 0, 0, 0, 0, 1}},
        {"colours and normals",
         "0 0 0 0.5 0 0 0 0 0 0\n1 2 3 0.5 1 2 3 0.6 0.8 0\n",
         {1, 2, 3, 1100, 1, 2, 3, 0, 1}},
        {"normals and colours",
         "0 0 0 0.5 0 0 0 0 0 0\n1 2 3 0.5 0.6 0.8 0 1 2 3\n",
         {1, 2, 3, 1100, 1, 2, 3, 0, 1}},
        {"missing returns",
         "nan -NaN nan(ind) nan 0 0 0\n# a comment\n// another\n1 2 3 0.5 1 2 3\n",
         {1, 2, 3, 1100, 1, 2, 3, 0, 1}},
    };
    const TempFolder folder;
    for (const auto& dialect : cases) {
        const std::string scan = ptxText(1, 2, dialect.cells);
        // The second of two scans is the same, after a header with a comment.
        writeFile(folder / "a.ptx", "\xEF\xBB\xBF" + scan + "# next\n" + scan);
        for (const char* number : {"1", "2"}) {
            ScanReader reader = ScanReader::open(folder / "a.ptx", {.scan = number});
            double place[6];
            float intensity[2];
            std::uint8_t colour[6];
            std::uint32_t columns[2], rows[2];
            ASSERT_EQ(reader.read({place, intensity, colour, columns, rows}, 2), 1u)
                << dialect.what;
            const CellPoint read{place[0],  place[1],  place[2],   intensity[0], colour[0],
                                 colour[1], colour[2], columns[0], rows[0]};
            EXPECT_TRUE(isSame(read, dialect.second) && read.red == dialect.second.red &&
                        read.green == dialect.second.green)
                << dialect.what << number;
        }
        const ToolRun check = test::run({"check", folder / "a.ptx"});
        EXPECT_TRUE(check.code == 0 && contains(check.out, "2 points")) << check.out << check.err;
    }
}

TEST(PtxReader, OneOfSeveralScansIsChosenWhereverTheOthersShow) {
    const std::string cell = "1.234 2.345 3.456 0.5\n", empty = "0 0 0 0.5\n";
    std::string sparse;
    for (int i = 0; i < 5000; ++i)
        sparse += i == 7 ? cell : empty;
    const struct {
        std::string first, second;
    } cases[] = {{ptxText(1, 1, cell), ptxText(1, 1, "4 5 6 0.5\n")},
                 {ptxText(5, 1000, sparse), ptxText(1, 1, "4 5 6 0.5\n")},
                 {ptxText(1, 1, cell), ptxText(5, 1000, sparse)}};
    const TempFolder folder;
    const std::string path = folder / "a.ptx";
    for (const auto& two : cases) {
        writeFile(path, two.first + two.second);
        EXPECT_EQ(describeScan(path).scans.size(), 2u);
        const ToolRun none = test::run({"convert", path, folder / "out.cl3"});
        EXPECT_EQ(none.code, 2);
        EXPECT_TRUE(contains(none.err, "holds 2 scans")) << none.err;
        for (const char* wrong : {"0", "3", "two"})
            EXPECT_THROW(ScanReader::open(path, {.scan = wrong}), ScanError) << wrong;
        double place[3];
        const ReadOptions second{.scan = "2", .intensities = IntensityRange{-0.5, 1.5}};
        float intensity = 0;
        ScanReader reader = ScanReader::open(path, second);
        for (int pass = 0; pass < 2; ++pass, reader.rewind()) {
            ASSERT_EQ(reader.read({place, &intensity}, 1), 1u);
            EXPECT_EQ(place[0], two.second.find("4 5 6") == std::string::npos ? 1.234 : 4);
            EXPECT_EQ(intensity, 1100);
        }
        writeFile(path, two.first + "9\n9\n");
        EXPECT_EQ(test::run({"convert", path, folder / "out.cl3"}).code, 3);
        EXPECT_EQ(test::run({"info", path}).code, 3);
        EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.ptx"}));
    }
}

std::string intensityText(float intensity) {
    char text[kLongestNumber];
    return {text, putIntensity(text, intensity)};
}

TEST(PtxNumbers, IntensitiesComeBackAsTheDecimalsTheyWere) {
    for (const char* share : {"0", "1", "0.5", "0.01176", "0.38382", "0.698443", "0.003921",
                              "0.00001", "0.999999", "-0.25", "1.5"}) {
        EXPECT_EQ(intensityText(toFullScale(std::stod(share))), share);
    }
}

/// The general conversions say what the text is: the fewest digits, from six to nine, that read back.
std::string shortestShare(float intensity) {
    const double share = static_cast<double>(intensity) / 2200;
    char text[64];
    double read = 0;
    for (int digits = 6; digits <= 9 && (digits == 6 || toFullScale(read) != intensity); ++digits) {
        std::snprintf(text, sizeof text, "%.*e", digits - 1, share);
        read = std::stod(text);
    }
    const bool isPlain = read == 0 || std::abs(read) >= 1e-7;
    return {text, std::to_chars(text, text + sizeof text, read,
                                isPlain ? std::chars_format::fixed : std::chars_format::general)
                      .ptr};
}

TEST(PtxNumbers, IntensitiesHaveTheFewestDigitsThatGiveThemAgain) {
    std::mt19937 random(1);
    std::uniform_real_distribution<float> uniform(0, 2200);
    IntensityTexts known;  // most of the whole numbers come again
    for (int i = 0; i < 100000; ++i) {
        const float intensity = i % 3 == 0   ? uniform(random)
                                : i % 3 == 1 ? std::floor(uniform(random))
                                             : std::ldexp(uniform(random), -i % 40);
        const std::string text = intensityText(intensity);
        ASSERT_EQ(text, shortestShare(intensity));
        ASSERT_EQ(toFullScale(std::stod(text)), intensity);
        char again[IntensityTexts::kLongest];
        ASSERT_EQ(std::string(again, known.put(again, intensity)), text);
    }
    // 0.000244140625 lies halfway between two texts of eight digits; both give the intensity again.
    EXPECT_EQ(intensityText(2200.0f / 4096), "0.00024414062");
    for (const float intensity : {2200.0f, 3300.0f, -550.0f, 0.22f, 0.21f, 22.0f}) {
        EXPECT_EQ(intensityText(intensity), shortestShare(intensity));
    }
    // Up to the largest that there is, what is written is read.
    constexpr float kLargest = std::numeric_limits<float>::max();
    for (const float intensity : {1e34f, kLargest, -kLargest}) {
        const double share = std::stod(intensityText(intensity));
        EXPECT_TRUE(fitsFullScale(share) && toFullScale(share) == intensity) << intensity;
    }
}

TEST(PtxNumbers, NumbersOfEveryLengthAreReadToTheLastBit) {
    char text[64];
    for (const auto take : {&takeNumber, &takeNumberInside}) {
        std::mt19937_64 random(2);
        double read = 0;
        const auto takeAll = [&](const char* number) {
            std::snprintf(text, sizeof text, "%s", number);
            std::string_view line = text;
            return take(line, read) && line.empty();
        };
        for (int i = 0; i < 200000; ++i) {
            const double number =
                std::ldexp(static_cast<double>(random()), -static_cast<int>(random() % 80));
            std::snprintf(text, sizeof text, "%s%.*f", i % 2 ? "-" : " ", i % 19, number);
            std::string_view line = text;
            ASSERT_TRUE(take(line, read) && line.empty()) << text;
            ASSERT_EQ(read, std::stod(text)) << text;
        }
        for (const char* edge :
             {"9007199254740992", "9007199254740993", "9007199254.740993", "0.9007199254740993",
              "0.30000000000000004", "99999999999999999999", "18446744073709551616.5", "5.", ".5",
              "-.5", "00000000000000000007", "0.00000000000000000001", "1.e2", "1E-3"}) {
            EXPECT_TRUE(takeAll(edge)) << edge;
            EXPECT_EQ(read, std::stod(edge)) << edge;
        }
        std::snprintf(text, sizeof text, "-0.000 1");
        std::string_view zero = text;
        EXPECT_TRUE(take(zero, read));
        EXPECT_TRUE(read == 0 && std::signbit(read));
        EXPECT_EQ(zero, " 1");
        for (const char* bad :
             {"", " ", "-", ".", "-.", "--1", "+-1", "1.2.3", "1-", "1,5", "0x10", "12345678/"}) {
            EXPECT_FALSE(takeAll(bad)) << bad;
        }
    }
    for (int colour = 0; colour < 2000; ++colour) {
        std::snprintf(text, sizeof text, "%d 9", colour);
        std::string_view line = text;
        std::uint8_t usual = 0, plain = 0;
        const char* const end = takePlainColour(text, plain);
        EXPECT_EQ(takeColour(line, usual) ? line.data() : nullptr, end) << colour;
        EXPECT_EQ(usual, plain) << colour;
    }
}

std::string coordinateText(double metres) {
    char text[kLongestNumber];
    return {text, putCoordinate(text, metres)};
}

TEST(PtxNumbers, CoordinatesOfAllKindsHaveTheShortestText) {
    for (const auto& [metres, text] : {std::pair(0.0, "0"),
                                       {-0.0, "-0"},
                                       {1, "1"},
                                       {-16.9162, "-16.9162"},
                                       {0.0001, "0.0001"},
                                       {0.00001, "0.00001"},
                                       {100000, "100000"},
                                       {1e22, "1e+22"},
                                       {0.1 + 0.2, "0.30000000000000004"}})
        EXPECT_EQ(coordinateText(metres), text);
    std::mt19937_64 random(3);
    for (int i = 0; i < 200000; ++i) {
        const auto digits = static_cast<double>(random() % 2'000'000'000'000) - 1e12;
        double metres = digits / std::pow(10, i % 11 + 4);
        if (i % 4 == 0) metres = std::nextafter(metres, 1e9);
        char expected[64];
        const auto notation =
            std::abs(metres) < 1e-7 ? std::chars_format::general : std::chars_format::fixed;
        const std::string_view shortest(
            expected, std::to_chars(expected, expected + sizeof expected, metres, notation).ptr);
        ASSERT_EQ(coordinateText(metres), shortest);
    }
}

TEST(PtxText, WritesEveryCellOfTheGridAndTheMatrixByItsColumns) {
    const TempFolder folder;
    const CommaLocale comma;
    PtxHeader header;
    header.columns = 2;
    header.rows = 3;
    header.matrix = {0, -1, 0, 10, 1, 0, 0, 20, 0, 0, 1, 30, 0, 0, 0, 1};
    CellPoint point{.x = 1.25, .y = -2, .z = 0.5, .intensity = 550, .red = 7, .blue = 9, .row = 1};
    for (const bool withColour : {false, true}) {
        NamedOutput file(folder / "a.ptx", "a.ptx");
        PtxText text;
        text.setColour(withColour);
        text.putHeader(header);
        text.putColumn({}, 3);
        text.putColumn({&point, 1}, 3);
        text.writeTo(file);
        file.close();
        const std::string colour = withColour ? " 7 0 9" : "";
        const std::string empty = withColour ? "0 0 0 0.5 0 0 0\n" : "0 0 0 0.5\n";
        EXPECT_EQ(
            readText(folder / "a.ptx"),
            ptxText(2, 3,
                    empty + empty + empty + empty + "1.25 -2 0.5 0.25" + colour + "\n" + empty,
                    kTurnedLines));
    }
}

}  // namespace
}  // namespace brisko::tool
