#include "pcplib/processes/sort_clr.h"

#include "support/compressed_decoder.h"
#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>

namespace QelPcpLib {
namespace {

using brisko::test::Bytes;
using brisko::test::ByteWriter;
using brisko::test::clrHeader;
using brisko::test::ClrRecord;
using brisko::test::clrRecords;
using brisko::test::TempFolder;
using Names = std::vector<std::string>;
using Line = std::vector<ClrRecord>;

/// A folder with scan.clr in it.
struct Scan {
    explicit Scan(const Bytes& bytes) { brisko::test::writeFile(path, bytes); }

    bool convert(CProgressCallback* callback = nullptr) {
        testing::internal::CaptureStdout();
        const bool result = ConvertClrFile(path, callback);
        said = testing::internal::GetCapturedStdout();
        return result;
    }
    Bytes copy() const { return brisko::test::readFile(copyPath); }

    TempFolder folder;
    std::string path = folder / "scan.clr";
    std::string copyPath = folder / "scan.clr.Converted.clr";
    std::string said;
};

/// A line of records at these heights; 0 is a cell without a point.
Line lineAt(const std::vector<std::int32_t>& heights) {
    Line line;
    for (const std::int32_t z : heights)
        line.push_back({1000, 0, z, z + 5, z == 0 ? 0 : 100});
    return line;
}

void appendLine(Bytes& bytes, const Line& line) {
    const Bytes records = clrRecords(line);
    bytes.insert(bytes.end(), records.begin(), records.end());
}

void appendCompressed(Bytes& bytes, const Line& line) {
    std::vector<brisko::RawRecord> records;
    for (const ClrRecord& r : line)
        records.push_back({r.x, r.y, r.z, r.fourth, r.intensity});
    brisko::encodeCompressedLine(records.data(), records.size(), bytes);
}

/// Whether the k-th line has to be turned, the long way.
bool hasToBeTurned(std::size_t k, const Line& line) {
    const auto measured = [](const ClrRecord& r) { return r.intensity >= 1; };
    const auto first = std::find_if(line.begin(), line.end(), measured);
    const auto last = std::find_if(line.rbegin(), line.rend(), measured);
    if (first == line.end() || &*first == &*last) return false;
    const auto elevation = [](const ClrRecord& r) { return std::atan2(r.z, std::hypot(r.x, r.y)); };
    const bool rises = elevation(*last) > elevation(*first);
    return rises == (k % 2 == 1);
}

Line sorted(std::size_t k, Line line) {
    if (hasToBeTurned(k, line)) std::reverse(line.begin(), line.end());
    return line;
}

std::vector<Line> randomLines(std::size_t lines, std::size_t rows, unsigned seed) {
    std::mt19937 random(seed);
    std::vector<Line> result(lines, Line(rows));
    for (Line& line : result) {
        for (ClrRecord& r : line) {
            const auto number = [&random] { return static_cast<std::int32_t>(random() % 65536); };
            r = {number() - 32768, number() * 4000, number() - 32768, 0, number() % 3};
        }
    }
    return result;
}

TEST(SortCLR, TurnsLinesSoThatTheyRunUpAndDownInTurn) {
    const Line up = lineAt({1, 2, 3}), down = lineAt({3, 2, 1});
    const Line upWithGaps = lineAt({0, 1, 2}), downWithGaps = lineAt({2, 1, 0});
    const Line flat = lineAt({2, 0, 2}), one = lineAt({0, 9, 0}), none = lineAt({0, 0, 0});
    const struct {
        std::vector<Line> in, out;
    } cases[] = {
        {{up, up, up}, {up, down, up}},
        {{down, down, down}, {up, down, up}},
        {{down, up, downWithGaps}, {up, down, upWithGaps}},
        {{one, none, one}, {one, none, one}},
        {{flat, flat, flat}, {flat, flat, flat}},  // turned in even lines, and the same again
    };
    for (const std::uint32_t format : {0U, 1U}) {
        for (const auto& c : cases) {
            Bytes in = clrHeader(3, 3, format, 2), out;
            in[78] = 0xAB;  // a byte of no meaning
            in[115] = 0x77;
            out = in;
            for (const std::uint8_t flag : {std::uint8_t{3}, std::uint8_t{200}}) {
                in.push_back(flag);
                out.push_back(flag);
                for (const Line& line : c.in)
                    appendLine(in, line);
                for (const Line& line : c.out)
                    appendLine(out, line);
            }
            Scan scan(in);
            EXPECT_TRUE(scan.convert());
            EXPECT_EQ(scan.said, "");
            EXPECT_EQ(scan.copy(), out) << &c - cases;
            EXPECT_EQ(brisko::test::readFile(scan.path), in);
        }
    }
}

TEST(SortCLR, ACutPlainScanGivesACopyWithItsLastLineFilledUp) {
    const auto lines = randomLines(6, 4, 1);
    Bytes whole = clrHeader(3, 4, 1, 2);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i % 3 == 0) whole.push_back(static_cast<std::uint8_t>(i));
        appendLine(whole, lines[i]);
    }
    for (std::size_t size = 0; size <= whole.size() + 7; size += 7) {
        Bytes in = whole;
        in.resize(size);
        Bytes filled = in;
        filled.resize(std::max<std::size_t>(size, 120) + 80);  // zeros to copy from
        Bytes out(filled.begin(), filled.begin() + 120);
        for (std::size_t at = 120, i = 0; at < size && i < lines.size(); ++i) {
            if (i % 3 == 0) out.push_back(in[at++]);
            if (at >= size) break;
            const Bytes bytes(filled.begin() + static_cast<std::ptrdiff_t>(at),
                              filled.begin() + static_cast<std::ptrdiff_t>(at) + 80);
            at += 80;
            Line line(4);
            for (std::size_t r = 0; r < 4; ++r)
                std::memcpy(&line[r], bytes.data() + 20 * r, 20);
            appendLine(out, sorted(i % 3, line));
        }
        if (size < 117) out.resize(120);  // no block count: no blocks
        Scan scan(in);
        EXPECT_TRUE(scan.convert());
        EXPECT_EQ(scan.copy(), out) << size;
    }
}

