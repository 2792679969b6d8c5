#include "simulator/simulation.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include "simulator/photo_output.h"
#include "simulator/stations.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

namespace brisko::simulator {

namespace fs = std::filesystem;

namespace {

/// The folder of the outputs. Folders that had to be created are removed again unless keep() was
/// called.
class OutputFolder {
public:
    /// Throws ScanError(NotWritten) when there is no such folder and none can be created.
    explicit OutputFolder(const std::string& path);
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    void keep() { m_created.clear(); }

private:
    std::vector<std::string> m_created;  // outermost first
};

OutputFolder::OutputFolder(const std::string& path) {
    std::error_code error;
    for (fs::path folder = fs::path(path).lexically_normal(); !fs::exists(folder, error);
         folder = folder.parent_path()) {
        if (folder.empty() || error) break;
        m_created.push_back(folder.string());
    }
    std::reverse(m_created.begin(), m_created.end());
    fs::create_directories(path, error);
    if (!error && fs::is_directory(path, error)) return;
    const std::string reason = error ? error.message() : "something else has that name";
    throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                          "cannot be used as a folder: " + reason);
}

OutputFolder::~OutputFolder() {
    // Only empty folders go: another program may have put something into them.
    for (auto folder = m_created.rbegin(); folder != m_created.rend(); ++folder) {
        std::error_code ignored;
        fs::remove(*folder, ignored);
    }
}

/// A file of an older, longer series would pass for a part of the new one.
void requireSeriesEnds(const ScanPlan& plan) {
    if (plan.series == 0) return;
    const std::string next = plan.path(plan.series);
    std::error_code ignored;
    if (!fs::exists(next, ignored)) return;
    throw scan::ScanError(scan::ErrorKind::NotWritten, next,
                          "would be taken for a part of the new series",
                          "remove it or choose another name");
}

Alignment alignmentOf(const Pose& pose) {
    Alignment alignment;
    std::ranges::copy(pose.matrix(), alignment.matrix);
    return alignment;
}

void writeAlignment(const Pose& pose, const WrittenScan& content, const scan::StagedScan& staged,
                    const std::string& path) {
    if (writeAlignmentFile(staged.companion(".alg").c_str(), alignmentOf(pose).matrix,
                           content.box)) {
        return;
    }
    throw scan::ScanError(
        scan::ErrorKind::NotWritten, path,
        std::string("its alignment file cannot be written: ") + std::strerror(errno));
}

/// Reported at once, not after an hour of writing.
void requireSpace(const ScanPlan& plan) {
    std::error_code error;
    const std::uintmax_t available = fs::space(plan.folder, error).available;
    if (error || available >= plan.leastLength()) return;
    throw scan::ScanError(scan::ErrorKind::NotWritten, plan.folder,
                          "the scan needs at least " + std::to_string(plan.leastLength()) +
                              " bytes and the disk has " + std::to_string(available),
                          "free some space or choose another folder");
}

/// All outputs are claimed before the work begins.
std::vector<std::unique_ptr<scan::StagedScan>> stageFiles(const ScanPlan& plan, const Pose& pose) {
    const Alignment alignment = plan.alignment ? alignmentOf(pose) : Alignment();
    std::vector<std::unique_ptr<scan::StagedScan>> staged;
    for (std::uint32_t file = 0; file < plan.files(); ++file) {
        // One private folder for all: a long series would need more descriptors than there are.
        const scan::StagedScan* const first = staged.empty() ? nullptr : staged.front().get();
        staged.push_back(std::make_unique<scan::StagedScan>(plan.path(file), first));
        staged.back()->requireAlignment(alignment.matrix);
    }
    return staged;
}

WrittenScan writeFile(const ScanPlan& plan, const Pose& pose, const Scanner& scanner,
                      std::uint32_t file, const scan::StagedScan& staged,
                      const ReportCells& report) {
    const std::string path = plan.path(file);
    if (plan.format == ScanFormat::CL3Indexed) {
        return writeIndexedCL3(plan, scanner, pose, staged, path, report);
    }
    const WrittenScan content = plan.format == ScanFormat::CLR
                                    ? writeCLR(plan, scanner, file, staged, path, report)
                                    : writeCL3(plan, scanner, staged, path, report);
    if (plan.alignment) writeAlignment(pose, content, staged, path);
    return content;
}

/// The photos that a plan asks for, if any, from their claim to their place.
class PhotoSession {
public:
    PhotoSession(const ScanPlan& plan, const Pose& pose) {
        if (!plan.photos) return;
        m_plan.emplace(*plan.photos, plan.photoDivisor, pose);
        m_output.emplace(*m_plan, plan.folder, plan.scanFolder(), plan.overwrite);
    }

    void write(const Station& station, const scan::ProgressFunction& function) {
        if (m_output) m_output->write(station, function);
    }
    void commit() {
        if (m_output) m_output->commit();
    }
    SimulatedPhotos summary() const {
        if (!m_output) return {};
        const PhotoSize size = m_plan->stored();
        return {m_plan->photos.size(), size.columns, size.rows, m_output->bytes()};
    }

private:
    std::optional<PhotoPlan> m_plan;
    std::optional<PhotoOutput> m_output;
};

Station stationOf(const ScanPlan& plan) {
    Station station = makeStation(plan.scene);
    if (plan.place) {
        station.pose.origin.x = (*plan.place)[0];
        station.pose.origin.y = (*plan.place)[1];
    }
    return station;
}

}  // namespace

Simulation simulate(const ScanPlan& plan, const scan::ProgressFunction& function) {
    const auto begin = std::chrono::steady_clock::now();
    const Station station = stationOf(plan);
    const Scanner scanner(station, plan.grid, plan.settings);
    const std::uint64_t cellsOfFile = plan.grid.cells() * plan.blocks;

    Simulation done;
    done.pose = station.pose.matrix();
    for (std::uint32_t file = 0; file < plan.files(); ++file)
        scan::requireNew(plan.path(file), plan.overwrite);
    OutputFolder folder(plan.scanFolder());
    requireSeriesEnds(plan);
    requireSpace(plan);
    const auto staged = stageFiles(plan, station.pose);
    PhotoSession photos(plan, station.pose);
    {
        scan::TaskProgress progress(function, "simulate", cellsOfFile * plan.files());
        for (std::uint32_t file = 0; file < plan.files(); ++file) {
            const ReportCells report = [&](std::uint64_t cells) {
                progress.advanceTo(cellsOfFile * file + cells);
            };
            done.files.push_back({plan.path(file), writeFile(plan, station.pose, scanner, file,
                                                             *staged[file], report)});
        }
    }
    photos.write(station, function);
    scan::requireGoingOn(function);
    photos.commit();
    folder.keep();
    for (const auto& scan : staged) {
        scan->commit();
    }
    done.photos = photos.summary();
    done.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return done;
}

}  // namespace brisko::simulator
