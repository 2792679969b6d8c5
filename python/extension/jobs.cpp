#include "jobs.h"

#include "conversions.h"
#include "errors.h"
#include "header_fields.h"
#include "interrupts.h"
#include "text.h"

#include <pybind11/stl.h>

#include <brisko_scan/bands.h>
#include <brisko_scan/check.h>
#include <brisko_scan/inspect.h>
#include <brisko_scan/panorama.h>
#include <brisko_scan/view.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace brisko::python {
namespace {

namespace py = pybind11;
using namespace py::literals;
using scan::ProgressFunction;

py::list toTexts(const std::vector<std::string>& texts) {
    py::list list;
    for (const std::string& text : texts)
        list.append(toText(text));
    return list;
}

py::object orNone(const std::optional<std::uint64_t>& number) {
    return number ? py::object(py::int_(*number)) : py::none();
}

/// Keeps the warnings of a job, whose threads may call at the same time.
class Warnings {
public:
    scan::WarningFunction function() {
        return [this](const std::string& text) {
            const std::lock_guard lock(m_mutex);
            m_texts.push_back(text);
        };
    }
    py::list toList() const { return toTexts(m_texts); }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_texts;
};

/// Returns: the result and the warnings.
py::tuple convert(const std::string& input, const std::string& output, const py::dict& options,
                  bool colourFromPhotos, const py::object& progress) {
    scan::ConvertOptions job = toConvertOptions(input, output, options);
    Warnings warnings;
    job.warning = warnings.function();
    const scan::ConvertResult result =
        JobProgress(progress).run([&](const ProgressFunction& function) {
            job.progress = function;
            scan::StationPhotos photos;
            return colourFromPhotos ? scan::colourScan(job, photos) : scan::convertScan(job);
        });
    const auto& [outsideGrid, notFinite, atScanner] = result.leftOut;
    const py::dict leftOut("outside_grid"_a = outsideGrid, "not_finite"_a = notFinite,
                           "at_scanner"_a = atScanner);
    return py::make_tuple(py::dict("points"_a = result.points, "coloured"_a = result.coloured,
                                   "columns"_a = result.columns, "rows"_a = result.rows,
                                   "bytes"_a = result.bytes, "left_out"_a = leftOut),
                          warnings.toList());
}

py::dict toDict(const scan::Finding& finding) {
    return py::dict("kind"_a = finding.kind, "file"_a = toText(finding.file),
                    "block"_a = orNone(finding.block), "offset"_a = orNone(finding.offset),
                    "text"_a = toText(finding.text));
}

py::dict check(const std::string& path, std::size_t most, const py::object& progress) {
    const scan::ScanCheck found = JobProgress(progress).run(
        [&](const ProgressFunction& function) { return scan::checkScan(path, most, function); });
    py::list findings;
    for (const scan::Finding& finding : found.findings.kept())
        findings.append(toDict(finding));
    return py::dict("path"_a = toText(found.path),
                    "format"_a = found.format ? found.format->name : "", "blocks"_a = found.blocks,
                    "records"_a = found.records, "points"_a = found.points,
                    "columns"_a = found.columns, "rows"_a = found.rows, "findings"_a = findings,
                    "total"_a = found.findings.count(), "notes"_a = toTexts(found.notes));
}

py::dict toDict(const scan::ScanEntry& entry) {
    return py::dict("name"_a = toText(entry.name), "records"_a = entry.records,
                    "columns"_a = entry.columns, "rows"_a = entry.rows,
                    "matrix"_a = toMatrix(entry.alignment), "has_colour"_a = entry.hasColour);
}

py::dict describe(const std::string& path) {
    const scan::ScanReport report = awaitCall([path] { return scan::describeScan(path); });
    py::list scans;
    for (const scan::ScanEntry& entry : report.scans)
        scans.append(toDict(entry));
    py::dict details;
    for (const auto& [name, value] : report.details)
        details[toText(name)] = toText(value);
    return py::dict("path"_a = toText(report.path), "format"_a = report.format->name,
                    "bytes"_a = report.bytes, "columns"_a = report.columns, "rows"_a = report.rows,
                    "has_grid"_a = report.hasGrid, "records"_a = report.records,
                    "has_colour"_a = report.hasColour, "matrix"_a = toMatrix(report.alignment),
                    "header"_a = report.header ? toFields(*report.header) : py::dict(),
                    "scans"_a = scans, "details"_a = details,
                    "problems"_a = toTexts(report.problems));
}

py::dict summarize(const std::string& path, const std::string& scan, const py::object& progress) {
    const scan::PointSummary found =
        JobProgress(progress).run([&](const ProgressFunction& function) {
            return scan.empty() ? scan::summarizePoints(path, function)
                                : scan::summarizePoints(path, scan, function);
        });
    const auto three = [](const double(&v)[3]) { return py::make_tuple(v[0], v[1], v[2]); };
    return py::dict("points"_a = found.points, "coloured"_a = found.coloured,
                    "min"_a = three(found.min), "max"_a = three(found.max),
                    "min_intensity"_a = found.minIntensity, "max_intensity"_a = found.maxIntensity,
                    "median_range"_a = found.range.median,
                    "median_intensity"_a = found.intensity.median);
}

scan::PictureMode modeOf(const std::string& name) {
    static const std::map<std::string, scan::PictureMode> modes = {
        {"shaded", scan::PictureMode::Shaded},       {"range", scan::PictureMode::Range},
        {"intensity", scan::PictureMode::Intensity}, {"colour", scan::PictureMode::Colour},
        {"normals", scan::PictureMode::Normals},     {"height", scan::PictureMode::Height},
        {"incidence", scan::PictureMode::Incidence}};
    const auto found = modes.find(name);
    if (found == modes.end()) failValue("a picture has no mode \"" + name + "\"");
    return found->second;
}

py::array_t<std::uint8_t> panorama(const std::string& path, const std::string& mode,
                                   std::uint32_t width, std::uint32_t height,
                                   const py::object& progress) {
    scan::PanoramaOptions options;
    options.input = path;
    options.mode = modeOf(mode);
    options.width = width;
    options.height = height;
    auto pixels = std::make_unique<std::vector<std::uint8_t>>();
    const scan::PanoramaResult result =
        JobProgress(progress).run([&](const ProgressFunction& function) {
            options.progress = function;
            return scan::paintPanorama(options, *pixels);
        });
    const std::uint8_t* const start = pixels->data();
    const py::capsule owner(pixels.get(), [](void* memory) {
        const std::unique_ptr<std::vector<std::uint8_t>> last(
            static_cast<std::vector<std::uint8_t>*>(memory));
    });
    static_cast<void>(pixels.release());
    const std::vector<py::ssize_t> shape{result.height, result.width, 3};
    return py::array_t<std::uint8_t>(shape, start, owner);
}

py::bytes tilesOf(const std::string& path) {
    std::vector<std::uint8_t> bytes;
    {
        const py::gil_scoped_release released;
        bytes = scan::TileTable::of(path).toBytes();
    }
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

py::list split(const std::string& input, std::uint32_t bands, const std::string& folder) {
    scan::BandPlan plan;
    {
        const py::gil_scoped_release released;
        plan = scan::planBands(input, bands, folder);
    }
    py::list list;
    for (const scan::Band& band : plan.bands)
        list.append(py::make_tuple(band.first, band.end, toText(band.output), band.isDone));
    return list;
}

py::tuple join(const std::vector<std::string>& bands, const std::string& output, bool overwrite,
               const py::object& progress) {
    scan::JoinOptions options;
    options.inputs = bands;
    options.output = output;
    options.overwrite = overwrite;
    const scan::JoinResult result =
        JobProgress(progress).run([&](const ProgressFunction& function) {
            options.progress = function;
            return scan::joinBands(options);
        });
    return py::make_tuple(result.points, result.columns, result.rows, result.bytes);
}

/// Returns: the counts of the page, and the warnings.
py::tuple view(const std::vector<std::string>& inputs, const std::string& output,
               std::uint64_t points, bool full, bool photos, const std::string& title,
               bool overwrite, const py::object& progress) {
    scan::ViewOptions options;
    options.inputs = inputs;
    options.output = output;
    options.title = title;
    options.points = points;
    options.full = full;
    options.withoutPhotos = !photos;
    options.overwrite = overwrite;
    Warnings warnings;
    options.warning = warnings.function();
    const scan::ViewResult result =
        JobProgress(progress).run([&](const ProgressFunction& function) {
            options.progress = function;
            return scan::writeView(options);
        });
    return py::make_tuple(py::make_tuple(result.points, result.photos, result.bytes),
                          warnings.toList());
}

/// As a PNG file.
void draw(const std::string& path, const std::string& output, std::uint32_t width) {
    scan::PanoramaOptions options;
    options.input = path;
    options.output = output;
    options.width = width;
    JobProgress(py::none()).run([&](const ProgressFunction& function) {
        options.progress = function;
        return scan::drawPanorama(options);
    });
}

}  // namespace

std::shared_ptr<const scan::TileTable> toTileTable(const py::bytes& bytes) {
    const std::string_view view(bytes);
    return std::make_shared<scan::TileTable>(scan::TileTable::fromBytes(
        reinterpret_cast<const std::uint8_t*>(view.data()), view.size()));
}

void addJobs(py::module_& module) {
    module.def("convert", &convert, "input"_a, "output"_a, "options"_a, "colour_from_photos"_a,
               "progress"_a);
    module.def("check", &check, "path"_a, "most"_a, "progress"_a);
    module.def("tiles_of", &tilesOf, "path"_a);
    module.def("split", &split, "input"_a, "bands"_a, "folder"_a);
    module.def("join", &join, "bands"_a, "output"_a, "overwrite"_a, "progress"_a);
    module.def("describe", &describe, "path"_a);
    module.def("panorama", &panorama, "path"_a, "mode"_a, "width"_a, "height"_a, "progress"_a);
    module.def("view", &view, "inputs"_a, "output"_a, "points"_a, "full"_a, "photos"_a, "title"_a,
               "overwrite"_a, "progress"_a);
    module.def("draw", &draw, "path"_a, "output"_a, "width"_a);
    module.def("summarize", &summarize, "path"_a, "scan"_a, "progress"_a);
}

}  // namespace brisko::python
