// PTX import: what can be read is written again as a file that reads as the same; everything else is
// refused as damaged.

#include "same_points.h"
#include "scan_folder.h"

#include <brisko_scan/scan_error.h>
#include "apps/ptx_scan.h"
#include "scan/formats/ptx/ptx_text.h"

#include <cmath>
#include <optional>

namespace brisko::fuzz {

namespace {

using Scan = test::PtxScan;

/// Nothing when the file is refused.
std::optional<Scan> read(const std::string& path, std::size_t capacity) {
    try {
        return test::readPtx(path, capacity);
    } catch (const brisko::scan::ScanError& error) {
        expect(error.kind() == brisko::scan::ErrorKind::Damaged);
        return std::nullopt;
    }
}

void write(const std::string& path, const Scan& scan) {
    scan::NamedOutput file(path, path);
    scan::PtxText text;
    text.setColour(scan.hasColour);
    text.putHeader(scan.header);
    std::size_t next = 0;
    for (std::uint32_t column = 0; column < scan.header.columns; ++column) {
        const std::size_t first = next;
        while (next < scan.points.size() && scan.points[next].column == column)
            ++next;
        text.putColumn(std::span(scan.points).subspan(first, next - first), scan.header.rows);
    }
    text.writeTo(file);
    file.close();
}

bool isClose(double a, double b) {
    return isSame(a, b) || std::abs(a - b) <= 1e-6 * (1 + std::abs(a));
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.write("scan.ptx", input);
    const auto scan = read(folder / "scan.ptx", 3);
    if (!scan) return;
    write(folder / "again.ptx", *scan);
    const auto again = read(folder / "again.ptx", 1000);
    expect(again.has_value());
    expect(again->header.columns == scan->header.columns);
    expect(again->header.rows == scan->header.rows);
    expect(again->points.size() == scan->points.size());
    for (std::size_t i = 0; i < scan->points.size(); ++i) {
        const CellPoint &a = scan->points[i], &b = again->points[i];
        expect(a.column == b.column && a.row == b.row);
        expect(isClose(a.x, b.x) && isClose(a.y, b.y) && isClose(a.z, b.z));
        expect(a.red == b.red && a.green == b.green && a.blue == b.blue);
    }
}

std::vector<Bytes> seeds() {
    const std::string frame = "0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n";
    return {toBytes("2\n3\n" + frame +
                    "1.5 -2 3e0 0.25\n0 0 0 0.5\n 4\t5  6 1 \n0 0 0 0.5\n+7 8 9 0\n0 0 -0.001 0.5"),
            toBytes("1\r\n2\r\n" + frame + "1 2 3 0.5 10 20 255\r\n0 0 0 0.5 0 0 0\r\n\n")};
}

const Registered registered({"ptx", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
