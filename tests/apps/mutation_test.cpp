#include "apps/damaged_scan.h"
#include "support/conversion_fixture.h"
#include "support/file_size_limit.h"
#include "support/scan_walk.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

namespace brisko::tool {

using namespace scan;
namespace {

using namespace brisko::test;
using Json = nlohmann::json;
namespace fs = std::filesystem;

using Random = std::mt19937;

std::size_t below(Random& random, std::size_t end) {
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

/// A small sound scan: its files by extension.
using Files = std::map<std::string, Bytes>;

/// 6 x 5 cells in tiles of 4 x 4, two in three with a point.
Files indexedScan() {
    ByteWriter scan, index;
    scan.bytes(cl3Header(4));
    index.bytes(ijHeader(6, 5, 4));
    for (std::uint32_t tile = 0; tile < 4; ++tile) {
        std::vector<TestPoint> points;
        std::vector<std::uint32_t> entries(16);
        for (std::uint32_t cell = 0; cell < 16; ++cell) {
            const std::uint32_t column = tile / 2 * 4 + cell / 4, row = tile % 2 * 4 + cell % 4;
            if (column >= 6 || row >= 5 || (column + row) % 3 == 0) continue;
            points.push_back({1.0 + column, 2.0 + row, 0.5, 100, 1, 2, 3, column, row});
            entries[cell] = static_cast<std::uint32_t>(points.size());
        }
        scan.bytes(cl3Block(points));
        index.bytes(ijTile(tile / 2, tile % 2, entries));
    }
    return {{".cl3", scan}, {".ij", index}};
}

Files raw(std::uint32_t format, std::uint32_t blocks) {
    const std::int32_t rows = format == 2 ? 260 : 7;  // of two compressed pieces
    return {{".clr", rawScan({"RVX1000", format, blocks, 3, rows})}};
}

std::vector<Files> soundScans() {
    const Files indexed = indexedScan();
    return {indexed,  {{".cl3", indexed.at(".cl3")}}, raw(0, 1), raw(3, 1), raw(1, 2), raw(2, 1),
            raw(2, 2)};
}

/// Changes a scan in one place, as a bad disk, a broken copy or a faulty program would.
void mutate(Bytes& bytes, Random& random) {
    const auto place = [&](std::size_t size) {
        return bytes.begin() + static_cast<std::ptrdiff_t>(below(random, size));
    };
    const auto word = bytes.size() / 4;
    switch (below(random, 8)) {
        case 0:
            *place(bytes.size()) ^= static_cast<std::uint8_t>(1u << below(random, 8));
            break;
        case 1:
            *place(bytes.size()) = static_cast<std::uint8_t>(below(random, 256));
            break;
        case 2: {  // a word, most of all one of a header
            const std::size_t at =
                below(random, 2) ? below(random, word) * 4 : 80 + below(random, 40);
            const std::uint32_t values[] = {0, 1, 2, 0xffffffff, 0x7fc00000, 5001};
            const std::uint32_t value = values[below(random, std::size(values))];
            if (at + 4 <= bytes.size()) std::memcpy(bytes.data() + at, &value, 4);
            break;
        }
        case 3:
            bytes.resize(below(random, bytes.size()));
            break;
        case 4:
            bytes.insert(bytes.end(), 1 + below(random, 40),
                         static_cast<std::uint8_t>(below(random, 2)));
            break;
        case 5: {  // a part is lost
            const auto begin = place(bytes.size());
            const auto most = static_cast<std::size_t>(bytes.end() - begin);
            bytes.erase(begin, begin + static_cast<std::ptrdiff_t>(
                                           1 + below(random, std::min<std::size_t>(most, 120))));
            break;
        }
        case 6: {  // two words change places
            const std::size_t a = below(random, word) * 4, b = below(random, word) * 4;
            std::swap_ranges(bytes.begin() + static_cast<std::ptrdiff_t>(a),
                             bytes.begin() + static_cast<std::ptrdiff_t>(a + 4),
                             bytes.begin() + static_cast<std::ptrdiff_t>(b));
            break;
        }
        default:
            break;  // sound
    }
}

/// Whether `check` found more than points outside the header's angles, of which a file does not speak.
bool callsItDamaged(const std::string& path) {
    const ToolRun result = run({"check", "--json", path});
    const Json scan = Json::parse(result.out)["scans"][0];
    if (!scan["error"].is_null()) return true;
    const Json& findings = scan["findings"];
    return std::any_of(findings.begin(), findings.end(),
                       [](const Json& finding) { return finding["kind"] != "angle"; });
}

/// Every command finds damage exactly where the walk does, and leaves nothing then.
void tryAllCommands(const TempFolder& folder, const std::string& scan, bool damaged) {
    const std::vector<std::string> before = folder.names();
    EXPECT_EQ(callsItDamaged(scan), damaged);
    const std::string out = folder / "out";
    const bool hasGrid = scan.ends_with(".clr") || fs::exists(folder / "a.ij");
    const std::vector<std::string> commands[] = {
        {"convert", scan, out + ".ply"},
        {"convert", scan, out + ".cl3"},
        {"convert", scan, out + ".clr"},
        {"info", "--count", scan},
        {"panorama", scan, "--output", out + ".png", "--width", "64"},
        {"view", scan, "--output", out + ".html", "--points", "1000"},
        {"index", scan}};
    for (const std::vector<std::string>& command : commands) {
        // Without an index the header's angles have to make a grid of the points, and these do not.
        if (command[0] == "index" && !damaged && !hasGrid) continue;
        const ToolRun result = run(command);
        // A sound header may still claim a grid that no output can be made of.
        const bool refused = result.code == 3 && !contains(result.err, "out of proportion");
        EXPECT_TRUE(damaged ? result.code != 0 : !refused)
            << command[0] << " ended with " << result.code << ": " << result.err;
        if (result.code != 0) {
            EXPECT_EQ(folder.names(), before) << command[0];
        }
        for (const std::string& name : folder.names()) {
            if (std::find(before.begin(), before.end(), name) == before.end()) {
                fs::remove(folder / name);
            }
        }
    }
    // A single cell needs one tile of the index only.
    if (!damaged && hasGrid) {
        EXPECT_NE(run({"cell", scan, "1", "1"}).code, 3);
    }
}

TEST(Mutations, AScanThatWasCutShortIsNeverTakenForAWholeOne) {
    const TempFolder folder;
    for (const Files& files : soundScans()) {
        for (const auto& [extension, bytes] : files)
            writeFile(folder / ("a" + extension), bytes);
        const auto& [extension, scan] = *files.begin();
        const std::string path = folder / ("a" + extension), out = folder / "out.ply";
        ASSERT_EQ(run({"convert", path, out, "--overwrite"}).code, 0) << path;
        fs::remove(out);
        for (std::size_t size = 0; size < scan.size(); size += 1 + size / 200) {
            writeFile(path, cutTo(scan, size));
            const ToolRun result = run({"convert", path, out});
            ASSERT_EQ(result.code, 3) << path << " cut at " << size;
            ASSERT_TRUE(contains(result.err, path)) << result.err;
        }
        ASSERT_FALSE(fs::exists(out));
        for (const std::string& name : folder.names())
            fs::remove(folder / name);
    }
}

TEST(Mutations, EveryCommandFindsDamageExactlyWhereItIs) {
    const FileSizeLimit disk(16 << 20);  // a header may claim a huge grid of empty cells
    const char* more = std::getenv("BRISKO_MUTATIONS");
    const int rounds = more ? std::atoi(more) : 300;
    const std::vector<Files> scans = soundScans();
    int damaged = 0;
    for (int seed = 0; seed < rounds && !::testing::Test::HasFailure(); ++seed) {
        Random random(static_cast<unsigned>(seed));
        Files files = scans[below(random, scans.size())];
        mutate(std::next(files.begin(), static_cast<std::ptrdiff_t>(below(random, files.size())))
                   ->second,
               random);
        const TempFolder folder;
        for (const auto& [extension, bytes] : files)
            writeFile(folder / ("a" + extension), bytes);
        const std::string scan = folder / ("a" + files.begin()->first);
        const std::string damage = damageOf(scan);
        damaged += !damage.empty();
        SCOPED_TRACE("seed " + std::to_string(seed) + ", " + files.begin()->first + ": " + damage);
        tryAllCommands(folder, scan, !damage.empty());
    }
    EXPECT_GT(damaged, rounds / 3);
    EXPECT_LT(damaged, rounds);
}

}  // namespace
}  // namespace brisko::tool
