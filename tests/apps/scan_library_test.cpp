#include "apps/damaged_scan.h"

#include <brisko_scan/check.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/scan_reader.h>
#include <brisko_scan/scan_writer.h>
#include "scan/files/scan_path.h"
#include "scan/formats/e57/crc32c.h"

#include <gtest/gtest.h>

#include <future>

namespace brisko::scan {
namespace {

using namespace brisko::test;

/// All points of the pass, read so many at a time.
std::vector<CellTuple> readAll(ScanReader& reader, std::size_t capacity) {
    std::vector<double> positions(3 * capacity);
    std::vector<float> intensities(capacity);
    std::vector<std::uint32_t> columns(capacity), rows(capacity);
    std::vector<CellTuple> all;
    for (std::size_t count = capacity; count == capacity;) {
        count = reader.read(
            {positions.data(), intensities.data(), nullptr, columns.data(), rows.data()}, capacity);
        for (std::size_t i = 0; i < count; ++i) {
            all.emplace_back(columns[i], rows[i], positions[3 * i], positions[3 * i + 1],
                             positions[3 * i + 2], intensities[i]);
        }
    }
    std::sort(all.begin(), all.end());
    return all;
}

/// The cells of a window, laid out row by row, as points.
std::vector<CellTuple> readWindow(ScanReader& reader, const CellWindow& window) {
    const std::size_t columns = window.endColumn - window.firstColumn;
    const std::size_t cells = columns * (window.endRow - window.firstRow);
    std::vector<double> positions(3 * cells);
    std::vector<float> intensities(cells);
    std::vector<std::uint8_t> present(cells, 7);
    const auto strides = [&](auto* start, std::ptrdiff_t bytes) {
        return CellArrays::Array{start, bytes, bytes * static_cast<std::ptrdiff_t>(columns)};
    };
    CellArrays arrays;
    arrays.positions = strides(positions.data(), 24);
    arrays.intensities = strides(intensities.data(), 4);
    arrays.present = strides(present.data(), 1);
    const std::uint64_t count = reader.readWindow(window, arrays);
    std::vector<CellTuple> found;
    for (std::size_t i = 0; i < cells; ++i) {
        EXPECT_LE(present[i], 1);
        EXPECT_EQ(std::isnan(positions[3 * i]), present[i] == 0);
        if (present[i] == 0) continue;
        found.emplace_back(window.firstColumn + i % columns, window.firstRow + i / columns,
                           positions[3 * i], positions[3 * i + 1], positions[3 * i + 2],
                           intensities[i]);
    }
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found.size(), count);
    return found;
}

std::vector<CellTuple> inside(const CellWindow& window, std::vector<CellTuple> points) {
    std::erase_if(points, [&](const CellTuple& p) {
        return std::get<0>(p) < window.firstColumn || std::get<0>(p) >= window.endColumn ||
               std::get<1>(p) < window.firstRow || std::get<1>(p) >= window.endRow;
    });
    return points;
}

template <class Call>
ErrorKind kindOf(const Call& call) {
    try {
        call();
    } catch (const ScanError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "nothing was thrown";
    return ErrorKind::Cancelled;
}

/// Replaces bytes of a file, and keeps its times.
void patchFile(const std::string& path, std::size_t offset, const Bytes& bytes) {
    const auto time = std::filesystem::last_write_time(path);
    writeFile(path, patched(readFile(path), offset, bytes));
    std::filesystem::last_write_time(path, time);
}

class ScanLibrary : public testing::Test {
protected:
    ScanLibrary() {
        writeTiledScan(folder, "a");
        for (const char* name : {"a.clr", "a.ptx"})
            convert(folder / "a.cl3", folder / name);
    }

    const TempFolder folder;
};

TEST_F(ScanLibrary, AnyFormatGivesItsPointsAndWindowsInBothFrames) {
    const CellWindow window{250, 300, 3, 261};  // over four tiles
    for (const char* name : {"a.cl3", "a.clr", "a.ptx"}) {
        SCOPED_TRACE(name);
        ScanReader reader = ScanReader::open(folder / name, {Frame::Scanner});
        EXPECT_EQ(reader.info().columns, 300U);
        const std::vector<CellTuple> all = pointsIn(folder / name);
        EXPECT_EQ(readAll(reader, 1000), all);
        EXPECT_EQ(readWindow(reader, window), inside(window, all));
        reader.rewind();
        // A reader may be handed to another thread.
        EXPECT_EQ(std::async(std::launch::async, [&] { return readAll(reader, 77); }).get(), all);

        ScanReader aligned = ScanReader::open(folder / name);
        const auto moved = readAll(aligned, 5000);
        EXPECT_NE(moved, all);
        EXPECT_EQ(readWindow(aligned, window), inside(window, moved));
        EXPECT_EQ(kindOf([&] { readWindow(aligned, {0, 301, 0, 1}); }), ErrorKind::Request);
        const auto stop = [](const ProgressUpdate&) { return false; };
        EXPECT_EQ(kindOf([&] { aligned.readWindow(window, {}, stop); }), ErrorKind::Cancelled);
    }
}

TEST(ScanReader, ReadsColumnsWithoutALookAtWhatLiesBeforeAndAfter) {
    const TempFolder folder;
    const auto scan = [&](const char* name, std::vector<std::string> more) {
        more.insert(more.end(), {"--name", name, "--columns", "800", "--rows", "300"});
        ASSERT_EQ(test::simulate(folder, more).code, 0);
    };
    scan("indexed", {"--format", "cl3-indexed"});
    scan("plain", {"--flags", "0,1"});
    scan("compressed", {"--point-format", "2", "--flags", "0,1"});
    const GridRange ranges[] = {{256, 512}, {300, 301}, {511, 513}, {0, 256}, {700, {}}, {0, {}}};
    const std::shared_ptr<const TileTable> tiles = [&] {
        const auto bytes = TileTable::of(folder / "indexed.cl3").toBytes();
        return std::make_shared<TileTable>(TileTable::fromBytes(bytes.data(), bytes.size()));
    }();
    const auto read = [&](const char* name, const GridRange& range) {
        ReadOptions options{Frame::Scanner};
        options.columns = range;
        if (hasExtension(name, ".cl3")) options.tiles = tiles;
        ScanReader reader = ScanReader::open(folder / name, options);
        return inside({range.first, range.end.value_or(800), 0, 300}, readAll(reader, 1000));
    };
    const char* const names[] = {"indexed.cl3", "plain.clr", "compressed.clr"};
    for (const char* const name : names) {
        const std::vector<CellTuple> all = pointsIn(folder / name);
        for (const GridRange& range : ranges) {
            const CellWindow window{range.first, range.end.value_or(800), 0, 300};
            EXPECT_EQ(read(name, range), inside(window, all)) << name << " " << range.first;
        }
    }
    const std::vector<CellTuple> sound[] = {read(names[0], {256, 512}), read(names[1], {256, 512}),
                                            read(names[2], {256, 512})};
    // A coordinate before, an entry after; all plain records of a column; the stream of a piece.
    patchFile(folder / "indexed.cl3", 115 + 5, Bytes(8, 0xff));
    const Bytes index = readFile(folder / "indexed.ij");
    patchFile(folder / "indexed.ij", index.size() - 4, {9, 9, 9, 9});
    patchFile(folder / "plain.clr", 121, Bytes(6000, 1));
    patchFile(folder / "compressed.clr", 125, Bytes(20, 0xff));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(read(names[i], {256, 512}), sound[i]) << names[i];
    for (const GridRange& range : {GridRange{0, 256}, {700, {}}})
        EXPECT_EQ(kindOf([&] { read("indexed.cl3", range); }), ErrorKind::Damaged) << range.first;
    EXPECT_EQ(kindOf([&] { read("compressed.clr", {0, 256}); }), ErrorKind::Damaged);

    // A table of other files, or of these in another state, is none.
    writeFile(folder / "indexed.ij", index);
    EXPECT_EQ(kindOf([&] { read("indexed.cl3", {256, 512}); }), ErrorKind::Request);
    const auto bytes = TileTable::of(folder / "indexed.cl3").toBytes();
    Bytes larger =
        patched(bytes, bytes.size() - 1, {0x7f});  // a sound one that no scan of this size has
    const std::uint32_t sum = crc32c(larger.data() + 8, larger.size() - 8);
    std::memcpy(larger.data() + 4, &sum, sizeof sum);
    ReadOptions made;
    made.tiles = std::make_shared<TileTable>(TileTable::fromBytes(larger.data(), larger.size()));
    EXPECT_EQ(kindOf([&] { ScanReader::open(folder / "indexed.cl3", made); }), ErrorKind::Request);
    for (const std::size_t at : {std::size_t{0}, std::size_t{20}, bytes.size() - 1}) {
        const Bytes torn = patched(bytes, at, {static_cast<std::uint8_t>(bytes[at] ^ 1)});
        EXPECT_EQ(kindOf([&] { TileTable::fromBytes(torn.data(), torn.size()); }),
                  ErrorKind::Request);
    }
}

TEST_F(ScanLibrary, AWriterKeepsCellsAndPoseOrLeavesNothing) {
    const std::vector<std::string> before = folder.names();
    const ScanReader reader = ScanReader::open(folder / "a.cl3", {Frame::Scanner});
    const auto input = openScan(folder / "a.cl3");
    for (const char* name : {"b.cl3", "b.clr", "b.ptx"}) {
        SCOPED_TRACE(name);
        const auto write = [&](const ProgressFunction& progress) {
            ScanWriter writer = ScanWriter::create(folder / name, reader.info());
            input->rewind();
            std::vector<CellPoint> some;
            for (input->read(some); !some.empty(); input->read(some))
                writer.write(some.data(), some.size());
            return progress ? writer.commit(progress) : 0;
        };
        write({});
        EXPECT_EQ(kindOf([&] { write([](const ProgressUpdate&) { return false; }); }),
                  ErrorKind::Cancelled);
        EXPECT_EQ(folder.names(), before);
        const std::uint64_t points = write([](const ProgressUpdate&) { return true; });
        EXPECT_EQ(points, pointsIn(folder / "a.cl3").size());
        EXPECT_EQ(withoutCells(pointsIn(folder / name)).size(), points);
        EXPECT_TRUE(checkScan(folder / name, 1).findings.empty());
        EXPECT_EQ(kindOf([&] { ScanWriter::create(folder / name, reader.info()); }),
                  ErrorKind::NotWritten);
        for (const std::string& made : folder.names()) {
            if (made.starts_with("b.")) std::filesystem::remove(folder / made);
        }
    }
    EXPECT_EQ(kindOf([&] { ScanWriter::create(folder / "b.doc", reader.info()); }),
              ErrorKind::Request);
}

TEST_F(ScanLibrary, DamageAndCancellationAreErrorsWithTheirPlace) {
    const Bytes index = readFile(folder / "a.ij");
    writeFile(folder / "a.ij", patched(index, 48 + 12 + 4 * 300, {9, 9, 0, 0}));
    ScanReader reader = ScanReader::open(folder / "a.cl3");
    try {
        readAll(reader, 4096);
        ADD_FAILURE();
    } catch (const ScanError& error) {
        EXPECT_EQ(error.kind(), ErrorKind::Damaged);
        EXPECT_EQ(error.file(), folder / "a.ij");
        EXPECT_TRUE(error.place().offset);
        EXPECT_NE(error.advice(), "");
    }
    EXPECT_EQ(kindOf([&] { readWindow(reader, {0, 5, 0, 5}); }), ErrorKind::Damaged);
    EXPECT_NO_THROW(readWindow(reader, {260, 265, 0, 5}));  // another tile

    ConvertOptions options;
    options.input = folder / "a.clr";
    options.output = folder / "c.cl3";
    options.progress = [](const ProgressUpdate& update) { return update.done == 0; };
    EXPECT_EQ(kindOf([&] { convertScan(options); }), ErrorKind::Cancelled);
    EXPECT_FALSE(std::filesystem::exists(folder / "c.cl3"));
}

}  // namespace
}  // namespace brisko::scan
