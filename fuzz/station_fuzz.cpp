// A station with photos whose calibration files hold anything: it is refused where the report on its
// photos names a file at fault, and many points get the colours that they get one by one.

#include "scan_folder.h"

#include "support/photo_station.h"

#include <brisko_codec/scan_photos.h>

#include "rvx_scan_colorizer/rvx_scan_colorizer.h"

#include <exception>
#include <memory>

namespace brisko::fuzz {

namespace {

/// A project with one scan in it; photos are the same for every input.
class Station : public ScanFolder {
public:
    Station() {
        std::filesystem::create_directory(path() / "scan");
        const test::Painter paint = [](int column, int row) {
            return test::Rgb{static_cast<std::uint8_t>(6 * column),
                             static_cast<std::uint8_t>(4 * row), 99};
        };
        for (const char* name : {"scan/p.jpg", "scan/T1.jpg", "scan/W1.jpg"})
            test::writeFile(*this / name, test::jpegBytes(24, 32, paint));
    }
};

std::unique_ptr<RvxScanColorizer> openStation(const std::string& folder) {
    try {
        return std::make_unique<RvxScanColorizer>(folder, 1);  // photos go and come
    } catch (const std::exception&) {
        return nullptr;
    }
}

void expectColours(RvxScanColorizer& station, Input in) {
    std::vector<double> positions;
    while (!in.empty() && positions.size() < 150)
        positions.push_back(in.u8() == 0 ? in.f64() : (in.u8() - 128) * 0.3);
    const std::size_t count = positions.size() / 3;
    Bytes colours(3 * count + 1);
    station.colourPoints(positions.data(), count, colours.data());
    for (std::size_t i = 0; i < count; ++i) {
        std::int32_t rgb[3] = {};
        station.getColor(positions[3 * i], positions[3 * i + 1], positions[3 * i + 2], rgb[0],
                         rgb[1], rgb[2]);
        for (std::size_t k = 0; k < 3; ++k)
            expect(rgb[k] == colours[3 * i + k]);
    }
}

void run(ByteSpan input) {
    static const Station folder;
    Input in(input);
    const ByteSpan points = in.takePiece();
    for (const char* name :
         {"camcal", "camcalT", "camcalW", "ncamcal", "scan/camera_cfg", "scan/p.ang", "scan/T1.ang",
          "scan/W1.ang", "scan/p.cmr", "scan/p.ext", "scan/p.tor"})
        folder.writeOrRemove(name, in.takePiece());
    const ScanPhotos report = findScanPhotos(folder / "scan/scan.cl3");
    const auto station = openStation(folder / "scan");
    expect(report.culprit.empty() == (station != nullptr));
    if (station) expectColours(*station, Input(points));
}

std::vector<Bytes> seeds() {
    test::CalibrationText text;
    text.x0 = 0.12;
    text.y0 = 0.16;
    text.coefficients = {1e-4, 1e-6, 0, 1e-5, 1e-5};
    Bytes points;
    for (int i = 0; i < 200; ++i)
        points.insert(points.end(), {1, static_cast<std::uint8_t>(i * 77)});
    const Bytes angles = test::angleFile(10, 5);
    text.code = 1;
    const Bytes classic = test::classicCalibration(text), paired = test::pairedCalibration(text);
    const Bytes newer = test::newerCalibration(text), step = toBytes("WCAMSTEP=30STEP\n");
    const Bytes interior = toBytes("10\n10 0.12 0.16 1e-4\n");
    const Bytes exterior = toBytes("0 0 1\n90 -90 0\n");
    return {pieces({points, classic, {}, {}, {}, {}, angles, {}, {}, {}}),
            pieces({points, {}, paired, paired, {}, step, {}, angles, angles, {}}),
            pieces({points, {}, {}, {}, newer, {}, angles, {}, {}, {}}),
            pieces({points, {}, {}, {}, {}, {}, {}, {}, {}, interior, exterior, {}})};
}

const Registered registered({"station", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
