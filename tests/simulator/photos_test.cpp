#include "simulator/photo_plan.h"
#include "simulator/simulation.h"
#include "simulator/stations.h"
#include "support/file_size_limit.h"
#include "support/read_points.h"

#include <brisko_codec/brisko_codec.h>
#include <brisko_scan/scan_error.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace brisko::simulator {
namespace {

using namespace brisko::test;

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

/// A scan with its true colours and photos of a kind, in a folder of its own.
ScanPlan planOf(const TempFolder& folder, const StationCase& station, const ScanGrid& grid) {
    ScanPlan plan;
    plan.folder = folder.path().string();
    plan.scene = station.scene;
    plan.format = ScanFormat::CL3;
    plan.colour = plan.alignment = plan.overwrite = true;
    plan.photos = photoKinds().at(station.kind);
    plan.photoDivisor = station.scale;
    plan.grid = grid;
    return plan;
}

std::vector<TestPoint> readTruth(const std::string& path) {
    const auto codec = openScan<CL3Codec>(path);
    if (!codec) return {};
    setFrame(*codec, Frame::Scanner);
    return readAll(*codec);
}

std::vector<TestPoint> readColoured(const std::string& path, bool hidesOccluded = false) {
    const CodecPtr<BriskoCodec> codec(ColorCodecCreator::CreateCodec(CL3Codec::Create(), false));
    EXPECT_TRUE(setPhotoOcclusion(*codec, hidesOccluded));
    return codec->Open(path.c_str()) ? readAll(*codec) : std::vector<TestPoint>{};
}

/// What JPEG changes a channel by at most, but for one in two hundred.
constexpr int kJpegError = 16;

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
        const Pose& pose = camera.pose();
        const Vector3 seen = pose.axes.inverse() * (point * 1000 - pose.origin);
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
        const Vector3 eye = m_station.pose.origin + m_station.pose.axes * camera.place();
        const double reach = m_case.coarse / 2 + 0.8;
        for (const double down : {0.0, -reach, reach}) {
            for (const double right : {0.0, -reach, reach}) {
                const Vector3 direction = camera.direction(place.column + right, place.row + down);
                const Hit hit = m_station.scene.cast(eye, m_station.pose.axes * direction);
                if (!hit || !alike(hit.colour, colour, 2)) return false;
            }
        }
        return true;
    }

    /// Whether something stands between a camera and a point: metres.
    bool isHidden(const Vector3& point, const PhotoCamera& camera) const {
        const Vector3 toPoint = point - camera.place();
        const double distance = std::sqrt(dot(toPoint, toPoint));
        const Hit hit =
            m_station.scene.cast(m_station.pose.origin + m_station.pose.axes * camera.place(),
                                 m_station.pose.axes * (toPoint * (1 / distance)));
        return hit && hit.distance < distance - 0.01;
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
              const PhotoTruth& photos, const PhotoPlan& plan) {
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
        tally.right += isInside && isPlain && alike(found, colour, kJpegError);
    }
    return tally;
}

class SimulatedPhotos : public testing::TestWithParam<StationCase> {};

TEST_P(SimulatedPhotos, GiveEveryPointItsColour) {
    const StationCase& which = GetParam();
    const TempFolder folder;
    simulate(planOf(folder, which, {180, 90, 360, 0, 4, 172}), {});
    const std::string scan = folder / "scan/scan.cl3";

    const ScanPhotos found = findScanPhotos(scan);
    const Station station = makeStation(which.scene);
    const PhotoPlan plan(photoKinds().at(which.kind), which.scale, station.pose);
    EXPECT_EQ(found.stationKind, which.stationKind);
    EXPECT_EQ(found.count(PhotoUse::Used), plan.photos.size());
    EXPECT_EQ(found.photos.size(), plan.photos.size());

    const std::vector<TestPoint> truth = readTruth(scan), coloured = readColoured(scan);
    ASSERT_GT(truth.size(), 5000u);
    ASSERT_EQ(truth.size(), coloured.size());
    const PhotoTruth photos(which, plan, station);
    const Tally tally = compare(truth, coloured, photos, plan);

    EXPECT_GT(tally.seen, truth.size() / 2);
    EXPECT_GT(tally.plain, tally.seen / 3);
    EXPECT_GE(static_cast<double>(tally.right), 0.99 * static_cast<double>(tally.plain));
    EXPECT_GT(tally.unseen, 0u);
    EXPECT_EQ(tally.black, tally.unseen);
}

