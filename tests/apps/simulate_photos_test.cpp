#include "apps/simulate_run.h"
#include "common/failure.h"
#include "simulate/photos/photo_renderer.h"
#include "support/file_size_limit.h"
#include "support/read_points.h"
#include "support/temp_folder.h"

#include <brisko_codec/brisko_codec.h>
#include <gtest/gtest.h>

#include <turbojpeg.h>
#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>

namespace brisko::tool {
namespace {

using brisko::test::openScan;
using brisko::test::readAll;
using brisko::test::runSimulate;
using brisko::test::TempFolder;
using brisko::test::TestPoint;

struct StationCase {
    const char* kind;
    const char* scene;
    std::uint32_t scale;
    int stationKind;
    double coarse;  // stored pixels that one pixel of the calibrated picture is across
    double margin;  // pixels at the edges of the upright photo that do not count, at most
    bool upperHalf;
};

constexpr StationCase kStations[] = {
    {"classic", "courtyard", 4, 1, 1.4, 14, false},
    {"newer", "room", 4, 1, 1.4, 14, false},
    {"W30", "room", 4, 1, 1, 0, true},
    {"W60", "courtyard", 4, 1, 1, 0, false},
    {"T30", "courtyard", 8, 1, 1.6, 0, false},
    {"T60", "room", 4, 1, 3.2, 0, false},
    {"offset", "room", 4, 3, 1, 0, true},
    {"own", "courtyard", 4, 2, 1, 10, false},
};

void PrintTo(const StationCase& station, std::ostream* out) {
    *out << station.kind;
}

std::vector<std::string> photoArguments(const TempFolder& folder, const StationCase& station) {
    return {folder.path().string(), "--photos", station.kind, "--photo-scale",
            std::to_string(station.scale)};
}

/// An aligned scan with its true colours, and its photos.
std::string simulateStation(const TempFolder& folder, const StationCase& station) {
    std::vector<std::string> arguments = photoArguments(folder, station);
    for (const char* more : {"--scene", station.scene, "--columns", "180", "--rows", "90",
                             "--zenith", "4:172", "--format", "cl3", "--colour", "--alignment"}) {
        arguments.emplace_back(more);
    }
    runSimulate(arguments);
    return folder / "scan/scan.cl3";
}

std::vector<TestPoint> readTruth(const std::string& path) {
    const auto codec = openScan<CL3Codec>(path);
    if (!codec) return {};
    setFrame(*codec, Frame::Scanner);
    return readAll(*codec);
}

std::vector<TestPoint> readColoured(const std::string& path) {
    const brisko::test::CodecPtr<BriskoCodec> codec(
        ColorCodecCreator::CreateCodec(CL3Codec::Create(), false));
    return codec->Open(path.c_str()) ? readAll(*codec) : std::vector<TestPoint>{};
}

std::vector<std::uint8_t> decodeJpeg(const std::string& path, const PhotoSize& size) {
    const brisko::test::Bytes jpeg = brisko::test::readFile(path);
    std::vector<std::uint8_t> pixels(3 * size.pixels());
    const tjhandle decoder = tjInitDecompress();
    const int failed = tjDecompress2(decoder, jpeg.data(), static_cast<unsigned long>(jpeg.size()),
                                     pixels.data(), static_cast<int>(size.columns), 0,
                                     static_cast<int>(size.rows), TJPF_RGB, TJFLAG_ACCURATEDCT);
    EXPECT_EQ(failed, 0) << path;
    tjDestroy(decoder);
    return pixels;
}

/// The difference between a photo as it was taken and as its file shows it, which all but one channel
/// in two hundred keep.
int jpegError(const PhotoPlan& plan, std::size_t photo, const Station& station,
              const std::string& scanFolder) {
    const RenderedPhoto taken =
        renderPhoto(plan, plan.photos[photo].camera, station, [](std::uint64_t) {});
    const auto shown = decodeJpeg(scanFolder + "/" + plan.photos[photo].name + ".jpg", taken.size);
    std::array<std::size_t, 256> counts{};
    for (std::size_t i = 0; i < shown.size(); ++i)
        ++counts[static_cast<std::size_t>(std::abs(int{shown[i]} - int{taken.pixels[i]}))];
    std::size_t within = 0;
    for (std::size_t error = 0; error < counts.size(); ++error) {
        within += counts[error];
        if (within * 200 >= shown.size() * 199) return static_cast<int>(error);
    }
    return 255;
}

bool alike(const Colour& a, const Colour& b, int tolerance) {
    return std::abs(int{a.red} - b.red) <= tolerance &&
           std::abs(int{a.green} - b.green) <= tolerance &&
           std::abs(int{a.blue} - b.blue) <= tolerance;
}

/// What a photo knows of a point.
enum class View { Outside, Edge, Inside };

struct Place {
    double column = 0, row = 0;
    View view = View::Outside;
};

/// The truth about photos: where a point appears in them, and what is to be seen there. Forwards
/// through the lens, as the renderer goes backwards, and with nothing of the colouriser.
class PhotoTruth {
public:
    PhotoTruth(const StationCase& which, const PhotoPlan& plan, const Station& station)
        : m_case(which), m_plan(plan), m_station(station) {}