TEST(SortCLR, DecodesCompressedLinesAndTellsWhatItDoes) {
    const auto lines = randomLines(4, 600, 2);
    Bytes in = clrHeader(2, 600, 2, 2), out = in;
    std::string told;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i % 2 == 0) {
            in.push_back(7);
            out.push_back(7);
            told += "Read block :" + std::to_string(i / 2) + "\n";
        }
        Bytes line;
        appendCompressed(line, lines[i]);
        in.insert(in.end(), line.begin(), line.end());
        appendLine(out, sorted(i % 2, brisko::test::decodeLine(line, 600)));
        for (const char* points : {"250", "250", "100"}) {
            told +=
                "Start decode\nEnd decode\nConvert ptData  iRetPnt=" + std::string(points) + "\n";
        }
        if (!hasToBeTurned(i % 2, lines[i])) told += "check!\n";
    }
    Scan scan(in);
    EXPECT_TRUE(scan.convert());
    EXPECT_EQ(scan.said, "Read CLR file: " + scan.path + "\n" + told);
    EXPECT_TRUE(scan.copy() == out);
}

/// A piece of so many bytes that begins with a point at height 7.
Bytes paddedPiece(std::uint32_t length) {
    Bytes piece = ByteWriter().u32(length).bytes(brisko::test::fromHex("00 05 00 07 00 01 00"));
    piece.resize(sizeof(std::uint32_t) + length);
    return piece;
}

TEST(SortCLR, EndsTheCopyAtALengthThatNoPieceHas) {
    const Bytes header = clrHeader(3, 1, 2, 1);
    const Bytes point = clrRecords({{5, 0, 7, 0, 1}});
    const std::string decoded = "Start decode\nEnd decode\nConvert ptData  iRetPnt=1\ncheck!\n";
    Scan scan(ByteWriter().bytes(header).u8(9).bytes(paddedPiece(5000)).bytes(paddedPiece(5001)));
    EXPECT_TRUE(scan.convert());
    EXPECT_EQ(scan.said, "Read CLR file: " + scan.path + "\nRead block :0\n" + decoded +
                             "iDataLength=5001 / bufsize=5000\n"
                             "Invalid data length couldn't read!\r\n"
                             "File:" +
                             scan.path + "\n\nInvalid data length (5001) in block 0\n");
    EXPECT_EQ(scan.copy(), Bytes(ByteWriter().bytes(header).u8(9).bytes(point)));
}

