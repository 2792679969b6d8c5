// The bytes become scan.cl3, scan.ij and scan.alg. Whatever they hold, the three ways to read a scan
// give the same points, and single cells are those of the grid.

#include "fuzz_scan.h"

#include <brisko_codec/brisko_codec.h>

using namespace brisko;

namespace {

void expectSameCells(const std::string& path, const std::vector<test::TestPoint>& points) {
    CL3CellReader reader;
    if (!reader.open(path.c_str())) return;
    for (std::size_t i = 0; i < points.size(); i += 1 + points.size() / 8) {
        CellPoint point;
        reader.readCell(points[i].column, points[i].row, point);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Slices slices(bytes, size);
    const fuzz::ScanFolder& folder = fuzz::scanFolder();
    folder.write("scan.alg", slices.take());
    folder.write("scan.ij", slices.take());
    folder.write("scan.cl3", slices.rest());
    const std::string path = folder / "scan.cl3";
    fuzz::expectOneScan<CL3Codec>(path);
    expectSameCells(path, fuzz::expectOneScan<CL3GridCodec>(path));
    return 0;
}
