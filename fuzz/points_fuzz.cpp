// PTS, XYZ and PLY import: what can be read is written as PLY and reads as the same; everything else is
// refused as damaged, and `check` finds something in it.

#include "input.h"
#include "same_points.h"
#include "scan_folder.h"

#include "scan/formats/scan_input.h"

#include <brisko_scan/check.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>

#include <optional>
#include <string>

namespace brisko::fuzz {

namespace {

using Points = std::vector<CellPoint>;

constexpr const char* kNames[] = {"a.pts", "a.xyz", "a.ply"};

/// Nothing when the file is refused.
std::optional<Points> read(const std::string& path) {
    try {
        const auto input = scan::openScan(path);
        Points points, some;
        for (input->read(some); !some.empty(); input->read(some))
            points.insert(points.end(), some.begin(), some.end());
        return points;
    } catch (const scan::ScanError& error) {
        expect(error.kind() == scan::ErrorKind::Damaged);
        return std::nullopt;
    }
}

void run(ByteSpan bytes) {
    static const ScanFolder folder;
    folder.clear();
    Input input(bytes);
    const char* const name = kNames[input.below(3)];
    folder.write(name, input.rest());
    const auto points = read(folder / name);
    expect(scan::checkScan(folder / name, 3).findings.empty() == points.has_value());
    if (!points) return;
    scan::ConvertOptions options;
    options.input = folder / name;
    options.output = folder / "b.ply";
    scan::convertScan(options);
    const auto again = read(folder / "b.ply");
    expect(again && again->size() == points->size());
    for (std::size_t i = 0; i < again->size(); ++i) {
        const CellPoint &a = (*points)[i], &b = (*again)[i];
        expect(isSame(a.x, b.x) && isSame(a.y, b.y) && isSame(a.z, b.z));
        expect(isSame(a.intensity, b.intensity) && a.column == b.column && a.row == b.row);
        expect(a.red == b.red && a.green == b.green && a.blue == b.blue);
    }
}

std::vector<Bytes> seeds() {
    using namespace std::string_literals;
    const std::string place = "property float x\nproperty float y\nproperty double z\n";
    const std::string cells =
        "property list uchar short l\nproperty int column\nproperty int row\n";
    return {toBytes("\0002\n1 2 3 -50 10 20.0 255\nnan nan nan 0 0 0 0\n1\n4 5 6e1 7 8 9 10\n"s),
            toBytes("\001x;y;z;i\n1;2;3;4.5\n// c\n-7 ; +8;.9;1e3\n"s),
            toBytes("\002ply\nformat ascii 1.0\nelement vertex 2\n"s + place + cells +
                    "end_header\n1 2 3 1 9 0 1\n4 5 6 0 300 2\n"),
            toBytes("\002ply\nformat binary_big_endian 1.0\nelement vertex 1\n"s + place + cells +
                    "end_header\n" + std::string(16, '@') + "\001aa\0\0\0\001\0\0\0\002"s)};
}

const Registered registered({"points", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
