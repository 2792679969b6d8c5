// The bytes become scan.clr. Whatever they hold, both ways to read it give the same points, all of
// them inside the grid.

#include "fuzz_scan.h"

#include <brisko_codec/brisko_codec.h>

using namespace brisko;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const fuzz::ScanFolder& folder = fuzz::scanFolder();
    folder.write("scan.clr", {bytes, size});
    const std::string path = folder / "scan.clr";
    const auto points = fuzz::expectOneScan<CLRGridCodec>(path);
    CLRFileHeader header;
    header.Read(path.c_str());
    for (const test::TestPoint& p : points) {
        fuzz::expect(p.column < header.GetAzimuthResolution() &&
                     p.row < header.GetZenithResolution());
    }
    return 0;
}
