// Merging two files of a series: the blocks of both under the first one's header, or the earlier
// output untouched; never the inputs changed.

#include "scan_folder.h"
#include "slow_clr.h"

#include "support/conversion_fixture.h"

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

/// What a merged file of compressed lines holds are the lines of both, with zeros for what they lack.
void expectLines(ByteSpan first, ByteSpan second, ByteSpan merged) {
    Bytes expected;
    for (const ByteSpan part : {first, second}) {
        const Unpacked unpacked = unpack(part, SlowClrHeader(part), true);
        expect(!unpacked.damaged);
        expected.insert(expected.end(), unpacked.plain.begin(), unpacked.plain.end());
    }
    const Unpacked all = unpack(merged, SlowClrHeader(merged), true);
    expect(!all.cut && all.plain == expected);
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    Input in(input);
    const ByteSpan first = in.takePiece(), second = in.rest();
    const SlowClrHeader a(first), b(second);
    // What can be written takes its time where a header claims much; more than the limit is refused.
    const double cells = a.hasCells() ? double(a.columns) * double(a.rows) : 0;
    const double most = (double(a.blocks) + b.blocks) * (1 + 20 * cells);
    if (most > 2e5 && most < 2e11) return;
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
    expect(most < 2e11 && a.columns == b.columns && a.rows == b.rows && a.format == b.format);
    const bool isPacked =
        (a.blocks > 0 && !isPlain(first, a)) || (b.blocks > 0 && !isPlain(second, b));
    if (isPacked) return expectLines(first, second, merged);
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
        const auto file = [format](unsigned seed) {
            const std::int32_t rows = format == 2 ? 252 : 3;
            return test::rawScan({.format = format, .columns = 2, .rows = rows, .seed = seed});
        };
        all.push_back(pieces({file(1), file(2)}));
    }
    return all;
}

const Registered registered({"merge_clr", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
