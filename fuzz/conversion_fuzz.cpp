// Conversions of a folder of files: the inputs stay, nothing temporary is left, what is written keeps
// within the limit, and what was converted reads back as the input does. A failure leaves the earlier
// output.

#include "same_points.h"
#include "scan_folder.h"
#include "slow_clr.h"
#include "small_scan.h"

#include "support/conversion_fixture.h"

#include <brisko_codec/conversions.h>

#include <tuple>

namespace brisko::fuzz {

namespace {

using Files = std::map<std::string, Bytes>;
using test::PointsByCell;

/// Indexes of a size that takes its time to write. Larger ones have to be refused.
bool takesLong(double columns, double rows) {
    const double bytes = std::ceil(columns / 256) * std::ceil(rows / 256) * 262'156;
    return columns > 0 && rows > 0 && bytes > 600'000 && bytes < 1.2e9;
}

void expectSamePoints(const PointsByCell& expected, const PointsByCell& points) {
    expect(expected.size() == points.size());
    for (const auto& [cell, point] : expected) {
        const auto found = points.find(cell);
        expect(found != points.end());
        expect(isSame(found->second.intensity, point.intensity));
        // Alignments go through decimals with 18 places.
        const double x = found->second.x;
        expect(isSame(x, point.x) || std::abs(x - point.x) <= 1e-6 * (1 + std::abs(point.x)));
    }
}

/// A cut line is filled up to its end in a sorted copy, which takes its time too.
bool takesLong(const SlowClrHeader& header) {
    return header.rows > 2000 || takesLong(double(header.columns), double(header.rows));
}

/// What the folder holds after a conversion, apart from the outputs named, is what it held before.
void expectOthersKept(const Files& before, const Files& after,
                      std::initializer_list<const char*> outputs) {
    std::size_t written = 0;
    for (const auto& [name, bytes] : after) {
        const bool isOutput = std::find(outputs.begin(), outputs.end(), name) != outputs.end();
        written += isOutput ? bytes.size() : 0;
        if (isOutput) continue;
        const auto found = before.find(name);
        expect(found != before.end() && found->second == bytes);
    }
    for (const auto& [name, bytes] : before)
        expect(after.contains(name));
    expect(written <= std::size_t{64} << 20);
}

void convertRaw(const ScanFolder& folder, ByteSpan alg, ByteSpan scan) {
    const SlowClrHeader header(scan);
    if (takesLong(header)) return;
    folder.writeOrRemove("scan.alg", alg);
    folder.write("scan.clr", scan);
    const bool withOld = scan.size() % 2 == 0;
    if (withOld) folder.write("scan_index.cl3", toBytes("earlier"));
    const Files before = test::contentsOf(folder);
    const bool done = ConvertClrToCl3Indexed(folder / "scan.clr");
    const Files after = test::contentsOf(folder);
    expectOthersKept(before, after,
                     {"scan.clr.Converted.clr", "scan.cl3", "scan.ij", "scan_index.cl3",
                      "scan_index.ij", "scan_index.alg"});
    if (withOld && !done) expect(after.at("scan_index.cl3") == toBytes("earlier"));
    if (!after.contains("scan_index.ij") || !done) return;
    expectSamePoints(test::pointsByCell<CLRGridCodec>(folder / "scan.clr"),
                     test::pointsByCell<CL3GridCodec>(folder / "scan_index.cl3"));
}

/// Two files of a series, of a scanner whose scans become indexed ones in one pass.
void convertSeries(const ScanFolder& folder, ByteSpan first, ByteSpan second) {
    for (const ByteSpan part : {first, second}) {
        const SlowClrHeader header(part);
        if (header.blocks > 100 || takesLong(header)) return;
    }
    folder.write("a_000.clr", first);
    folder.write("a_001.clr", second);
    const Files before = test::contentsOf(folder);
    const bool done = ConvertClrToCl3Indexed(folder / "a_000.clr");
    const Files after = test::contentsOf(folder);
    expectOthersKept(before, after,
                     {"a.clr", "a.clr.Converted.clr", "a_000.cl3", "a_000_index.cl3",
                      "a_000_index.ij", "a_000_index.alg"});
    if (!done || !after.contains("a_000_index.ij")) return;
    const Bytes& merged = after.at("a.clr");
    const SlowClrHeader header(merged);
    expect(header.blocks == SlowClrHeader(first).blocks + SlowClrHeader(second).blocks);
    if (!isPlain(merged, header)) return;
    PointsByCell expected;
    for (const test::TestPoint& p : pointsOf(header, cellsOf(merged, header)).points)
        expected[{p.column, p.row}] = p;
    expectSamePoints(expected, test::pointsByCell<CL3GridCodec>(folder / "a_000_index.cl3"));
}

void convertIndexed(const ScanFolder& folder, ByteSpan alg, ByteSpan index, ByteSpan scan) {
    std::uint32_t grid[2] = {};
    if (index.size() >= 48) std::memcpy(grid, index.data() + 36, sizeof grid);
    if (takesLong(grid[0], grid[1])) return;
    folder.writeOrRemove("scan.alg", alg);
    folder.writeOrRemove("scan.ij", index);
    folder.write("scan.cl3", scan);
    const Files before = test::contentsOf(folder);
    const bool done = ConvertCl3ToCl3Indexed(folder / "scan.cl3");
    const Files after = test::contentsOf(folder);
    expectOthersKept(before, after, {"scan_index.cl3", "scan_index.ij", "scan_index.alg"});
    if (!done) expect(after == before);
    if (!done || !after.contains("scan_index.ij")) return;
    expectSamePoints(test::pointsByCell<CL3GridCodec>(folder / "scan.cl3"),
                     test::pointsByCell<CL3GridCodec>(folder / "scan_index.cl3"));
}

using PointBits =
    std::tuple<std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t, std::uint8_t>;

/// All points in the frame of the scanner, in an order of their own.
template <class Codec>
std::vector<PointBits> rawPoints(const std::string& path) {
    std::vector<PointBits> points;
    const auto codec = test::openScan<Codec>(path);
    setFrame(*codec, Frame::Scanner);
    const auto bits = [](double value) { return std::bit_cast<std::uint64_t>(value); };
    for (const test::TestPoint& p : test::readAll(*codec))
        points.emplace_back(bits(p.x), bits(p.y), bits(p.z), bits(p.intensity), p.green);
    std::sort(points.begin(), points.end());
    return points;
}

/// No point is lost and none is changed, wherever in the grid they come to lie.
void indexByAngles(const ScanFolder& folder, ByteSpan alg, ByteSpan scan) {
    CL3FileHeader header;
    folder.write("scan.cl3", scan);
    header.Read((folder / "scan.cl3").c_str());
    if (takesLong(double(header.GetAzimuthResolution()), double(header.GetZenithResolution())))
        return;
    folder.writeOrRemove("scan.alg", alg);
    const Files before = test::contentsOf(folder);
    const bool done = indexCL3ByAngles(folder / "scan.cl3", folder / "new.cl3", nullptr);
    const Files after = test::contentsOf(folder);
    expectOthersKept(before, after, {"new.cl3", "new.ij", "new.alg"});
    expect(done == after.contains("new.ij"));
    if (done) {
        expect(rawPoints<CL3Codec>(folder / "scan.cl3") ==
               rawPoints<CL3GridCodec>(folder / "new.cl3"));
    }
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.clear();
    Input in(input);
    const std::uint8_t kind = in.u8() % 4;
    const ByteSpan first = in.takePiece();
    if (kind == 0) return convertRaw(folder, first, in.rest());
    if (kind == 2) return convertSeries(folder, first, in.rest());
    if (kind == 3) return indexByAngles(folder, first, in.rest());
    const ByteSpan index = in.takePiece();
    convertIndexed(folder, first, index, in.rest());
}

std::vector<Bytes> seeds() {
    const Bytes alg = smallAlignment();
    std::vector<Bytes> all;
    for (const char* model : {"OTHER", "RVX2000", "RXL1000"}) {
        for (const std::uint32_t format : {1U, 2U, 3U}) {
            const auto part = [&](std::uint32_t blocks) {
                return test::rawScan({model, format, blocks, 3, 4, format});
            };
            all.push_back(prefixed(0, pieces({alg, part(2)})));
            all.push_back(prefixed(2, pieces({part(1), part(2)})));
        }
    }
    all.push_back(prefixed(1, pieces({alg, smallIndex(), smallScan()})));
    const test::TestPoint a{1.5, -2, 0.25, 1100, 1, 2, 3, 0, 0};
    // Azimuths from 0 to 360, zenith angles from 0 to 180 degrees: a large grid, and small ones in which
    // many points meet in a cell, more than there are cells in the end.
    for (const auto& [step, count] : {std::pair(10.0F, 1), {90.0F, 3}, {90.0F, 4}, {90.0F, 9}}) {
        const std::vector<test::TestPoint> points(static_cast<std::size_t>(count), a);
        Bytes lone = test::ByteWriter().bytes(test::cl3Header(1)).bytes(test::cl3Block(points));
        const Bytes angles = test::ByteWriter().f32(0).f32(0).f32(360).f32(180).f32(step).f32(step);
        std::copy(angles.begin(), angles.end(), lone.begin() + 86);
        all.push_back(prefixed(3, pieces({alg, lone})));
    }
    return all;
}

const Registered registered({"conversion", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
