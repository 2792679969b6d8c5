// A CLR scan of compressed lines. The bytes are the blocks behind a header of a few fields; what they
// hold is decoded by an independent decoder, a piece at a time. And lines made of the bytes as records
// come back from the encoder through both decoders.

#include "scan_folder.h"
#include "slow_clr.h"

#include "layouts/compressed_lines.h"

namespace brisko::fuzz {

namespace {

/// One block's way through the file.
struct Walk {
    std::size_t next = 0;
    std::uint8_t flag = 0;
    bool ended = false;

    std::optional<ByteSpan> takePiece(ByteSpan bytes) {
        std::uint32_t length = 0;
        if (!ended && bytes.size() >= next + 4) {
            std::memcpy(&length, bytes.data() + next, 4);
            ended = length > 5000 || bytes.size() < next + 4 + length;
        } else {
            ended = true;
        }
        if (ended) return std::nullopt;
        const ByteSpan piece = bytes.subspan(next + 4, length);
        next += 4 + length;
        return piece;
    }
};

/// Where the blocks begin: each behind the last piece of the one before.
std::vector<Walk> findBlocks(ByteSpan bytes, const SlowClrHeader& header, std::size_t pieces) {
    std::vector<Walk> walks;
    std::size_t start = 120;
    while (walks.size() < header.blocks && start < bytes.size()) {
        walks.push_back({start + 1, bytes[start], false});
        Walk skim = walks.back();
        bool whole = true;
        for (std::size_t i = 0; i < pieces && whole; ++i) {
            std::uint32_t length = 0;
            whole = bytes.size() >= skim.next + 4;
            if (!whole) break;
            std::memcpy(&length, bytes.data() + skim.next, 4);
            whole = length <= 5000;
            skim.next += 4 + length;
        }
        if (!whole) break;
        start = skim.next;
    }
    return walks;
}

std::vector<ClrRecord> compressedCells(ByteSpan bytes, const SlowClrHeader& header) {
    std::vector<ClrRecord> cells;
    if (!header.hasCells()) return cells;
    const auto rows = static_cast<std::size_t>(header.rows);
    const std::size_t inLine = (rows + kPiece - 1) / kPiece;
    auto walks = findBlocks(bytes, header, inLine * static_cast<std::size_t>(header.columns));
    for (std::int64_t line = 0; line < header.columns; ++line) {
        for (std::size_t done = 0; done < rows; done += kPiece) {
            const std::size_t points = std::min(kPiece, rows - done);
            std::vector<SlowMerge> merged(points);
            bool any = false;
            for (Walk& walk : walks) {
                const auto piece = walk.takePiece(bytes);
                if (!piece) continue;
                any = true;
                const auto records = decodePadded(*piece, points);
                for (std::size_t i = 0; i < points; ++i)
                    merged[i].add(records[i], walk.flag);
            }
            if (!any) return cells;
            for (const SlowMerge& cell : merged)
                cells.push_back(cell.record());
        }
    }
    return cells;
}

void expectScan(ByteSpan input) {
    static const ScanFolder folder;
    Input in(input);
    const auto columns = static_cast<std::int32_t>(in.below(12));
    const std::uint32_t rows = in.below(8) == 7 ? 240 + in.below(20) : in.below(9);
    const Bytes header = test::clrHeader(columns, static_cast<std::int32_t>(rows), 2, in.below(6));
    const Bytes scan = test::ByteWriter().bytes(header).bytes(toBytes(in.rest()));
    const SlowClrHeader slow(scan);
    folder.write("scan.clr", scan);
    const auto codec = test::openScan<CLRGridCodec>(folder / "scan.clr");
    expectPoints(
        *codec,
        pointsOf(slow, isPlain(scan, slow) ? plainCells(scan, slow) : compressedCells(scan, slow)),
        9);
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
    std::vector<Bytes> all;
    for (const std::uint8_t blocks : {std::uint8_t{1}, std::uint8_t{3}}) {
        Bytes bytes = {2, 7, 12, blocks};  // 2 columns of 252 rows
        for (std::uint8_t block = 0; block < blocks; ++block) {
            bytes.push_back(block);
            for (std::int32_t column = 0; column < 2; ++column) {
                std::vector<RawRecord> line(252);
                for (std::int32_t i = 0; i < 252; i += 1 + block)
                    line[static_cast<std::size_t>(i)] = {i * 9000, column - 70000, block, i, i % 3};
                encodeCompressedLine(line.data(), line.size(), bytes);
            }
        }
        all.push_back(bytes);
    }
    all.push_back({3, 1, 2, 1, 0, 8, 0, 0, 0, 0, 1, 2, 3, 4, 5, 0, 0, 2, 0, 0, 0, 0xFF, 1});
    return all;
}

const Registered registered({"compressed_clr", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