TEST(SortCLR, ACutCompressedScanGivesACopyWithItsLastLineFilledUp) {
    const auto lines = randomLines(2, 300, 3);
    Bytes in = clrHeader(2, 300, 2, 1), full = in;
    in.push_back(1);
    full.push_back(1);
    std::vector<std::size_t> pieceEnds;
    for (std::size_t k = 0; k < 2; ++k) {
        for (const auto& [first, count] : {std::pair{0, 250}, std::pair{250, 50}}) {
            appendCompressed(in, {lines[k].begin() + first, lines[k].begin() + first + count});
            pieceEnds.push_back(in.size());
        }
        appendLine(full, sorted(k, lines[k]));
    }
    std::vector<std::size_t> sizes{121, 124, 125, 126, 1000};
    for (const std::size_t end : pieceEnds)
        sizes.insert(sizes.end(), {end - 1, end, end + 3, end + 4, end + 5});
    for (const std::size_t size : sizes) {
        if (size > in.size()) break;
        Scan scan(Bytes(in.begin(), in.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_TRUE(scan.convert());
        const auto pieces = static_cast<std::size_t>(std::count_if(
            pieceEnds.begin(), pieceEnds.end(), [&](auto end) { return end <= size; }));
        Bytes out(full.begin(),
                  full.begin() + 121 + static_cast<std::ptrdiff_t>(pieces / 2 * 6000));
        if (pieces % 2 == 1) {
            Line cut = lines[pieces / 2];
            std::fill(cut.begin() + 250, cut.end(), ClrRecord{});
            appendLine(out, sorted(pieces / 2, cut));
        }
        EXPECT_TRUE(scan.copy() == out) << size;
        EXPECT_EQ(scan.said.ends_with("Check!!\n"), pieces < 3) << size;  // lines written
    }
}

TEST(SortCLR, GridsWithoutLinesAreToldAndEndWithTheFile) {
    const struct {
        std::int32_t columns, rows;
        std::uint32_t blocks;
        Bytes content;
        std::string told;
        std::size_t copied;
    } cases[] = {
        {0, 5, 1, {1, 2, 3}, "Read block :0\n", 1},
        {5, 0, 2, {1, 2, 3}, "Read block :0\nCheck!!\nRead block :1\nCheck!!\n", 2},
        {-5, 5, 1, {1}, "Read block :0\nCheck!!\n", 1},
        {5, -5, 4294967295U, {1}, "Read block :0\nCheck!!\nRead block :1\n", 1},
        {2147483647, 2147483647, 4294967295U, {1}, "Read block :0\nCheck!!\n", 1},
        {0, 5, 0, {1}, "", 0},
    };
    for (const auto& c : cases) {
        const Bytes header = clrHeader(c.columns, c.rows, 2, c.blocks);
        Scan scan(ByteWriter().bytes(header).bytes(c.content));
        EXPECT_TRUE(scan.convert());
        EXPECT_EQ(scan.said, "Read CLR file: " + scan.path + "\n" + c.told);
        EXPECT_EQ(scan.copy().size(), 120 + c.copied);
    }
}

TEST(SortCLR, RefusesWhatItCannotCopy) {
    // A line of 4,294,967,300 bytes, of a scan without any; and point formats without lines.
    for (const Bytes& header :
         {clrHeader(1, 214'748'365, 0, 1), clrHeader(1, 1, 3, 1), clrHeader(1, 1, 255, 1)}) {
        Scan scan(header);
        EXPECT_FALSE(scan.convert());
        EXPECT_EQ(scan.said, "");
        EXPECT_EQ(scan.folder.names(), Names{"scan.clr"});
    }
    // A line that lacks two gigabytes.
    Scan scan(ByteWriter().bytes(clrHeader(1, 100'000'000, 0, 1)).u32(1));
    EXPECT_FALSE(scan.convert());
    EXPECT_EQ(scan.folder.names(), Names{"scan.clr"});
}

TEST(SortCLR, AFileThatCannotBeOpenedIsDescribedByAnEmptyLine) {
    Scan scan(clrHeader(0, 0, 0, 0));
    testing::internal::CaptureStdout();
    EXPECT_FALSE(ConvertClrFile(scan.folder / "missing.clr"));
    EXPECT_FALSE(ConvertClrFile(scan.folder.path().string()));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n\n");

    std::filesystem::create_symlink("scan.clr", scan.copyPath);
    const Bytes before = brisko::test::readFile(scan.path);
    EXPECT_FALSE(scan.convert());  // the copy would take the place of the scan
    EXPECT_EQ(scan.said, "\n");
    EXPECT_EQ(brisko::test::readFile(scan.path), before);
    std::filesystem::remove(scan.copyPath);

    std::filesystem::create_directory(scan.copyPath);
    EXPECT_FALSE(scan.convert());
    EXPECT_EQ(scan.said, "\n");
    EXPECT_EQ(scan.folder.names().size(), 2U);
}

TEST(SortCLR, TheDriverAnswersWithACode) {
    const TempFolder folder;
    brisko::test::writeFile(folder / "scan.clr", clrHeader(0, 0, 0, 0));
    testing::internal::CaptureStdout();
    EXPECT_EQ(SortCLR(folder / "scan.clr", nullptr), 0);
    EXPECT_EQ(SortCLR(folder / "missing.clr", nullptr), 176);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "SortCLR\nSortCLR\n\n");
}

TEST(SortCLR, ACopyOfACompressedScanReadsLikeTheScan) {
    // It still announces compressed lines; its size tells that it has none.
    Bytes in = clrHeader(2, 300, 2, 1);
    in.push_back(0);
    Line up(300);
    for (std::size_t i = 0; i < up.size(); ++i)
        up[i] = {1000, 50, static_cast<std::int32_t>(i) - 100, 0, static_cast<std::int32_t>(i % 5)};
    appendCompressed(in, up);
    std::reverse(up.begin(), up.end());
    appendCompressed(in, up);
    Scan scan(in);
    ASSERT_TRUE(scan.convert());
    const auto points = brisko::test::readScan<CLRGridCodec>(scan.path);
    EXPECT_EQ(points.size(), 480U);
    EXPECT_EQ(brisko::test::readScan<CLRGridCodec>(scan.copyPath), points);
    testing::internal::CaptureStdout();
    EXPECT_TRUE(ConvertClrFile(scan.copyPath));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(brisko::test::readFile(scan.copyPath + ".Converted.clr"), scan.copy());
}

TEST(SortCLR, LinesTooLongForMemoryAreTurnedInTheFile) {
    constexpr std::int32_t kRows = 1'200'003;
    Line up(kRows);
    for (std::int32_t i = 0; i < kRows; ++i)
        up[static_cast<std::size_t>(i)] = {1'000'000, 0, i, i, 1};
    up.back().intensity = 0;
    Bytes in = clrHeader(2, kRows, 1, 1);
    in.push_back(0);
    Bytes out = in;
    appendLine(in, up);
    appendLine(in, up);
    appendLine(out, up);
    appendLine(out, sorted(1, up));
    Scan scan(in);
    EXPECT_TRUE(scan.convert());
    EXPECT_TRUE(scan.copy() == out);

    // The second line is cut in its middle: what it lacks is at its end, and turned with it.
    in.resize(in.size() - 700'000 * std::size_t{20});
    out.resize(out.size() - kRows * std::size_t{20});
    std::fill(up.end() - 700'000, up.end(), ClrRecord{});
    appendLine(out, sorted(1, up));
    brisko::test::writeFile(scan.path, in);
    EXPECT_TRUE(scan.convert());
    EXPECT_TRUE(scan.copy() == out);
}

Bytes scanOfMegabytes(std::uint32_t format) {
    Bytes bytes = clrHeader(100, 2000, format, 1);
    bytes.push_back(0);
    for (const Line& line : randomLines(100, 2000, 4)) {
        if (format == 2) {
            appendCompressed(bytes, line);
        } else {
            appendLine(bytes, line);
        }
    }
    return bytes;
}

TEST(SortCLR, AFullDiskLeavesTheEarlierCopy) {
    Scan scan(scanOfMegabytes(0));
    brisko::test::writeFile(scan.copyPath, "earlier");
    for (const rlim_t size : {0UL, 100UL, 121UL, 600'000UL, 3'999'999UL, 4'000'120UL}) {
        const brisko::test::FileSizeLimit limit(size);
        EXPECT_EQ(SortCLR(scan.path, nullptr), 176);
        EXPECT_EQ(brisko::test::readText(scan.copyPath), "earlier");
        EXPECT_EQ(scan.folder.names().size(), 2U);
    }
    const brisko::test::FileSizeLimit limit(4'000'121);
    EXPECT_EQ(SortCLR(scan.path, nullptr), 0);
}

/// Gives up at a call of the process.
class Impatient : public CProgressCallback {
public:
    explicit Impatient(int calls) : m_left(calls) {}

    void SetPos(std::uint16_t position) override {
        if (GetProcNo() != 0 && position < GetPos()) ADD_FAILURE() << "went back";
        EXPECT_LE(position, 100);
        CProgressCallback::SetPos(position);
    }
    void Poll() override {
        if (m_left-- == 0) throw 0;
    }

private:
    int m_left;
};

TEST(SortCLR, CanBeFollowedAndStoppedAnywhere) {
    for (const std::uint32_t format : {1U, 2U}) {
        Scan scan(scanOfMegabytes(format));
        brisko::test::writeFile(scan.copyPath, "earlier");
        int calls = 0;
        for (bool stopped = true; stopped; ++calls) {
            Impatient callback(calls);
            testing::internal::CaptureStdout();
            try {
                EXPECT_TRUE(ConvertClrFile(scan.path, &callback));
                EXPECT_EQ(callback.GetPos(), 100);
                EXPECT_EQ(callback.GetProcNo(), 1);
                stopped = false;
            } catch (int) {
                EXPECT_EQ(brisko::test::readText(scan.copyPath), "earlier");
            }
            testing::internal::GetCapturedStdout();
            EXPECT_EQ(scan.folder.names().size(), 2U);
        }
        EXPECT_GT(calls, 3);
        EXPECT_EQ(scan.copy().size(), 4'000'121U);
    }
}

}  // namespace
}  // namespace QelPcpLib