INSTANTIATE_TEST_SUITE_P(Stations, SimulatedPhotos, testing::ValuesIn(kStations),
                         [](const auto& station) { return std::string(station.param.kind); });

/// Points by whether something stands between them and a photo in whose view they lie.
struct Shadows {
    std::size_t shaded = 0, wrong = 0;  // hidden from a photo; with the colour of something else
    std::size_t open = 0, right = 0;    // hidden from none and inside of one; with their colour
};

void countPoint(bool isHidden, bool isInside, const Colour& truth, const TestPoint& point,
                Shadows& shadows) {
    const Colour given{point.red, point.green, point.blue};
    const bool isRight = alike(given, truth, 3 * kJpegError);
    shadows.shaded += isHidden;
    shadows.wrong += isHidden && !isRight && !alike(given, {}, 0);
    shadows.open += isInside && !isHidden;
    shadows.right += isInside && !isHidden && isRight;
}

class Occlusion : public testing::TestWithParam<StationCase> {};

TEST_P(Occlusion, TakesWrongColoursFromShadowsAndFewFromWhatIsSeen) {
    const StationCase& which = GetParam();
    const TempFolder folder;
    simulate(planOf(folder, which, {720, 360, 360, 0, 4, 172}), {});
    const std::string scan = folder / "scan/scan.cl3";
    const Station station = makeStation(which.scene);
    const PhotoPlan plan(photoKinds().at(which.kind), which.scale, station.pose);
    const PhotoTruth photos(which, plan, station);

    const std::vector<TestPoint> truth = readTruth(scan), all = readColoured(scan),
                                 hiding = readColoured(scan, true);
    ASSERT_EQ(truth.size(), all.size());
    ASSERT_EQ(truth.size(), hiding.size());
    Shadows before, after;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const Vector3 point{truth[i].x, truth[i].y, truth[i].z};
        bool isHidden = false, isInside = false;
        for (const PlannedPhoto& photo : plan.photos) {
            const View view = photos.placeOf(point, photo.camera).view;
            if (view == View::Outside) continue;
            isInside |= view == View::Inside;
            isHidden = isHidden || photos.isHidden(point, photo.camera);
        }
        const Colour colour{truth[i].red, truth[i].green, truth[i].blue};
        countPoint(isHidden, isInside, colour, all[i], before);
        countPoint(isHidden, isInside, colour, hiding[i], after);
    }
    EXPECT_GT(before.shaded, 400u);
    // Contact shadows and those thinner than half a cell stay.
    EXPECT_LT(static_cast<double>(after.wrong), 0.9 * static_cast<double>(before.wrong));
    EXPECT_GT(static_cast<double>(after.right),
              static_cast<double>(before.right) - 0.001 * static_cast<double>(before.open));
}

INSTANTIATE_TEST_SUITE_P(Stations, Occlusion,
                         testing::Values(kStations[1], kStations[5], kStations[6]),
                         [](const auto& station) { return std::string(station.param.kind); });

constexpr StationCase kSmall = {"W60", "room", 8, 1, 1, 0, false};

void simulateSmall(const TempFolder& folder) {
    simulate(planOf(folder, kSmall, {20, 10, 360, 0, 20, 150}), {});
}

/// The file that a simulation into the folder reports as its failure.
std::string failureIn(const TempFolder& folder) {
    try {
        simulateSmall(folder);
    } catch (const scan::ScanError& error) {
        EXPECT_EQ(error.kind(), scan::ErrorKind::NotWritten);
        return error.file();
    }
    return "none";
}

TEST(SimulatedPhotoFiles, FilesOfAnotherStationAreNotMixedIn) {
    for (const char* stranger :
         {"CAMCALT_2", "old.ofs", "scan/W99.jpg", "scan/camera_cfg.bak", "scan/W00.ext"}) {
        const TempFolder folder;
        std::filesystem::create_directory(folder / "scan");
        writeFile(folder / stranger, "of another station");
        EXPECT_EQ(failureIn(folder), folder / stranger);
        std::size_t left = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.path()))
            left += entry.is_regular_file();
        EXPECT_EQ(left, 1u) << stranger;
    }
}

TEST(SimulatedPhotoFiles, FullDiskLeavesNeitherPhotosNorScan) {
    const TempFolder folder;
    const FileSizeLimit limit(9000);  // the scan fits, a photo does not
    EXPECT_NE(failureIn(folder), "none");
    EXPECT_TRUE(folder.names().empty());
}

}  // namespace
}  // namespace brisko::simulator
