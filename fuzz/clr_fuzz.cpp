// A CLR scan of plain records or of compressed lines, with any number of blocks, reads as a slow reader of
// the format reads it. And lines made of the bytes as records come back from the encoder through both
// decoders.

#include "scan_folder.h"
#include "slow_clr.h"

#include "support/conversion_fixture.h"

#include "layouts/compressed_lines.h"

namespace brisko::fuzz {

namespace {

void expectScan(ByteSpan scan) {
    static const ScanFolder folder;
    const SlowClrHeader header(scan);
    if (header.hasCells() && header.cells() > std::uint64_t{1} << 50) return;
    folder.write("scan.clr", scan);
    SlowPoints expected;
    expected.complete = true;
    if (header.format <= 3) expected = pointsOf(header, cellsOf(scan, header));
    const auto codec = test::openScan<CLRGridCodec>(folder / "scan.clr");
    expect(codec != nullptr);
    expectPoints(*codec, expected, 6);
    if (scan.size() % 4 == 0)
        expect(test::readScan<CLRCodec>(folder / "scan.clr").size() == expected.points.size());
    // Some columns are those columns of the whole, whatever the scan is like.
    const auto first = static_cast<std::uint32_t>(scan.size() % 4);
    const ColumnRange range{first, first + static_cast<std::uint32_t>(scan.size() % 3)};
    std::erase_if(expected.points, [&](const test::TestPoint& p) {
        return p.column < range.first || p.column >= range.end;
    });
    expect(setColumnRange(*codec, range));
    expectPoints(*codec, expected, 6);
}

void expectLine(Input in) {
    std::vector<RawRecord> line;
    while (!in.empty() && line.size() < 260) {
        const auto number = [&] { return static_cast<std::int32_t>(in.u32()); };
        line.push_back({number(), number(), number(), static_cast<std::int16_t>(in.u16()),
                        static_cast<std::int16_t>(in.u16())});
    }
    Bytes bytes;
    encodeCompressedLine(line.data(), line.size(), bytes);
    if (line.empty()) return;
    const std::vector<ClrRecord> decoded = test::decodeLine(bytes, line.size());
    for (std::size_t i = 0; i < line.size(); ++i) {
        const RawRecord& r = line[i];
        expect(decoded[i] == ClrRecord{r.x, r.y, r.z, r.fourth, r.intensity});
    }
    std::vector<RawRecord> again(std::min(line.size(), kPiece));
    bytes.resize(bytes.size() + kPieceBuffer);
    decodePiece(bytes.data() + 4, again.size(), again.data());
    for (std::size_t i = 0; i < again.size(); ++i)
        expect(again[i].x == line[i].x && again[i].intensity == line[i].intensity);
}

void run(ByteSpan input) {
    expectScan(input);
    expectLine(Input(input));
}

std::vector<Bytes> seeds() {
    std::vector<Bytes> all = {test::clrHeader(-3, 2, 1, 1)};
    for (const std::uint32_t format : {0U, 1U, 2U, 2U, 3U}) {
        const auto rows = static_cast<std::int32_t>(format == 2 ? 247 + 2 * all.size() : 3);
        Bytes scan = test::rawScan({.format = format, .blocks = 2, .columns = 2, .rows = rows});
        all.push_back(scan);
        scan[120] = 3;  // a flag without an interval
        all.push_back(scan);
    }
    all.push_back(all[3]);
    all.back()[112] = 2;  // a sorted copy of compressed lines
    return all;
}

const Registered registered({"clr", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