    Place placeOf(const Vector3& point, const PhotoCamera& camera) const {
        const CameraRig& rig = m_plan.rig;
        const Placement& placement = camera.placement();
        const Vector3 seen = placement.axes.inverse() * (point * 1000 - placement.origin);
        if (seen.z >= 0) return {};
        const PicturePlace ideal = {-seen.x / seen.z * rig.distance,
                                    -seen.y / seen.z * rig.distance};
        const PicturePlace shown = rig.lens.shown(ideal);
        const PicturePlace back = rig.lens.ideal(shown);
        // Far outside of the picture the formula of a lens turns back into it.
        if (!(std::hypot(back.right - ideal.right, back.up - ideal.up) < 1e-6)) return {};
        const double pitch = rig.pitch * m_case.scale;
        Place place{(shown.right + rig.fromLeft) / pitch, (rig.fromTop - shown.up) / pitch};
        place.view = viewAt(place);
        return place;
    }

    /// Whether nothing stands before the point and all around its pixel has its colour.
    bool isPlain(const Place& place, const PhotoCamera& camera, const Colour& colour) const {
        const Vector3 eye = m_station.pose.position() + m_station.pose.toWorld(camera.place());
        const double reach = m_case.coarse / 2 + 0.8;
        for (const double down : {0.0, -reach, reach}) {
            for (const double right : {0.0, -reach, reach}) {
                const Vector3 direction = camera.direction(place.column + right, place.row + down);
                const Hit hit = m_station.scene.cast(eye, m_station.pose.toWorld(direction));
                if (!hit || !alike(hit.colour, colour, 2)) return false;
            }
        }
        return true;
    }

private:
    View viewAt(const Place& place) const {
        const double columns = m_plan.upright.columns, rows = m_plan.upright.rows;
        // The lower half of some photos only lies in their view down to 199 pixels below the middle.
        const double lastRow = m_case.upperHalf ? rows / 2 + 199 : rows;
        const double inside = std::min({place.column, place.row, columns - 1 - place.column,
                                        rows - 1 - place.row, lastRow - 1 - place.row});
        const double outside =
            std::min({place.column, place.row, columns - 1 - place.column, rows - 1 - place.row});
        const double slack = m_case.coarse + 1;
        if (inside > m_case.margin + slack) return View::Inside;
        return outside < -slack ? View::Outside : View::Edge;
    }

