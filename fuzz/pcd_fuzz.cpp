// PCD import: what can be read is written again as a file that reads as the same, twice; everything else is
// refused as damaged.

#include "input.h"
#include "same_points.h"
#include "scan_folder.h"

#include <brisko_scan/scan_error.h>
#include "scan/formats/scan_input.h"
#include "scan/formats/scan_output.h"

#include <optional>

namespace brisko::fuzz {

namespace {

struct Scan {
    scan::ScanInfo info;
    std::vector<CellPoint> points;
};

/// Nothing when the file is refused.
std::optional<Scan> read(const std::string& path) {
    try {
        const auto input = scan::openScan(path);
        Scan scan{input->info(), {}};
        std::vector<CellPoint> some;
        for (input->read(some); !some.empty(); input->read(some))
            scan.points.insert(scan.points.end(), some.begin(), some.end());
        expect(input->stepsDone() == input->steps());
        return scan;
    } catch (const brisko::scan::ScanError& error) {
        expect(error.kind() == brisko::scan::ErrorKind::Damaged);
        return std::nullopt;
    }
}

void write(const std::string& path, const Scan& scan) {
    scan::OutputTarget target;
    target.path = target.shownPath = path;
    std::copy(std::begin(scan.info.alignment.matrix), std::end(scan.info.alignment.matrix),
              std::begin(target.matrix));
    target.withColour = scan.info.storesColour;
    const auto output = scan::createPcdOutput(target);
    output->write(scan.points);
    output->finish();
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.write("scan.pcd", input);
    const auto scan = read(folder / "scan.pcd");
    if (!scan) return;
    write(folder / "again.pcd", *scan);
    const auto again = read(folder / "again.pcd");
    expect(again && again->points.size() == scan->points.size());
    for (std::size_t i = 0; i < 16; ++i)
        expect(again->info.alignment.matrix[i] == scan->info.alignment.matrix[i]);
    for (std::size_t i = 0; i < scan->points.size(); ++i) {
        const CellPoint &a = scan->points[i], &b = again->points[i];
        expect(isSame(a.x, b.x) && isSame(a.y, b.y) && isSame(a.z, b.z));
        expect(isSame(a.intensity, b.intensity));
        expect(a.red == b.red && a.green == b.green && a.blue == b.blue);
        expect(!scan->info.hasGrid || (a.column < scan->info.columns && a.row < scan->info.rows));
    }
}

std::vector<Bytes> seeds() {
    const std::string list =
        "VERSION 0.7\nFIELDS x y z intensity rgb\nSIZE 8 4 2 4 4\n"
        "TYPE F F I F U\nCOUNT 1 1 1 1 1\nWIDTH 2\nHEIGHT 1\n"
        "VIEWPOINT 1 2 3 1 0 0 0.5\nPOINTS 2\nDATA ";
    const std::string grid =
        "FIELDS x _ y z r g b row column\nSIZE 4 1 4 4 2 2 2 4 4\n"
        "TYPE F U F F U U U U U\nCOUNT 1 2 1 1 1 1 1 1 1\nWIDTH 2\nHEIGHT 2\n"
        "DATA ";
    return {
        toBytes(list + "ascii\n1 2 3 4 5\n-1.5 nan 7 8 9.5\n"),
        toBytes(list + "binary\n" + std::string(44, '\1')),
        toBytes(list + "binary_compressed\n" + std::string("\5\0\0\0\x2c\0\0\0\0\1\xe0\x22\0", 13)),
        toBytes(grid + "binary\n" + std::string(116, '\2')),
        toBytes(grid + "ascii\n1 0 0 2 3 4 5 6 7 8\n1 0 0 2 3 4 5 6 7 8\n1 0 0 2 3 4 5 6 7 8\n"
                       "nan 0 0 2 3 4 5 6 7 8\n")};
}

const Registered registered({"pcd", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
