// Single cells of an indexed scan are what a look into the bytes of index and scan shows, and windows
// of cells are what the single cells are.

#include "scan_folder.h"
#include "slow_cl3.h"
#include "small_scan.h"

namespace brisko::fuzz {

namespace {

/// The files of a scan without alignment.
struct SlowCells {
    ByteSpan index, scan;
    std::uint32_t columns, rows, edge;
    std::size_t recordSize;

    SlowCells(ByteSpan indexBytes, ByteSpan scanBytes) : index(indexBytes), scan(scanBytes) {
        columns = word(36).value_or(0);
        rows = word(40).value_or(0);
        edge = word(44).value_or(0);
        recordSize = scan.size() > 114 && scan[114] == 1 ? 31 : 28;
    }
    bool opens() const {
        return edge > 0 && edge <= 65'535 && (scan.size() < 115 || scan[114] <= 1);
    }
    std::optional<std::uint32_t> word(std::uint64_t at) const {
        if (at + 4 > index.size()) return std::nullopt;
        return numberAt<std::uint32_t>(index, at);
    }
    CellState find(std::uint32_t column, std::uint32_t row, test::TestPoint& point) const {
        const std::uint64_t tileBytes = 12 + 4 * std::uint64_t{edge} * edge;
        const std::uint64_t rowTiles = (std::uint64_t{rows} + edge - 1) / edge;
        const std::uint64_t columnTiles = (std::uint64_t{columns} + edge - 1) / edge;
        if (column / edge >= columnTiles || row / edge >= rowTiles) return CellState::Empty;
        const std::uint64_t tile = column / edge * rowTiles + row / edge;
        const std::uint64_t entry = std::uint64_t{column % edge} * edge + row % edge;
        const auto number = word(48 + tile * tileBytes + 12 + 4 * entry);
        if (!number) return CellState::Damaged;
        if (*number == 0) return CellState::Empty;
        std::uint64_t block = 115;
        for (std::uint64_t k = 0; k < tile; ++k) {
            const auto count = word(48 + k * tileBytes + 8);
            if (!count) return CellState::Damaged;
            block += 5 + std::uint64_t{*count} * recordSize;
        }
        const auto count = word(48 + tile * tileBytes + 8);
        const std::uint64_t at = block + 5 + std::uint64_t{*number - 1} * recordSize;
        if (!count || *number > *count || at + recordSize > scan.size()) return CellState::Damaged;
        return decode(at, point) ? CellState::Point : CellState::Empty;
    }

private:
    bool decode(std::uint64_t at, test::TestPoint& p) const {
        p.x = numberAt<double>(scan, at);
        p.y = numberAt<double>(scan, at + 8);
        p.z = numberAt<double>(scan, at + 16);
        p.intensity = numberAt<float>(scan, at + 24);
        return p.intensity > 0 || p.x != 0 || p.y != 0 || p.z != 0;
    }
};

void expectWindow(CL3CellReader& reader, const CellWindow& window) {
    std::vector<CellPoint> points, expected;
    const CellState state = reader.readWindow(window, points);
    if (state == CellState::Damaged) return;
    for (std::uint32_t column = window.firstColumn; column < window.endColumn; ++column) {
        for (std::uint32_t row = window.firstRow; row < window.endRow; ++row) {
            CellPoint point;
            const CellState cell = reader.readCell(column, row, point);
            expect(cell != CellState::Damaged);
            if (cell == CellState::Point) expected.push_back(point);
        }
    }
    expect(points.size() == expected.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        expect(points[i].column == expected[i].column && points[i].row == expected[i].row);
        expect(isSame(points[i].x, expected[i].x) && points[i].red == expected[i].red);
    }
}

void expectClosed(CL3CellReader& reader) {
    reader.close();
    std::vector<CellPoint> points(1);
    expect(reader.readCell(0, 0, points[0]) != CellState::Point);
    reader.readWindow({0, 5, 0, 5}, points);
    expect(points.empty() && reader.columns() == 0 && reader.endRow() == 0);
    for (const char* const nowhere : {"", "\xFF.cl3", "/"})
        expect(!reader.open(nowhere));
}

void run(ByteSpan bytes) {
    static const ScanFolder folder;
    Input in(bytes);
    const ByteSpan questions = in.takePiece(), index = in.takePiece(), scan = in.rest();
    folder.write("scan.ij", index);
    folder.write("scan.cl3", scan);
    const SlowCells slow(index, scan);
    CL3CellReader reader;
    expect(reader.open((folder / "scan.cl3").c_str()) == slow.opens());
    if (!slow.opens()) return;
    reader.setFrame(Frame::Scanner);
    for (Input q(questions); !q.empty();) {
        const std::uint32_t column = q.below(12), row = q.below(12), size = q.below(8);
        test::TestPoint expected;
        CellPoint point;
        const CellState state = reader.readCell(column, row, point);
        expect(state == slow.find(column, row, expected));
        if (state == CellState::Point) {
            expect(isSame(point.x, expected.x) && isSame(point.z, expected.z));
            expect(isSame(point.intensity, expected.intensity));
        }
        expectWindow(reader, {column, column + size, row, row + size});
    }
    expectClosed(reader);
}

std::vector<Bytes> seeds() {
    const Bytes questions = {0, 0, 7, 1, 0, 3, 0, 1, 1, 3, 3, 2, 2, 0, 1};
    return {pieces({questions, smallIndex(), smallScan()})};
}

const Registered registered({"cell_reader", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
