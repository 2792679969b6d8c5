// A CL3 scan, alone or with an index and an ALG file, any of them damaged, reads as a slow reader of the
// formats reads it.

#include "scan_folder.h"
#include "slow_cl3.h"
#include "small_scan.h"

namespace brisko::fuzz {

namespace {

template <class Codec>
void expectScan(const std::string& path, ByteSpan scan, std::optional<SlowIndex> index) {
    double matrix[16];
    std::copy(std::begin(kIdentity), std::end(kIdentity), std::begin(matrix));
    const auto codec = test::openScan<Codec>(path);
    expect(codec != nullptr);
    const bool aligned =
        readAlignmentFile((path.substr(0, path.size() - 3) + "alg").c_str(), matrix);
    expect(aligned == (getAlignment(*codec).source == AlignmentSource::File));
    SlowPoints expected = readSlowly(SlowCl3(scan, index, matrix));
    if (!dynamic_cast<BriskoGridCodec*>(codec.get())) {
        for (test::TestPoint& point : expected.points)
            point.column = point.row = 0;
    }
    expectPoints(*codec, expected, 5);
}

/// Of a sound scan, the tiles of some columns hold the points that a whole pass has there.
void expectRange(const std::string& path, ColumnRange range) {
    const auto codec = test::openScan<CL3GridCodec>(path);
    std::vector<test::TestPoint> expected = test::readAll(*codec);
    const bool isSound = !getReadProblem(*codec);
    auto tiles = std::make_shared<CL3TileTable>();
    CL3CellReader reader;
    if (!reader.open(path.c_str()) || !reader.findTiles(*tiles)) return;
    unsigned columns = 0, rows = 0, edge = 0;
    codec->GetGridResolution(columns, rows, edge);
    expect(setColumnRange(*codec, range, tiles));
    const std::vector<test::TestPoint> found = test::readAll(*codec);
    if (!isSound) return;
    std::erase_if(expected, [&](const test::TestPoint& p) {
        return p.column / edge < range.first / edge ||
               p.column >= (range.end + edge - 1) / edge * edge;
    });
    expect(std::equal(found.begin(), found.end(), expected.begin(), expected.end(),
                      [](const auto& a, const auto& b) { return isSame(a, b); }));
    expect(!getReadProblem(*codec));
}

void run(ByteSpan bytes) {
    static const ScanFolder folder;
    Input input(bytes);
    const ByteSpan alg = input.takePiece(), index = input.takePiece(), scan = input.rest();
    folder.writeOrRemove("scan.alg", alg);
    folder.writeOrRemove("scan.ij", index);
    folder.write("scan.cl3", scan);
    const std::string path = folder / "scan.cl3";
    const SlowIndex slowIndex(index);

    // The plain reader leaves an index aside that cannot be walked; the grid reader needs one.
    expectScan<CL3Codec>(path, scan,
                         slowIndex.isWalkable() ? std::optional(slowIndex) : std::nullopt);
    if (index.empty()) {
        expect(!test::openScan<CL3GridCodec>(path));
    } else if (slowIndex.isWalkable()) {
        expectScan<CL3GridCodec>(path, scan, slowIndex);
        const auto first = static_cast<std::uint32_t>(bytes.size() % 4);
        expectRange(path, {first, first + 1 + static_cast<std::uint32_t>(scan.size() % 5)});
    } else {
        expect(test::readScan<CL3GridCodec>(path).empty());
    }
}

std::vector<Bytes> seeds() {
    const std::string turned = "CL3_ALG_0.1\n0 -1 0 10\n1 0 0 0\n0 0 1 2.5\n";
    const Bytes skew = toBytes(turned + "0 1e-3 0 1\n"),
                skewUpwards = toBytes(turned + "0 0 1 1\n");
    const Bytes index = smallIndex(), scan = smallScan();
    const Bytes shortIndex =
        test::ByteWriter().bytes(test::ijHeader(9, 9, 3)).u32(0).u32(0).u32(0).u32(0).u32(1);
    const test::TestPoint a{1.5, -2, 0.25, 1100, 1, 2, 3, 0, 0}, none;
    const Bytes uncounted =
        test::ByteWriter().bytes(test::cl3Header(3)).bytes(test::cl3Block({a, none, a}, 5));
    const Bytes colourless = test::ByteWriter()
                                 .bytes(test::cl3Header(2, 0))
                                 .bytes(test::cl3Block({}))
                                 .u32(1)
                                 .u8(0)
                                 .bytes(Bytes(28, 0x40));
    return {pieces({smallAlignment(), index, scan}),
            pieces({skew, shortIndex, scan}),
            pieces({skewUpwards, index, scan}),
            pieces({{}, test::ijHeader(1, 1, 0), scan}),
            pieces({{}, {}, scan}),
            pieces({{}, {}, uncounted}),
            pieces({{}, {}, colourless})};
}

const Registered registered({"cl3", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
