// LAS import: the points are those of a slow reading, byte by byte; everything else is refused as damaged.

#include "input.h"
#include "same_points.h"
#include "scan_folder.h"

#include <brisko_scan/scan_error.h>
#include "scan/formats/scan_input.h"
#include "support/scan_bytes.h"

#include <cmath>
#include <optional>

namespace brisko::fuzz {

namespace {

/// Nothing when the file is refused.
std::optional<std::vector<CellPoint>> read(const std::string& path) {
    try {
        const auto input = scan::openScan(path);
        std::vector<CellPoint> all, some;
        for (input->read(some); !some.empty(); input->read(some))
            all.insert(all.end(), some.begin(), some.end());
        return all;
    } catch (const brisko::scan::ScanError& error) {
        expect(error.kind() == brisko::scan::ErrorKind::Damaged);
        return std::nullopt;
    }
}

/// A number of so many bytes, one after the other.
std::uint64_t number(ByteSpan bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;)
        value = value << 8 | bytes[at + i];
    return value;
}

double coordinate(ByteSpan file, std::size_t record, std::size_t axis) {
    const auto real = [&](std::size_t at) { return std::bit_cast<double>(number(file, at, 8)); };
    const auto whole = static_cast<std::int32_t>(number(file, record + 4 * axis, 4));
    return whole * real(131 + 8 * axis) + real(155 + 8 * axis);
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.write("scan.las", input);
    const auto points = read(folder / "scan.las");
    if (!points) return;
    const std::uint64_t wide = input[25] == 4 ? number(input, 247, 8) : 0;
    expect(points->size() == (wide > 0 ? wide : number(input, 107, 4)));
    std::size_t record = number(input, 96, 4);
    for (const CellPoint& p : *points) {
        expect(isSame(p.x, coordinate(input, record, 0)));
        expect(isSame(p.y, coordinate(input, record, 1)));
        expect(isSame(p.z, coordinate(input, record, 2)));
        expect(p.intensity >= 0 && p.intensity <= 2200);
        record += number(input, 105, 2);
    }
    expect(record <= input.size());
}

Bytes file(int minor, std::uint8_t format, std::uint8_t pointSize, const Bytes& rest) {
    test::ByteWriter out;
    const std::uint8_t size = minor == 4 ? 0x77 : 227;  // with the byte after it 375
    const auto wide = static_cast<std::uint8_t>(minor == 4);
    out.text("LASF", 24).u8(1).u8(static_cast<std::uint8_t>(minor)).text("", 68).u8(size).u8(wide);
    out.u32(static_cast<std::uint32_t>(size + 256 * wide + 54 + 384)).u32(1).u8(format);
    out.u8(pointSize).u8(0).u32(2).text("", 20);
    for (const double number : {0.01, 0.01, 0.5, 500.0, -3.0, 0.0})
        out.f64(number);
    out.text("", size + 256U * wide - out.done().size());
    out.u8(0).u8(0).text("LASF_Spec", 16).u8(4).u8(0).u8(128).u8(1).text("fields", 32);
    for (const char* name : {"column", "row"})
        out.bytes({0, 0, 3, 0}).text(name, 188);
    return out.bytes(rest);
}

std::vector<Bytes> seeds() {
    return {file(2, 2, 30, Bytes(60, 1)), file(4, 7, 40, Bytes(80, 2)),
            file(0, 0, 24, Bytes(48, 3))};
}

const Registered registered({"las", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
