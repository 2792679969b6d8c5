// Merging two files of a series: the blocks of both under the first one's header, or the earlier
// output untouched; never the inputs changed.

#include "scan_folder.h"
#include "slow_clr.h"

#include "pcplib/processes/merge_clr.h"

namespace brisko::fuzz {

namespace {

/// Exactly the blocks that a header announces; what the file lacks is zero.
Bytes plainBlocks(ByteSpan file, const SlowClrHeader& header) {
    Bytes blocks(header.blocks * (header.hasCells() ? header.blockSize() : 1));
    if (file.size() > 120)
        std::copy_n(file.begin() + 120, std::min(blocks.size(), file.size() - 120), blocks.begin());
    return blocks;
}

bool isPlain(ByteSpan file, const SlowClrHeader& header) {
    if (header.format != 2) return true;
    return header.hasCells() && 120 + header.blocks * header.blockSize() == file.size();
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    Input in(input);
    const ByteSpan first = in.takePiece(), second = in.rest();
    const SlowClrHeader a(first), b(second);
    if (a.columns > 1000 || a.rows > 1000 || a.blocks > 100 || b.blocks > 100) return;
    folder.write("a_000.clr", first);
    folder.write("a_001.clr", second);
    const Bytes earlier = toBytes("earlier");
    folder.write("a.clr", earlier);
    const bool done = QelPcpLib::CombineMultiCLR(folder / "a_000.clr", folder / "a_001.clr",
                                                 folder / "a.clr", nullptr) == 0;
    expect(folder.names().size() == 3);
    expect(test::readFile(folder / "a_000.clr") == toBytes(first));
    expect(test::readFile(folder / "a_001.clr") == toBytes(second));
    const Bytes merged = test::readFile(folder / "a.clr");
    if (!done) {
        expect(merged == earlier);
        return;
    }
    expect(a.columns == b.columns && a.rows == b.rows && a.format == b.format);
    if (!isPlain(first, a) || !isPlain(second, b)) {
        test::readScan<CLRGridCodec>(folder / "a.clr");
        return;
    }
    Bytes expected(120);
    std::copy_n(first.begin(), std::min<std::size_t>(first.size(), 120), expected.begin());
    const std::uint32_t blocks = a.blocks + b.blocks;
    std::memcpy(expected.data() + 116, &blocks, sizeof blocks);
    for (const Bytes& part : {plainBlocks(first, a), plainBlocks(second, b)})
        expected.insert(expected.end(), part.begin(), part.end());
    expect(merged == expected);
}

std::vector<Bytes> seeds() {
    std::vector<Bytes> all;
    for (const std::uint32_t format : {0U, 2U, 3U}) {
        const auto file = [format](std::int32_t x, std::uint8_t flag) {
            const std::vector<ClrRecord> records(6, {x, 5, 5, 0, 9});
            return test::ByteWriter()
                .bytes(test::clrHeader(2, 3, format, 1))
                .u8(flag)
                .bytes(test::clrRecords(records))
                .done();
        };
        all.push_back(pieces({file(1, 0), file(2, 3)}));
    }
    const Bytes packed =
        test::ByteWriter().bytes(test::clrHeader(1, 1, 2, 1)).u8(0).u32(8).bytes(Bytes(8));
    all.push_back(pieces({packed, packed}));
    return all;
}

const Registered registered({"merge_clr", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
