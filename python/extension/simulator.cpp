#include "errors.h"
#include "interrupts.h"
#include "jobs.h"

#include "simulator/simulation.h"

#include <pybind11/stl.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

namespace brisko::python {
namespace {

namespace py = pybind11;
using namespace py::literals;
using Angles = std::pair<float, float>;
using Place = std::optional<std::array<double, 2>>;

constexpr std::int64_t kMostRows = 100'000;
constexpr std::int64_t kMostColumns = 1'000'000'000;
constexpr std::int64_t kMostCells = 10'000'000'000;

void requireSizes(std::int64_t columns, std::int64_t rows) {
    const bool areSound = columns >= 1 && columns <= kMostColumns && rows >= 1 &&
                          rows <= kMostRows && columns * rows <= kMostCells;
    if (!areSound) failValue("a simulated grid has 1 to 100,000 rows and up to 10^10 cells");
}

void requireAngles(const Angles& angles, float lowest, float highest, const std::string& name) {
    const auto isWithin = [&](float angle) { return angle >= lowest && angle <= highest; };
    const float span = std::abs(angles.second - angles.first);
    if (isWithin(angles.first) && isWithin(angles.second) && span > 0 && span <= 360) return;
    failValue(name + " takes two different angles, degrees");
}

simulator::ScanFormat formatOf(const std::filesystem::path& path, bool plain) {
    if (path.extension() == ".clr") return simulator::ScanFormat::CLR;
    if (path.extension() != ".cl3") failValue(path.string() + ": simulated scans are .cl3 or .clr");
    return plain ? simulator::ScanFormat::CL3 : simulator::ScanFormat::CL3Indexed;
}

void choosePhotos(simulator::ScanPlan& plan, const std::string& kind, std::uint32_t scale) {
    if (kind.empty()) return;
    const auto found = simulator::photoKinds().find(kind);
    if (found == simulator::photoKinds().end())
        failValue("photos: there is no kind \"" + kind + "\"");
    if (scale != 1 && scale != 2 && scale != 4 && scale != 8)
        failValue("photo_scale is 1, 2, 4 or 8");
    plan.photos = found->second;
    plan.photoDivisor = scale;
    const char* const part = plan.partForPhotosAlone();
    if (part)
        failValue("with photos, the scan's name must not contain \"" + std::string(part) + "\"");
}

std::string simulate(const std::string& output, std::int64_t columns, std::int64_t rows,
                     const std::string& scene, bool alignment, bool colour, bool plain,
                     const Angles& azimuth, const Angles& zenith, double noise, std::uint64_t seed,
                     const Place& place, const std::string& photos, std::uint32_t photoScale,
                     bool overwrite, const py::object& progress) {
    requireSizes(columns, rows);
    requireAngles(azimuth, -360, 360, "azimuth");
    requireAngles(zenith, 0, 180, "zenith");
    if (scene != "courtyard" && scene != "room") failValue("scene is \"courtyard\" or \"room\"");
    if (!(noise >= 0 && noise <= 1)) failValue("noise is 0 to 1 metre");
    if (place && !(std::hypot((*place)[0], (*place)[1]) < 1e4))
        failValue("place is x and y, metres");
    const std::filesystem::path path(output);
    simulator::ScanPlan plan;
    plan.format = formatOf(path, plain);
    plan.folder = path.parent_path().empty() ? "." : path.parent_path().string();
    plan.name = path.stem().string();
    plan.scene = scene;
    plan.place = place;
    choosePhotos(plan, photos, photoScale);
    plan.alignment = alignment;
    plan.colour = colour && plan.format != simulator::ScanFormat::CLR;
    plan.overwrite = overwrite;
    plan.grid = {static_cast<std::uint32_t>(columns),
                 static_cast<std::uint32_t>(rows),
                 azimuth.first,
                 azimuth.second,
                 zenith.first,
                 zenith.second};
    plan.settings = {seed, noise};
    const simulator::Simulation done =
        JobProgress(progress).run([&](const scan::ProgressFunction& function) {
            return simulator::simulate(plan, function);
        });
    return done.files.front().path;
}

}  // namespace

void addSimulator(py::module_& module) {
    module.def("simulate", &simulate, "output"_a, "columns"_a, "rows"_a, "scene"_a, "alignment"_a,
               "colour"_a, "plain"_a, "azimuth"_a, "zenith"_a, "noise"_a, "seed"_a, "place"_a,
               "photos"_a, "photo_scale"_a, "overwrite"_a, "progress"_a);
}

}  // namespace brisko::python
