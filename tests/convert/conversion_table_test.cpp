// What becomes of a scan, by its name, model, point format and number of blocks; what conversions report of
// their stages, and what they never write over.

#include "support/conversion_fixture.h"

#include <brisko_codec/threads.h>

#include <gtest/gtest.h>

namespace brisko {
namespace {

using namespace test;
using Names = std::vector<std::string>;

const double kMatrix[16] = {0.6, -0.8, 0, 12.5, 0.8, 0.6, 0, -3, 0, 0, 1, 0.25, 0, 0, 0, 1};

/// Files that are there after a conversion and were not before.
Names newFiles(const TempFolder& folder, const Names& before) {
    Names added;
    for (const std::string& name : folder.names()) {
        if (std::find(before.begin(), before.end(), name) == before.end()) added.push_back(name);
    }
    return added;
}

const Names kNothing;
const Names kIndexed{"scan_index.alg", "scan_index.cl3", "scan_index.ij"};
const Names kThroughCL3{"scan.cl3", "scan_index.alg", "scan_index.cl3", "scan_index.ij"};
const Names kSorted{"scan.cl3", "scan.clr.Converted.clr", "scan_index.alg", "scan_index.cl3",
                    "scan_index.ij"};

TEST(ClrConversion, FollowsTheTable) {
    const struct {
        const char* model;
        std::uint32_t format, blocks;
        bool result;
        const Names& files;
    } cases[] = {
        {"RVX2000", 0, 1, true, kIndexed},
        {"RVX2000", 1, 3, true, kIndexed},
        {"RVX2000", 2, 2, true, kIndexed},
        {"RVX2000", 3, 1, true, kIndexed},
        {"RVX2000", 3, 0, true, kIndexed},  // an empty scan is a scan
        {"RVX2000", 4, 1, true, kNothing},
        {"RVX2000-B", 3, 2, true, kIndexed},  // seven characters count
        {"RXL1000", 3, 1, true, kIndexed},
        {"QLDStat", 3, 2, true, kIndexed},
        {"QLD-Sta", 3, 0, true, kIndexed},
        {"RV-1003", 3, 1, true, kIndexed},
        {"RXL1000", 1, 1, true, kThroughCL3},
        {"RV-1003", 2, 2, true, kSorted},
        {"RXL1000", 4, 1, false, kNothing},
        {"OTHER", 0, 1, true, kThroughCL3},
        {"OTHER", 2, 1, true, kThroughCL3},
        {"OTHER", 3, 1, true, kThroughCL3},
        {"OTHER", 1, 2, true, kSorted},
        {"OTHER", 2, 3, true, kSorted},
        {"OTHER", 3, 2, true, kThroughCL3},  // sorting refuses the format; that stops nothing
        {"OTHER", 1, 0, true, kNothing},
        {"OTHER", 4, 1, false, kNothing},
        {"rvx2000", 3, 1, true, kThroughCL3},
    };
    const SilentOutput silent;
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.model) + " format " + std::to_string(c.format) + " blocks " +
                     std::to_string(c.blocks));
        const TempFolder folder;
        const std::string path = folder / "scan.clr";
        writeFile(path, rawScan({c.model, c.format, c.blocks}));
        writeAlignmentFile((folder / "scan.alg").c_str(), kMatrix, {});
        const Names before = folder.names();
        const auto inputs = contentsOf(folder);
        EXPECT_EQ(ConvertClrToCl3Indexed(path), c.result);
        EXPECT_EQ(newFiles(folder, before), c.files);
        for (const auto& [name, bytes] : inputs)
            EXPECT_EQ(readFile(folder / name), bytes) << name;
        if (c.files.empty()) continue;
        EXPECT_EQ(pointsByCell<CL3GridCodec>(folder / "scan_index.cl3"),
                  pointsByCell<CLRGridCodec>(path));
        if (c.files.front() == "scan.cl3") {
            EXPECT_EQ(readScan<CL3Codec>(folder / "scan.cl3").size(),
                      readScan<CLRCodec>(path).size());
        }
    }
}

