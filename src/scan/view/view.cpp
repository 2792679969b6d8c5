#include <brisko_scan/view.h>

#include "layouts/records.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/scan_input.h"
#include "scan/jobs/input_files.h"
#include "scan/jobs/shared_progress.h"
#include "scan/view/page.h"
#include "scan/view/scene_text.h"
#include "scan/view/view_cloud.h"
#include "scan/view/view_grid.h"
#include "scan/view/view_photos.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <filesystem>
#include <memory>

namespace brisko::scan {
namespace {

constexpr double kEmptiestGrid = 16;  // cells a point; emptier ones are shown as a cloud
constexpr double kMostCells = 4;      // cells a point that a kept grid has memory for

struct Source {
    std::string input;
    std::string scan;
    double points = 1;  // about so many
    double cells = 0;   // of its grid; 0 where it is shown as a cloud
};

std::vector<Source> sourcesOf(const ViewOptions& options) {
    std::vector<Source> sources;
    for (const std::string& input : options.inputs) {
        for (const std::string& file : filesOf(input)) {
            for (const std::string& scan : scanChoicesOf(file))
                sources.push_back({file, scan});
        }
    }
    if (sources.empty()) {
        throw ScanError(ErrorKind::Request, options.inputs.empty() ? "" : options.inputs.front(),
                        "there is no scan in it");
    }
    return sources;
}

/// How much there is of a scan, before its points are read.
void weigh(Source& source, const ScanInfo& info) {
    const double cells = info.hasGrid ? static_cast<double>(info.columns) * info.rows : 0;
    const auto records = static_cast<double>(info.records);
    const double most = cells > 0 && records > 0 ? std::min(cells, records) : cells + records;
    constexpr double kRecord = 32;  // bytes of a point, about, where nothing else is known
    const double bytes = static_cast<double>(bytesOf(source.input));
    source.points = std::max(1.0, most > 0 ? most : bytes / kRecord);
    source.cells = cells <= kEmptiestGrid * source.points ? cells : 0;
}

class View {
public:
    explicit View(const ViewOptions& options) : m_options(options), m_photos(options.warning) {}

    ViewResult run() {
        std::vector<Source> sources = sourcesOf(m_options);
        lookAt(sources);
        StagedScan staged(m_options.output);
        NamedOutput file(staged.path(), m_options.output);
        const ViewPage page = viewPage();
        file.write(page.head);
        for (std::size_t i = 0; i < sources.size(); ++i)
            take(sources[i], i, file);
        m_photos.write(file, m_options.progress);
        const std::string title =
            m_options.title.empty() ? m_result.scans.front().name : m_options.title;
        file.write("<script type=\"application/json\" id=\"scene\">");
        file.write(sceneText(title, m_options.full, m_scene, m_photos.members()));
        file.write("</script>\n");
        file.write(page.tail);
        file.close();
        staged.commit(m_options.progress);
        m_result.bytes = bytesOf(m_options.output);
        m_result.photos = m_photos.members().size();
        return std::move(m_result);
    }

private:
    /// Opens every input before anything is written, so that one that cannot be read is found at once.
    void lookAt(std::vector<Source>& sources) {
        bool hasFiles = false;
        std::vector<double> weights;
        for (Source& source : sources) {
            requireDistinct(source.input, m_options.output);
            const std::unique_ptr<ScanInput> input = openScan(source.input, {.scan = source.scan});
            weigh(source, input->info());
            hasFiles = hasFiles || (hasExtension(source.input, ".cl3") && input->info().hasGrid);
            weights.push_back(source.points);
            m_allPoints += source.points;
            requireGoingOn(m_options.progress);
        }
        if (m_options.full && !hasFiles) {
            throw ScanError(ErrorKind::Request, sources.front().input,
                            "all points are read from indexed CL3 scans only",
                            "convert it, or leave --full out");
        }
        m_progress =
            std::make_unique<SharedProgress>(m_options.progress, "view", weights, "points");
    }

    std::unique_ptr<ViewPoints> collectorFor(const Source& source, const ScanInfo& info) const {
        const double share = source.points / m_allPoints;
        const double most = std::max(1.0, share * static_cast<double>(m_options.points));
        if (source.cells == 0) {
            return std::make_unique<ViewCloud>(static_cast<std::uint64_t>(source.points),
                                               static_cast<std::uint64_t>(most));
        }
        const double cellsPerPoint = std::clamp(source.cells / source.points, 1.0, kMostCells);
        return std::make_unique<ViewGrid>(info.columns, info.rows,
                                          static_cast<std::uint64_t>(most * cellsPerPoint));
    }

    void take(const Source& source, std::size_t number, NamedOutput& file) {
        const std::unique_ptr<ScanInput> input = openScan(source.input, {.scan = source.scan});
        const ScanInfo& info = input->info();
        ViewedScan viewed;
        viewed.input = source.input;
        viewed.scan = source.scan;
        viewed.name =
            info.name.empty() ? std::filesystem::path(source.input).stem().string() : info.name;
        const std::unique_ptr<ViewPoints> points = collectorFor(source, info);
        gather(*input, number, *points, viewed);
        if (!m_options.withoutPhotos) m_photos.find(info, number);
        file.write("<script type=\"text/plain\" class=\"points\">");
        PackedText text(file);
        points->write(text);
        text.finish();
        file.write("</script>\n");
        viewed.points = points->kept();
        viewed.leftOut += points->tooFar();
        viewed.columns = points->columns();
        viewed.rows = points->rows();
        warnAbout(viewed);
        m_scene.push_back(sceneScan(viewed, info, *points));
        m_result.points += viewed.points;
        m_result.scans.push_back(std::move(viewed));
    }

    void gather(ScanInput& input, std::size_t number, ViewPoints& points, ViewedScan& viewed) {
        const auto steps = static_cast<double>(std::max<std::uint64_t>(input.steps(), 1));
        std::vector<CellPoint> batch;
        for (input.read(batch); !batch.empty(); input.read(batch)) {
            for (const CellPoint& point : batch) {
                if (isFinite(point)) {
                    points.add(point);
                } else {
                    ++viewed.leftOut;
                }
            }
            viewed.read += batch.size();
            m_progress->reach(number, static_cast<double>(input.stepsDone()) / steps, viewed.name);
        }
    }

    void warnAbout(const ViewedScan& viewed) const {
        if (!m_options.warning) return;
        if (viewed.points == 0) {
            m_options.warning(viewed.input + ": \"" + viewed.name + "\" shows no point");
        } else if (viewed.leftOut > 0) {
            m_options.warning(viewed.input + ": " + std::to_string(viewed.leftOut) +
                              " points are left out; their place is no number, or too far away");
        }
    }

    const ViewOptions& m_options;
    double m_allPoints = 0;
    std::unique_ptr<SharedProgress> m_progress;
    ViewPhotos m_photos;
    std::vector<std::string> m_scene;
    ViewResult m_result;
};

}  // namespace

ViewResult writeView(const ViewOptions& options) {
    const std::string extension = extensionOf(options.output);
    if (extension != ".html" && extension != ".htm") {
        throw ScanError(ErrorKind::Request, options.output, "the page is named .html");
    }
    if (options.points < kFewestViewPoints || options.points > kMostViewPoints) {
        throw ScanError(ErrorKind::Request, {},
                        std::to_string(options.points) + " points: a page has from " +
                            std::to_string(kFewestViewPoints) + " to " +
                            std::to_string(kMostViewPoints));
    }
    requireNew(options.output, options.overwrite);
    return View(options).run();
}

}  // namespace brisko::scan
