#include "apps/damaged_scan.h"
#include "rvx_scan_colorizer/jpeg_file.h"
#include "scan/formats/e57/xml_tree.h"
#include "scan/view/thumbnail.h"
#include "support/photo_station.h"

#include <brisko_codec/scan_photos.h>

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <cstring>

/// The photos of a station in an E57 file.
namespace brisko::test {
namespace {

using scan::e57::XmlNode;

/// The XML part, by the header and the pages alone.
XmlNode xmlOf(const std::string& path) {
    const std::string file = readText(path);
    std::string content;
    for (std::size_t page = 0; page < file.size(); page += 1024)
        content += file.substr(page, 1020);
    std::uint64_t place[2];  // offset and length
    std::memcpy(place, file.data() + 24, sizeof place);
    const std::string xml = content.substr(place[0] / 1024 * 1020 + place[0] % 1024, place[1]);
    bool isRead = false;
    return scan::e57::parseXml([&]() -> std::string_view {
        return std::exchange(isRead, true) ? std::string_view() : xml;
    });
}

double numberIn(const XmlNode& parent, std::initializer_list<const char*> path) {
    const XmlNode* node = &parent;
    for (const char* const name : path)
        node = node ? node->child(name) : nullptr;
    return node ? std::stod(node->text) : NAN;
}

struct Seen {
    std::size_t points = 0, alike = 0, alikeTurned = 0;
};

/// Whether the picture has about the colour of a point within a pixel of a place.
bool shows(const DecodedImage& picture, int column, int row, const CellPoint& p) {
    constexpr int kJpegError = 24;
    for (int i = 0; i < 9; ++i) {
        const int c = std::clamp(column + i % 3 - 1, 0, picture.columns() - 1);
        const int r = std::clamp(row + i / 3 - 1, 0, picture.rows() - 1);
        const std::uint8_t* const pixel = picture.pixel(c, r);
        if (std::abs(pixel[2] - p.red) < kJpegError && std::abs(pixel[1] - p.green) < kJpegError &&
            std::abs(pixel[0] - p.blue) < kJpegError) {
            return true;
        }
    }
    return false;
}

/// Looks at points through the camera that the file describes, as the standard says: it looks along its
/// -z, x is to the right, y up; rows count downwards.
void lookThrough(const XmlNode& image, const std::string& jpeg,
                 const std::vector<CellPoint>& points, Seen& seen) {
    const auto pose = [&](const char* part, const char* name) {
        return numberIn(image, {"pose", part, name});
    };
    const double w = pose("rotation", "w"), x = pose("rotation", "x"), y = pose("rotation", "y"),
                 z = pose("rotation", "z");
    const double axes[3][3] = {
        {w * w + x * x - y * y - z * z, 2 * (x * y + w * z), 2 * (x * z - w * y)},
        {2 * (x * y - w * z), w * w - x * x + y * y - z * z, 2 * (y * z + w * x)},
        {2 * (x * z + w * y), 2 * (y * z - w * x), w * w - x * x - y * y + z * z}};
    const double eye[3] = {pose("translation", "x"), pose("translation", "y"),
                           pose("translation", "z")};
    const auto lens = [&](const char* name) {
        return numberIn(image, {"pinholeRepresentation", name});
    };
    const double f = lens("focalLength"), px = lens("pixelWidth"), py = lens("pixelHeight"),
                 x0 = lens("principalPointX"), y0 = lens("principalPointY");
    const DecodedImage picture = readImage(jpeg, Turn::None);
    EXPECT_EQ(lens("imageWidth"), picture.columns());
    EXPECT_EQ(lens("imageHeight"), picture.rows());
    for (const CellPoint& p : points) {
        const double away[3] = {p.x - eye[0], p.y - eye[1], p.z - eye[2]};
        double c[3];
        for (int i = 0; i < 3; ++i)
            c[i] = axes[i][0] * away[0] + axes[i][1] * away[1] + axes[i][2] * away[2];
        const double u = x0 - c[0] / c[2] * f / px, v = y0 + c[1] / c[2] * f / py;
        const bool isSeen =
            c[2] < 0 && u >= 0 && v >= 0 && u < picture.columns() - 1 && v < picture.rows() - 1;
        if (!isSeen) continue;
        const int column = static_cast<int>(u + 0.5), row = static_cast<int>(v + 0.5);
        ++seen.points;
        seen.alike += shows(picture, column, row, p);
        seen.alikeTurned += shows(picture, picture.columns() - column, picture.rows() - row, p);
    }
}

TEST(E57Photos, ShowThePointsWhereTheFileSays) {
    // Photos that are stored turned by a quarter, turned by half, upright, and with cameras of their own.
    for (const char* const kind : {"classic", "W30", "offset", "own"}) {
        const TempFolder folder;
        simulate(folder, {"--photos", kind, "--photo-scale", "8", "--columns", "180", "--rows",
                          "100", "--format", "cl3", "--colour", "--alignment"});
        const std::string output = convert(folder / "scan/scan.cl3", folder / "scan.e57");
        const XmlNode xml = xmlOf(output);
        const std::string guid = xml.child("data3D")->children[0].child("guid")->text;
        ASSERT_EQ(run({"images", output, "-o", folder.path().string()}).code, 0) << kind;
        EXPECT_EQ(run({"check", output}).code, 0) << kind;
        const std::vector<CellPoint> points = readAligned(output);
        Seen seen;
        int number = 0;
        for (const XmlNode& image : xml.child("images2D")->children) {
            const std::string name = image.child("name")->text;
            const std::string stem = name.substr(0, name.size() - 4);
            const std::string jpeg = folder / (std::to_string(++number) + "_" + stem + "_jpg.jpg");
            EXPECT_EQ(readFile(jpeg), readFile(folder / ("scan/" + name))) << kind;
            EXPECT_EQ(image.child("associatedData3DGuid")->text, guid);
            lookThrough(image, jpeg, points, seen);
        }
        EXPECT_GT(seen.points, points.size()) << kind;
        EXPECT_GT(seen.alike * 100, seen.points * 97) << kind;
        EXPECT_LT(seen.alikeTurned * 100, seen.points * 70) << kind;
    }
}

/// A lens that bends straight lines too much leaves a picture to look at; what cannot be used stays out.
TEST(E57Photos, OtherPhotosAreKeptWithoutALensOrLeftOut) {
    const ClassicStation station;
    station.addFlat("b", 90);
    writeFile(station.inScan("c.jpg"), "no photo");
    writeFile(station.inScan("c.ang"), angleFile(0, 0));
    const std::string input = station.inScan("a.cl3"), output = station.inProject("a.e57");
    writeFile(station.inProject("a.ptx"), ptxText(1, 1, "1 0 0 0.5\n"));
    convert(station.inProject("a.ptx"), input);
    const std::vector<PinholeCamera> cameras = findPinholeCameras(input);
    ASSERT_EQ(cameras.size(), 1u);
    // The sensor of 12 x 16 mm is spread over the upright photo, which is stored turned.
    EXPECT_NEAR(cameras[0].focalLength, 0.01, 1e-9);
    EXPECT_NEAR(cameras[0].pixelWidth, 16e-3 / 1200, 1e-9);
    EXPECT_NEAR(cameras[0].pixelHeight, 12e-3 / 1600, 1e-9);
    EXPECT_NEAR(cameras[0].principalX, 599, 1e-3);
    EXPECT_NEAR(cameras[0].principalY, 800, 1e-3);
    EXPECT_LT(cameras[0].worstError, 1e-3);
    const struct {
        double k1;
        const char* option;
        const char* listed;
    } cases[] = {{0, "--overwrite", "1_b_jpg.jpg: pinhole, "},
                 {-0.003, "--overwrite", "1_b_jpg.jpg: visualReference, "},
                 {0, "--no-photos", "a.e57: 0 images"}};
    for (const auto& [k1, option, listed] : cases) {
        const CalibrationText lens = {.x0 = 6, .y0 = 8, .coefficients = {k1}};
        writeFile(station.inProject("camcal"), classicCalibration(lens));
        const ToolRun converted = run({"convert", input, output, "--overwrite", option});
        EXPECT_EQ(contains(converted.err, "1 photo beside it left out"), option[2] == 'o')
            << converted.err;
        EXPECT_TRUE(contains(run({"images", output}).out, listed)) << run({"images", output}).out;
        const ToolRun page =
            run({"view", output, "-o", station.inProject("a.html"), "--overwrite"});
        EXPECT_EQ(contains(page.out, ", 1 photo, "), contains(listed, "pinhole")) << page.out;
        EXPECT_EQ(contains(page.err, "1 photo without"), contains(listed, "visual")) << page.err;
        const ToolRun back = run({"convert", output, station.inProject("b.cl3"), "--overwrite"});
        EXPECT_EQ(contains(back.err, "1 picture left out; 'brisko images'"), option[2] == 'o')
            << back.err;
    }
}

TEST(ViewPhotos, AreMadeSmallOrLeftOut) {
    const ClassicStation station;
    station.addFlat("b", 90);  // 1200 x 1600 pixels
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = 3000;
    image.height = 1500;
    image.format = PNG_FORMAT_RGB;
    const std::string png = station.inProject("a.png");
    const std::vector<std::uint8_t> pixels(3 * 3000 * 1500, 77);
    ASSERT_TRUE(png_image_write_to_file(&image, png.c_str(), 0, pixels.data(), 0, nullptr));
    const std::string photo = readText(station.inScan("b.jpg"));
    std::string huge = photo;  // the size in its frame header becomes 65500 x 65500
    const std::size_t frame = huge.find("\xFF\xC0");
    huge.replace(frame + 5, 4, "\xFF\xDC\xFF\xDC");
    const struct {
        std::string picture;
        std::size_t most;
        int width, height;  // of what is made; 0: nothing
    } cases[] = {{photo, 150'000, 600, 800},
                 {readText(png), 150'000, 750, 375},
                 {photo.substr(0, photo.size() / 2), 150'000, 600, 800},
                 {photo, 100, 0, 0},
                 {huge, 150'000, 0, 0},
                 {"no photo", 150'000, 0, 0}};
    for (const auto& [picture, most, width, height] : cases) {
        const std::vector<std::uint8_t> small = scan::thumbnailOf(
            {reinterpret_cast<const std::uint8_t*>(picture.data()), picture.size()}, most);
        ASSERT_EQ(small.empty(), width == 0) << picture.size();
        if (small.empty()) continue;
        EXPECT_LE(small.size(), most);
        writeFile(station.inProject("s.jpg"), std::string(small.begin(), small.end()));
        const ImageSize size = getImageDimention(station.inProject("s.jpg"));
        EXPECT_EQ(size.width, width);
        EXPECT_EQ(size.height, height);
    }
}

}  // namespace
}  // namespace brisko::test