    const StationCase& m_case;
    const PhotoPlan& m_plan;
    const Station& m_station;
};

/// Points by what the photos know of them.
struct Tally {
    std::size_t unseen = 0, black = 0;           // outside of all photos, and shown so
    std::size_t seen = 0, plain = 0, right = 0;  // inside of one; unmistakable; with their colour
};

Tally compare(const std::vector<TestPoint>& truth, const std::vector<TestPoint>& coloured,
              const PhotoTruth& photos, const PhotoPlan& plan, int tolerance) {
    Tally tally;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const Colour colour{truth[i].red, truth[i].green, truth[i].blue};
        const Colour found{coloured[i].red, coloured[i].green, coloured[i].blue};
        bool isOutside = true, isInside = false, isPlain = true;
        for (const PlannedPhoto& photo : plan.photos) {
            const Place place = photos.placeOf({truth[i].x, truth[i].y, truth[i].z}, photo.camera);
            if (place.view == View::Outside) continue;
            isOutside = false;
            isInside |= place.view == View::Inside;
            isPlain = isPlain && photos.isPlain(place, photo.camera, colour);
        }
        tally.unseen += isOutside;
        tally.black += isOutside && alike(found, {}, 0);
        tally.seen += isInside;
        tally.plain += isInside && isPlain;
        tally.right += isInside && isPlain && alike(found, colour, tolerance);
    }
    return tally;
}

class SimulatedPhotos : public testing::TestWithParam<StationCase> {};

TEST_P(SimulatedPhotos, GiveEveryPointItsColour) {
    const StationCase& which = GetParam();
    const TempFolder folder;
    const std::string scan = simulateStation(folder, which);

    const ScanPhotos found = findScanPhotos(scan);
    const Station station = makeStation(which.scene);
    const PhotoPlan plan(photoKinds().at(which.kind), which.scale, station.pose);
    EXPECT_EQ(found.stationKind, which.stationKind);
    EXPECT_EQ(found.count(PhotoUse::Used), plan.photos.size());
    EXPECT_EQ(found.photos.size(), plan.photos.size());

    const std::vector<TestPoint> truth = readTruth(scan), coloured = readColoured(scan);
    ASSERT_GT(truth.size(), 5000u);
    ASSERT_EQ(truth.size(), coloured.size());
    const int error = std::max(jpegError(plan, 1, station, folder / "scan"),
                               jpegError(plan, plan.photos.size() - 1, station, folder / "scan"));
    EXPECT_LE(error, 15);  // or nothing would be shown
    const PhotoTruth photos(which, plan, station);
    const Tally tally = compare(truth, coloured, photos, plan, error + 1);

    EXPECT_GT(tally.seen, truth.size() / 2);
    EXPECT_GT(tally.plain, tally.seen / 3);
    EXPECT_GE(static_cast<double>(tally.right), 0.99 * static_cast<double>(tally.plain));
    EXPECT_GT(tally.unseen, 0u);
    EXPECT_EQ(tally.black, tally.unseen);
}

INSTANTIATE_TEST_SUITE_P(Stations, SimulatedPhotos, testing::ValuesIn(kStations),
                         [](const auto& station) { return std::string(station.param.kind); });

constexpr StationCase kSmall = {"W60", "room", 8, 1, 1, 0, false};

std::vector<std::string> smallStation(const TempFolder& folder) {
    std::vector<std::string> arguments = photoArguments(folder, kSmall);
    for (const char* more : {"--columns", "20", "--rows", "10"})
        arguments.emplace_back(more);
    return arguments;
}

TEST(SimulatePhotos, EqualPlansGiveEqualBytesOverAndOver) {
    const TempFolder folder;
    std::map<std::string, brisko::test::Bytes> first;
    for (int round = 0; round < 2; ++round) {
        runSimulate(smallStation(folder));  // over the files of the round before
        for (const auto& entry : std::filesystem::directory_iterator(folder / "scan")) {
            const std::string path = entry.path().string();
            if (round == 0) first[path] = brisko::test::readFile(path);
            EXPECT_EQ(first[path], brisko::test::readFile(path)) << path;
        }
    }
    EXPECT_EQ(first.size(), 1u + 1 + 4 * 12);  // the scan, the step, and four files for each photo
}

TEST(SimulatePhotos, FilesOfAnotherStationAreNotMixedIn) {
    for (const char* stranger :
         {"CAMCALT_2", "old.ofs", "scan/W99.jpg", "scan/camera_cfg.bak", "scan/W00.ext"}) {
        const TempFolder folder;
        std::filesystem::create_directory(folder / "scan");
        brisko::test::writeFile(folder / stranger, "of another station");
        try {
            runSimulate(smallStation(folder));
            ADD_FAILURE() << stranger << " was not noticed";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.code(), ExitCode::NotWritten);
            EXPECT_NE(std::string(failure.what()).find(stranger), std::string::npos);
        }
        std::size_t left = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path()))
            left += entry.is_regular_file();
        EXPECT_EQ(left, 1u) << stranger;
    }
}

TEST(SimulatePhotos, FullDiskLeavesNeitherPhotosNorScan) {
    const TempFolder folder;
    const brisko::test::FileSizeLimit limit(9000);  // the scan fits, a photo does not
    EXPECT_THROW(runSimulate(smallStation(folder)), Failure);
    EXPECT_TRUE(folder.names().empty());
}

}  // namespace
}  // namespace brisko::tool