TEST(ClrConversion, GoesByTheSpellingOfNames) {
    const struct {
        const char* name;
        bool result;
        Names files;
    } cases[] = {
        {"scan.CLR", true, kIndexed},
        {"scan.Clr", false, {}},
        {"scan.clr.gz", false, {}},
        {".clr", true, {"_index.alg", "_index.cl3", "_index.ij"}},
        {"scan_index.clr", true, {"scan_index.alg", "scan_index.cl3", "scan_index.ij"}},
        {"scan_INDEX.clr", true, {"scan_INDEX.alg", "scan_INDEX.cl3", "scan_INDEX.ij"}},
        {"scan_Index.clr",
         true,
         {"scan_Index_index.alg", "scan_Index_index.cl3", "scan_Index_index.ij"}},
    };
    const SilentOutput silent;
    for (const auto& c : cases) {
        const TempFolder folder;
        writeFile(folder / c.name, rawScan({.model = "RVX2000", .format = 3}));
        EXPECT_EQ(ConvertClrToCl3Indexed(folder / c.name), c.result) << c.name;
        EXPECT_EQ(newFiles(folder, {c.name}), c.files) << c.name;
    }
    const TempFolder folder;
    std::filesystem::create_directory(folder / "folder.clr");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "folder.clr"));
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "missing.clr"));
    EXPECT_FALSE(ConvertClrToCl3Indexed(""));
    EXPECT_FALSE(ConvertCl3ToCl3Indexed("clr"));
}

TEST(ClrConversion, MergesASeriesFirst) {
    const SilentOutput silent;
    const TempFolder folder;
    for (unsigned part = 0; part < 3; ++part) {
        const std::string name = "a_00" + std::to_string(part) + ".clr";
        writeFile(folder / name, rawScan({.model = "RVX2000", .seed = part + 1}));
    }
    writeFile(folder / "a_004.clr", "after the gap: not read");
    EXPECT_TRUE(ConvertClrToCl3Indexed(folder / "a_000.clr"));
    EXPECT_EQ(folder.names(),
              (Names{"a.clr", "a_000.clr", "a_000_index.alg", "a_000_index.cl3", "a_000_index.ij",
                     "a_001.clr", "a_002.clr", "a_004.clr", "am.clr"}));
    CLRFileHeader merged;
    merged.Read((folder / "am.clr").c_str());
    EXPECT_EQ(merged.GetBlockCount(), 3U);
    EXPECT_EQ(pointsByCell<CL3GridCodec>(folder / "a_000_index.cl3"),
              pointsByCell<CLRGridCodec>(folder / "am.clr"));
}

TEST(ClrConversion, ASeriesIsAlignedLikeItsFirstScan) {
    const SilentOutput silent;
    for (const char* model : {"RVX2000", "OTHER"}) {
        const TempFolder folder;
        for (const char* name : {"a_000.clr", "a_001.clr"})
            writeFile(folder / name, rawScan({.model = model}));
        writeAlignmentFile((folder / "a_000.alg").c_str(), kMatrix, {});
        EXPECT_TRUE(ConvertClrToCl3Indexed(folder / "a_000.clr"));
        double matrix[16] = {};
        EXPECT_TRUE(readAlignmentFile((folder / "a_000_index.alg").c_str(), matrix));
        EXPECT_TRUE(std::equal(matrix, matrix + 16, kMatrix)) << model;
    }
}

TEST(ClrConversion, AScanWithoutCellsIsNoReasonToStop) {
    const SilentOutput silent;
    const struct {
        const char* what;
        Bytes bytes;
        bool hasFiles;
    } cases[] = {
        {"an empty file", {}, false},
        {"no columns", rawScan({.model = "RVX2000", .columns = 0}), true},
        {"less than no columns", rawScan({.model = "RVX2000", .format = 3, .columns = -1}), false},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        writeFile(folder / "scan.clr", c.bytes);
        vexo::ProgressTracker tracker;
        EXPECT_TRUE(ClrToCl3IjIndexed(folder / "scan.clr", &tracker)) << c.what;
        EXPECT_EQ(newFiles(folder, {"scan.clr"}), c.hasFiles ? kIndexed : kNothing) << c.what;
    }
}

TEST(ClrConversion, APathNamesWhatItShows) {
    const TempFolder folder;
    using namespace std::string_literals;
    writeFile(folder / "a.clr", rawScan({}));
    const std::string shown = folder / "a.clr";
    EXPECT_FALSE(ConvertClrToCl3Indexed(shown + "\0.clr"s));
    EXPECT_FALSE(ConvertCl3ToCl3Indexed(shown + "\0_index.cl3"s));
    EXPECT_EQ(folder.names(), Names{"a.clr"});
}

TEST(ClrConversion, RefusesClaimsThatTheFileCannotBack) {
    const SilentOutput silent;
    const struct {
        const char* what;
        std::int32_t columns, rows;
        bool result;
    } cases[] = {
        {"a grid of terabytes", 0x7FFFFFFF, 0x7FFFFFFF, false},
        {"out of proportion", 2'000'000, 256, false},
        {"negative", -1, 5, false},
        {"no rows", 5, 0, true},
        {"cut short, but small", 300, 300, true},
    };
    for (const auto& c : cases) {
        const TempFolder folder;
        writeFile(
            folder / "scan.clr",
            ByteWriter().text("", 32).text("RXL1000", 72).i32(c.columns).i32(c.rows).u32(3).u32(1));
        EXPECT_EQ(ConvertClrToCl3Indexed(folder / "scan.clr"), c.result) << c.what;
        EXPECT_EQ(folder.names().size(), c.result ? 4U : 1U) << c.what;
    }
}

