// Conversions of a folder of files: the inputs stay, nothing temporary is left, and what was converted
// reads back as the input does. A failure leaves the earlier output.

#include "same_points.h"
#include "scan_folder.h"
#include "slow_clr.h"

#include <brisko_codec/conversions.h>

#include <map>

namespace brisko::fuzz {

namespace {

using Files = std::map<std::string, Bytes>;
using Points = std::map<std::pair<std::uint32_t, std::uint32_t>, test::TestPoint>;

Files filesOf(const ScanFolder& folder) {
    Files files;
    for (const std::string& name : folder.names())
        files[name] = test::readFile(folder / name);
    return files;
}

template <class Codec>
Points pointsOf(const std::string& path) {
    Points points;
    for (const test::TestPoint& p : test::readScan<Codec>(path))
        points[{p.column, p.row}] = p;
    return points;
}

void expectSamePoints(const Points& expected, const Points& points) {
    expect(expected.size() == points.size());
    for (const auto& [cell, point] : expected) {
        const auto found = points.find(cell);
        expect(found != points.end());
        expect(isSame(found->second.intensity, point.intensity));
        // Alignments go through decimals with 18 places.
        expect(std::abs(found->second.x - point.x) <= 1e-6 * (1 + std::abs(point.x)));
    }
}

void expectInputs(const Files& before, const Files& after) {
    for (const auto& [name, bytes] : before) {
        const auto found = after.find(name);
        expect(found != after.end());
        if (name != "scan_index.cl3") expect(found->second == bytes);
    }
    std::size_t written = 0;
    for (const auto& [name, bytes] : after)
        written += before.contains(name) ? 0 : bytes.size();
    expect(written <= std::size_t{64} << 20);
    static const std::vector<std::string> allowed = {
        "scan.clr",       "scan.clr.Converted.clr", "scan.cl3",       "scan.ij",
        "scan_index.cl3", "scan_index.ij",          "scan_index.alg", "scan.alg"};
    for (const auto& [name, bytes] : after)
        expect(std::find(allowed.begin(), allowed.end(), name) != allowed.end());
}

void convertRaw(const ScanFolder& folder, ByteSpan alg, ByteSpan scan) {
    const SlowClrHeader header(scan);
    if (header.columns > 250 || header.rows > 250) return;  // one tile
    folder.writeOrRemove("scan.alg", alg);
    folder.write("scan.clr", scan);
    const bool withOld = scan.size() % 2 == 0;
    if (withOld) folder.write("scan_index.cl3", toBytes("earlier"));
    const Files before = filesOf(folder);
    const bool done = ConvertClrToCl3Indexed(folder / "scan.clr");
    const Files after = filesOf(folder);
    expectInputs(before, after);
    const bool hasOutput = after.contains("scan_index.ij");
    const bool mayKeep = !done || !hasOutput;
    if (withOld && mayKeep && !done) expect(after.at("scan_index.cl3") == toBytes("earlier"));
    if (!hasOutput || !done) return;
    const Points expected = pointsOf<CLRGridCodec>(folder / "scan.clr");
    expectSamePoints(expected, pointsOf<CL3GridCodec>(folder / "scan_index.cl3"));
}

void convertIndexed(const ScanFolder& folder, ByteSpan alg, ByteSpan index, ByteSpan scan) {
    std::uint32_t grid[2] = {};
    if (index.size() >= 48) std::memcpy(grid, index.data() + 36, sizeof grid);
    if (grid[0] > 250 || grid[1] > 250) return;
    folder.writeOrRemove("scan.alg", alg);
    folder.writeOrRemove("scan.ij", index);
    folder.write("scan.cl3", scan);
    const Files before = filesOf(folder);
    const bool done = ConvertCl3ToCl3Indexed(folder / "scan.cl3");
    const Files after = filesOf(folder);
    expectInputs(before, after);
    if (!done) expect(after == before);
    if (!done || !after.contains("scan_index.ij")) return;
    expectSamePoints(pointsOf<CL3GridCodec>(folder / "scan.cl3"),
                     pointsOf<CL3GridCodec>(folder / "scan_index.cl3"));
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.clear();
    Input in(input);
    const bool raw = in.u8() % 2 == 0;
    const ByteSpan alg = in.takePiece();
    if (raw) return convertRaw(folder, alg, in.rest());
    const ByteSpan index = in.takePiece();
    convertIndexed(folder, alg, index, in.rest());
}

std::vector<Bytes> seeds() {
    const auto seed = [](std::uint8_t kind, const Bytes& rest) {
        Bytes bytes = {kind};
        bytes.insert(bytes.end(), rest.begin(), rest.end());
        return bytes;
    };
    const Bytes alg = toBytes("CL3_ALG_0.1\n0 -1 0 10\n1 0 0 0\n0 0 1 2.5\n0 0 0 1\n");
    std::vector<Bytes> all;
    for (const char* model : {"OTHER", "RVX2000", "RXL1000"}) {
        for (const std::uint32_t format : {1U, 3U}) {
            Bytes header = test::clrHeader(2, 3, format, 2);
            const Bytes name = test::ByteWriter().text(model, 12);
            std::copy(name.begin(), name.end(), header.begin() + 32);
            const std::vector<ClrRecord> records = {{10000, 5, 1, 0, 9}, {10000, 5, 2, 0, 9},
                                                    {0, 0, 0, 0, 0},     {10000, 5, 4, 0, 9},
                                                    {10000, 5, 3, 0, 9}, {9000, 5, 1, 0, 700}};
            all.push_back(seed(0, pieces({alg, test::ByteWriter()
                                                   .bytes(header)
                                                   .u8(0)
                                                   .bytes(test::clrRecords(records))
                                                   .u8(1)
                                                   .bytes(test::clrRecords(records))})));
        }
    }
    const test::TestPoint a{1.5, -2, 0.25, 1100, 1, 2, 3, 0, 0}, b{0, 0, -7, 0, 0, 0, 0, 0, 0};
    const Bytes index =
        test::ByteWriter().bytes(test::ijHeader(2, 2, 2)).bytes(test::ijTile(0, 0, {0, 1, 2, 0}));
    all.push_back(seed(
        1, pieces({alg, index,
                   test::ByteWriter().bytes(test::cl3Header(1)).bytes(test::cl3Block({a, b}))})));
    return all;
}

const Registered registered({"conversion", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
