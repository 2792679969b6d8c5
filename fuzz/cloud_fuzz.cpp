// LAS and PCD import: what can be read is written as a PCD file that reads as the same; everything else is
// refused as damaged. The first byte of an input chooses the format.

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

void write(const std::string& path, const Scan& scan, bool isLas) {
    scan::OutputTarget target;
    target.path = target.shownPath = path;
    std::copy(std::begin(scan.info.alignment.matrix), std::end(scan.info.alignment.matrix),
              std::begin(target.matrix));
    target.withColour = scan.info.storesColour;
    target.columns = scan.info.columns;
    target.rows = scan.info.rows;
    const auto output = isLas ? scan::createLasOutput(target) : scan::createPcdOutput(target);
    output->write(scan.points);
    output->finish();
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    const std::string name = !input.empty() && input[0] % 2 == 0 ? "scan.las" : "scan.pcd";
    folder.write(name.c_str(), input.subspan(input.empty() ? 0 : 1));
    const auto scan = read(folder / name);
    if (!scan) return;
    write(folder / "again.pcd", *scan, false);
    const auto again = read(folder / "again.pcd");
    const bool areFinite =
        std::all_of(scan->points.begin(), scan->points.end(), [](const CellPoint& p) {
            return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
        });
    if (!areFinite) return;  // no output keeps such points
    expect(again && again->points.size() == scan->points.size());
    const Matrix matrix = std::to_array(scan->info.alignment.matrix);
    // A matrix that is no rigid motion has moved the points.
    if (std::to_array(again->info.alignment.matrix) != matrix) {
        expect(std::to_array(again->info.alignment.matrix) == kIdentityMatrix);
        return;
    }
    for (std::size_t i = 0; i < scan->points.size(); ++i) {
        const CellPoint &a = scan->points[i], &b = again->points[i];
        expect(isSame(a.x, b.x) && isSame(a.y, b.y) && isSame(a.z, b.z));
        expect(isSame(a.intensity, b.intensity));
        expect(a.red == b.red && a.green == b.green && a.blue == b.blue);
    }
}

std::vector<Bytes> seeds() {
    const ScanFolder folder;
    Scan scan;
    scan.info.storesColour = true;
    scan.info.columns = scan.info.rows = 3;
    scan.points = {{1, 2, 3, 4, 5, 6, 7, 1, 2}, {-1.5, 8, 9, 10, 11, 12, 13, 2, 0}};
    write(folder / "seed", scan, true);
    const std::string head =
        "VERSION 0.7\nFIELDS x _ y z i rgb\nSIZE 8 1 4 2 4 4\nTYPE F U F I F U\n"
        "COUNT 1 2 1 1 1 1\nWIDTH 2\nHEIGHT 1\nVIEWPOINT 1 2 3 1 0 0 0.5\n"
        "POINTS 2\nDATA ";
    std::vector<Bytes> all = {prefixed(0, test::readFile(folder / "seed"))};
    for (const std::string& data :
         {"ascii\n1 0 0 2 3 4 5\n-1.5 0 0 nan 7 8 9.5\n" + std::string(),
          "binary\n" + std::string(48, '\1'),
          "binary_compressed\n" + std::string("\5\0\0\0\x30\0\0\0\0\1\xe0\x26\0", 13)})
        all.push_back(prefixed(1, toBytes(head + data)));
    return all;
}

const Registered registered({"cloud", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