/// An indexed scan with tiles of any size, written by hand: its file order follows its own tiles.
void writeTiles(const TempFolder& folder, std::uint32_t columns, std::uint32_t rows,
                std::uint32_t tileSize) {
    const auto pointAt = [](std::uint32_t column, std::uint32_t row) -> std::optional<TestPoint> {
        if ((column * 7 + row) % 5 == 0) return {};
        return TestPoint{.x = column + 0.1, .y = row + 0.2, .z = -0.0, .intensity = 7, .red = 9};
    };
    const TiledScan tiles = tiledScan(columns, rows, tileSize, pointAt);
    writeFile(folder / "scan.cl3", tiles.scan);
    writeFile(folder / "scan.ij", tiles.index);
}

TEST(Cl3Conversion, IndexesAnewWhateverTheTileSize) {
    const SilentOutput silent;
    for (const std::uint32_t tileSize : {256U, 64U, 4U, 100U, 300U, 512U}) {
        const TempFolder folder;
        writeTiles(folder, 310, 290, tileSize);
        writeAlignmentFile((folder / "scan.alg").c_str(), kMatrix, {});
        EXPECT_TRUE(ConvertCl3ToCl3Indexed(folder / "scan.cl3")) << tileSize;
        EXPECT_EQ(pointsByCell<CL3GridCodec>(folder / "scan_index.cl3"),
                  pointsByCell<CL3GridCodec>(folder / "scan.cl3"));
        const auto output = openScan<CL3GridCodec>(folder / "scan_index.cl3");
        unsigned columns = 0, rows = 0, newTileSize = 0;
        output->GetGridResolution(columns, rows, newTileSize);
        EXPECT_EQ(columns, 310U);
        EXPECT_EQ(rows, 290U);
        EXPECT_EQ(newTileSize, 256U);
    }
}

TEST(Cl3Conversion, LeavesAloneWhatNeedsNoIndex) {
    const TempFolder folder;
    writeTiles(folder, 10, 10, 4);
    for (const char* name : {"lone.cl3", "other_index.cl3", "UPPER_INDEX.CL3"})
        writeFile(folder / name, cl3Header(0));
    writeFile(folder / "other_index.ij", "an index");
    writeFile(folder / "scan.Cl3", cl3Header(0));
    const auto before = contentsOf(folder);
    EXPECT_TRUE(ConvertCl3ToCl3Indexed(folder / "lone.cl3"));
    EXPECT_TRUE(ConvertCl3ToCl3Indexed(folder / "other_index.cl3"));
    EXPECT_TRUE(ConvertCl3ToCl3Indexed(folder / "UPPER_INDEX.CL3"));
    EXPECT_FALSE(ConvertCl3ToCl3Indexed(folder / "scan.Cl3"));
    EXPECT_FALSE(ConvertCl3ToCl3Indexed(folder / "scan.ij"));
    EXPECT_FALSE(ConvertCl3ToCl3Indexed(folder / "missing.cl3"));
    EXPECT_EQ(contentsOf(folder), before);
}

TEST(Cl3Conversion, RefusesScansThatAreNotWhole) {
    const SilentOutput silent;
    const TempFolder folder;
    writeTiles(folder, 310, 290, 100);  // tiles that are read column by column
    const Bytes scan = readFile(folder / "scan.cl3"), index = readFile(folder / "scan.ij");
    Bytes ofAnother = index, wrongEntry = index;
    std::fill_n(ofAnother.begin() + 60, 400, std::uint8_t{0});
    wrongEntry[60] = 1;  // cell (0, 0) has no point
    for (const auto& [scanBytes, indexBytes] : {std::pair(cutTo(scan, scan.size() - 1), index),
                                                {scan, cutTo(index, index.size() - 1)},
                                                {scan, ofAnother},
                                                {scan, wrongEntry}}) {
        writeFile(folder / "scan.cl3", scanBytes);
        writeFile(folder / "scan.ij", indexBytes);
        EXPECT_FALSE(ConvertCl3ToCl3Indexed(folder / "scan.cl3"));
        EXPECT_EQ(folder.names(), (Names{"scan.cl3", "scan.ij"}));
    }
}

