// A CLR scan of plain records, with any number of blocks, reads as a slow reader of the format reads
// it.

#include "scan_folder.h"
#include "slow_clr.h"

namespace brisko::fuzz {

namespace {

template <class Codec>
void expectScan(const std::string& path, const SlowPoints& expected) {
    const auto codec = test::openScan<Codec>(path);
    expect(codec != nullptr);
    expectPoints(*codec, expected, 6);
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    const SlowClrHeader header(input);
    const bool tooMany = header.hasCells() && header.cells() > std::uint64_t{1} << 50;
    if (tooMany || !isPlain(input, header)) return;
    folder.write("scan.clr", input);
    SlowPoints expected;
    expected.complete = true;
    if (header.format <= 3) expected = pointsOf(header, plainCells(input, header));
    expectScan<CLRGridCodec>(folder / "scan.clr", expected);
    for (test::TestPoint& point : expected.points)
        point.column = point.row = 0;
    if (input.size() % 4 == 0)
        expect(test::readScan<CLRCodec>(folder / "scan.clr").size() == expected.points.size());
}

std::vector<Bytes> seeds() {
    const auto block = [](std::uint8_t flag, std::int32_t step) {
        std::vector<ClrRecord> records;
        for (std::int32_t i = 0; i < 6; ++i)
            records.push_back({10000 * i, -30000, 5 * step, i, i == 2 ? 0 : 100 + step});
        return test::ByteWriter().u8(flag).bytes(test::clrRecords(records)).done();
    };
    std::vector<Bytes> all;
    for (const std::uint32_t format : {0U, 2U, 3U}) {
        all.push_back(test::ByteWriter()
                          .bytes(test::clrHeader(2, 3, format, 2))
                          .bytes(block(0, 1))
                          .bytes(block(3, 40)));
    }
    all.push_back(test::ByteWriter().bytes(test::clrHeader(3, 2, 1, 1)).bytes(block(7, 2)));
    all.push_back(test::clrHeader(-3, 2, 1, 1));
    return all;
}

const Registered registered({"clr", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
