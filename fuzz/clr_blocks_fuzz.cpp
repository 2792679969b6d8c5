// The blocks of raw scans, copied: sorted lines hold the points of every line, in its order or turned, and run
// up and down in turn; two files of a series become one, with the blocks of both under the first one's header,
// or leave the earlier output untouched. The inputs never change.

#include "scan_folder.h"
#include "slow_clr.h"

#include "support/conversion_fixture.h"

#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"

namespace brisko::fuzz {

namespace {

using Line = std::vector<ClrRecord>;

/// The sine of the elevation, on a scale that is the same for both ends of a line.
double elevation(const ClrRecord& r) {
    return std::atan2(double(r.z), std::hypot(double(r.x), double(r.y)));
}

/// The way in which a line runs: above 0 upwards.
double rise(const Line& line) {
    const auto measured = [](const ClrRecord& r) { return r.intensity > 0; };
    const auto first = std::find_if(line.begin(), line.end(), measured);
    const auto last = std::find_if(line.rbegin(), line.rend(), measured);
    return first == line.end() ? 0 : elevation(*last) - elevation(*first);
}

bool isOneOf(const Line& copy, const Line& line) {
    return copy == line || std::equal(copy.begin(), copy.end(), line.rbegin(), line.rend());
}

Line lineAt(ByteSpan bytes, std::uint64_t at, std::int64_t rows) {
    Line line;
    for (std::int64_t i = 0; i < rows; ++i, at += 20) {
        Bytes record(20);  // with zeros where the file has ended
        if (at < bytes.size()) {
            std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                        std::min<std::size_t>(20, bytes.size() - at), record.begin());
        }
        line.push_back(recordAt(record, 0));
    }
    return line;
}

void expectSorted(ByteSpan in, ByteSpan out, const SlowClrHeader& header) {
    expect(std::equal(out.begin(), out.begin() + 120, in.begin()));
    std::uint64_t at = 120;
    for (std::uint32_t block = 0; block < header.blocks && at < in.size(); ++block) {
        expect(out[at] == in[at]);
        ++at;
        for (std::int64_t k = 0; k < header.columns && at < in.size(); ++k) {
            const Line before = lineAt(in, at, header.rows), after = lineAt(out, at, header.rows);
            expect(at + 20 * before.size() <= out.size());
            expect(isOneOf(after, before));
            expect(k % 2 == 0 ? rise(after) >= -1e-12 : rise(after) <= 1e-12);
            at += 20 * before.size();
        }
    }
    expect(out.size() == at);
}

void sort(ByteSpan input) {
    static const ScanFolder folder;
    const SlowClrHeader header(input);
    // A cut line is filled up to its end, which takes its time, and so does the model of many lines.
    if (header.rows > 2000 || double(header.columns) * double(header.rows) > 20'000) return;
    folder.write("scan.clr", input);
    std::filesystem::remove(folder / "scan.clr.Converted.clr");
    const bool done = QelPcpLib::ConvertClrFile(folder / "scan.clr");
    expect(test::readFile(folder / "scan.clr") == toBytes(input));
    expect(folder.names().size() == (done ? 2U : 1U));
    if (!done) return;
    const Bytes out = test::readFile(folder / "scan.clr.Converted.clr");
    expect(out.size() <= (std::size_t{64} << 20) + 64 * input.size());
    if (input.size() < 120 || !header.hasCells()) return;
    if (isPlain(input, header)) return expectSorted(input, out, header);
    const Unpacked unpacked = unpack(input, header, false);
    if (!unpacked.damaged) expectSorted(unpacked.asFile(input), out, header);
}

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

void merge(ByteSpan first, ByteSpan second) {
    static const ScanFolder folder;
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

void run(ByteSpan input) {
    Input in(input);
    const ByteSpan first = in.takePiece(), second = in.rest();
    sort(first);
    merge(first, second);
}

std::vector<Bytes> seeds() {
    const std::vector<ClrRecord> lines = {
        {1000, 0, 1, 6, 9}, {1000, 0, 2, 7, 9}, {900, 5, 3, 8, 9},
        {1000, 0, 3, 1, 9}, {0, 0, 0, 0, 0},    {900, 5, 1, 8, 9},
        {1000, 0, 3, 1, 9}, {0, 0, 0, 0, 0},    {900, 5, 1, 8, 9}};
    const Bytes file =
        test::ByteWriter().bytes(test::clrHeader(3, 3, 1, 1)).u8(1).bytes(test::clrRecords(lines));
    std::vector<Bytes> all = {pieces({file, file})};
    for (const std::uint32_t format : {0U, 1U, 2U, 3U}) {
        const std::int32_t rows = format == 2 ? 252 : 4;
        Bytes scan = test::rawScan({.format = format, .blocks = 2, .columns = 3, .rows = rows});
        all.push_back(
            pieces({scan, test::rawScan({.format = format, .columns = 3, .rows = rows})}));
        scan[112] = 2;  // a sorted copy of compressed lines, where its lines are plain
        all.push_back(pieces({scan, scan}));
    }
    return all;
}

const Registered registered({"clr_blocks", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