TEST(Conversion, SaysWhyItFailedAndWhichFileIsAtFault) {
    using enum ConversionProblem;
    const SilentOutput silent;
    const TempFolder folder;
    writeFile(folder / "a.txt", "");
    writeFile(folder / "whole.clr", rawScan({.model = "RVX2000", .format = 3}));
    writeFile(folder / "shut.clr", rawScan({.model = "RVX2000", .format = 3}));
    std::filesystem::create_directory(folder / "shut_index.cl3");
    writeFile(folder / "huge.clr",
              ByteWriter().text("", 32).text("RXL1000", 72).i32(1 << 21).i32(256).u32(3).u32(1));
    writeTiles(folder, 310, 290, 256);
    std::filesystem::resize_file(folder / "scan.ij", 1000);
    for (const char* name : {"a_000.clr", "a_001.clr"})
        writeFile(folder / name, rawScan({.rows = name[4] == '1' ? 16 : 8}));
    const struct {
        const char* name;
        ConversionProblem problem;
        const char* file;
    } cases[] = {
        {"whole.clr", None, ""},
        {"missing.clr", NotFound, "missing.clr"},
        {"a.txt", BadName, "a.txt"},
        {"shut.clr", CannotWrite, "shut_index.cl3"},
        {"scan.cl3", Damaged, "scan.cl3"},
        {"huge.clr", TooLarge, "huge_index.cl3"},
        {"a_000.clr", Damaged, "a_001.clr"},
    };
    for (const auto& c : cases) {
        const ConversionResult result = indexScan(folder / c.name, nullptr);
        EXPECT_EQ(result.problem, c.problem) << c.name;
        EXPECT_EQ(result.file, *c.file ? folder / c.file : "") << c.name;
        EXPECT_EQ(result.text.empty(), c.problem == None) << c.name;
        const bool isCut = result.text.find("is not whole") != std::string::npos;
        EXPECT_EQ(isCut, c.name == std::string("scan.cl3")) << result.text;
    }
    EXPECT_TRUE(ConvertClrToCl3Indexed(folder / "shut.clr")) << "true whatever happens";
    writeFile(folder / "scan.cl3", cutTo(readFile(folder / "scan.cl3"), 500));
    EXPECT_EQ(indexScanByAngles(folder / "scan.cl3", folder / "b.cl3", nullptr).problem, Damaged);
}

/// What came of a conversion on so many threads, files and all.
struct Outcome {
    ConversionProblem problem;
    std::string text;
    std::uint64_t damagedAt;
    int updates;
    std::map<std::string, Bytes> files;

    bool operator==(const Outcome&) const = default;
};

Outcome convertOn(unsigned threads, const TempFolder& folder, const std::string& name) {
    const JobThreadLimit limit(threads);
    vexo::ProgressTracker tracker;
    CountingMonitor monitor;
    tracker.addMonitor(&monitor);
    const ConversionResult result = indexScan(folder / name, &tracker);
    Outcome outcome{result.problem, result.text, result.damage.offset, monitor.updates,
                    contentsOf(folder)};
    for (const char* made : {"scan_index.cl3", "scan_index.ij", "scan_index.alg"})
        std::filesystem::remove(folder / made);
    return outcome;
}

/// Large enough to be worth threads, with a last band that is not full.
const RawSpec kWide{.model = "RVX2000", .columns = 700, .rows = 390};

TEST(Conversions, AreTheSameOnAnyNumberOfThreads) {
    const SilentOutput silent;
    const struct {
        std::uint32_t format, blocks;
        const char* damage;
    } cases[] = {{1, 1, ""},     {3, 2, ""},     {2, 1, ""},       {2, 3, ""},
                 {1, 1, "cut"},  {2, 1, "cut"},  {2, 1, "length"}, {2, 1, "content"},
                 {3, 1, "more"}, {2, 2, "more"}, {2, 0, "more"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.format) + " " + std::to_string(c.blocks) + c.damage);
        const TempFolder folder;
        RawSpec spec = kWide;
        spec.format = c.format;
        spec.blocks = c.blocks;
        Bytes scan = rawScan(spec);
        const std::string damage = c.damage;
        if (damage == "cut") scan.resize(scan.size() * 2 / 3);
        if (damage == "more") scan.resize(scan.size() + 6'000'000);
        if (damage == "length")
            scan[124] = 0x7f;  // of the first piece: there is no way to the second
        if (damage == "content") std::fill_n(scan.begin() + 126, 300, std::uint8_t{0xff});
        writeFile(folder / "scan.clr", scan);
        writeAlignmentFile((folder / "scan.alg").c_str(), kMatrix, {});
        const Outcome one = convertOn(1, folder, "scan.clr");
        EXPECT_EQ(one.files.size(), 5U);
        for (const unsigned threads : {2U, 7U}) {
            const Outcome several = convertOn(threads, folder, "scan.clr");
            EXPECT_EQ(several.problem, one.problem);
            EXPECT_EQ(several.text, one.text);
            EXPECT_EQ(several.damagedAt, one.damagedAt);
            EXPECT_GE(several.updates, one.updates - 5) << "monitors see each per cent";
            EXPECT_TRUE(several.files == one.files);
        }
    }
    for (const std::uint32_t tileSize : {256U, 64U}) {
        const TempFolder folder;
        writeTiles(folder, 700, 390, tileSize);
        const Bytes index = readFile(folder / "scan.ij");
        for (const std::size_t damaged : {std::size_t{0}, index.size() / 2}) {
            Bytes bytes = index;
            if (damaged > 0) std::fill_n(bytes.begin() + static_cast<int>(damaged), 400, 0);
            writeFile(folder / "scan.ij", bytes);
            const Outcome one = convertOn(1, folder, "scan.cl3");
            EXPECT_EQ(one.problem == ConversionProblem::None, damaged == 0);
            EXPECT_TRUE(convertOn(3, folder, "scan.cl3") == one);
        }
    }
}

TEST(Conversions, StopOnAnyNumberOfThreads) {
    const SilentOutput silent;
    const TempFolder folder;
    writeFile(folder / "scan.clr", rawScan(kWide));
    const auto before = contentsOf(folder);
    for (const unsigned threads : {1U, 2U, 7U}) {
        for (const int update : {1, 30, 90}) {
            const JobThreadLimit limit(threads);
            vexo::ProgressTracker tracker;
            CountingMonitor monitor;
            (update == 30 ? monitor.throwAt : monitor.cancelAt) = update;
            tracker.addMonitor(&monitor);
            const auto convert = [&] { ClrToCl3IjIndexed(folder / "scan.clr", &tracker); };
            if (update == 30) {
                EXPECT_THROW(convert(), HostOutOfMemory);
            } else {
                EXPECT_THROW(convert(), vexo::CancelProgressRequest);
            }
            EXPECT_TRUE(contentsOf(folder) == before);
        }
    }
}

TEST(Conversions, ReportsItsStagesByTheirLabels) {
    const SilentOutput silent;
    const TempFolder folder;
    for (const char* name : {"a_000.clr", "a_001.clr"})
        writeFile(folder / name, rawScan({}));
    vexo::ProgressTracker tracker;
    CountingMonitor monitor;
    tracker.addMonitor(&monitor);
    EXPECT_TRUE(ClrToCl3IjIndexed(folder / "a_000.clr", &tracker));
    EXPECT_EQ(monitor.names, (std::vector<std::string>{"Pcp combineMultiCLR", "Pcp SortCLR",
                                                       "Convert CLR to CL3", "Pcp Indexing1"}));
}

TEST(Conversions, OutputsThatCannotBeReplacedStay) {
    const SilentOutput silent;
    const TempFolder folder;
    writeFile(folder / "a.clr", rawScan({.model = "RXL1000", .format = 3}));
    std::filesystem::create_directory(folder / "a_index.cl3");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "a.clr"));
    EXPECT_TRUE(std::filesystem::is_directory(folder / "a_index.cl3"));

    // A link is followed; one that leads to the input is refused.
    std::filesystem::remove(folder / "a_index.cl3");
    std::filesystem::create_symlink(folder / "a.clr", folder / "a_index.cl3");
    const auto input = readFile(folder / "a.clr");
    EXPECT_FALSE(ConvertClrToCl3Indexed(folder / "a.clr"));
    EXPECT_EQ(readFile(folder / "a.clr"), input);
}

TEST(Conversions, TheUsersAlignmentIsNeverWritten) {
    const SilentOutput silent;
    const TempFolder folder;
    writeFile(folder / "a_index.clr", rawScan({}));
    const std::string alignment =
        "CL3_ALG_0.1\n1 0 0 5\n0 1 0 6\n0 0 1 7\n0 0 0 1\n2200\n1\n1\nhand-made\n";
    writeFile(folder / "a_index.alg", alignment);
    EXPECT_TRUE(ConvertClrToCl3Indexed(folder / "a_index.clr"));
    EXPECT_EQ(readText(folder / "a_index.alg"), alignment);
    EXPECT_EQ(pointsByCell<CL3GridCodec>(folder / "a_index.cl3"),
              pointsByCell<CLRGridCodec>(folder / "a_index.clr"));
}

}  // namespace
}  // namespace brisko
