#include "faults/jobs.h"

#include "base/staged_output.h"
#include "faults/faults.h"
#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"
#include "vexo_progress/pcp_progress.h"

#ifdef BRISKO_FAULTS_IN_TOOL
#include <brisko_scan/bands.h>
#include <brisko_scan/merge.h>
#include <brisko_scan/repair.h>
#include <brisko_scan/scan_error.h>
#include "faults/readers.h"
#include "simulator/simulation.h"
#include "support/e57_bytes.h"
#include "tool.h"
#endif

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdlib>
#include <ostream>

namespace brisko::test {

namespace {

using Preparation = std::function<void(const TempFolder&)>;

Preparation rawScans(const RawSpec& spec, std::initializer_list<const char*> names = {"a.clr"}) {
    return [spec, names = std::vector<std::string>(names.begin(), names.end())](
               const TempFolder& folder) {
        RawSpec next = spec;
        for (const std::string& name : names) {
            writeFile(folder / name, rawScan(next));
            ++next.seed;
        }
    };
}

void indexedScan(const TempFolder& folder) {
    writeGridScan(folder / "a.cl3");
}

void scanWithoutIndex(const TempFolder& folder) {
    writeGridScan(folder / "a.cl3");
    std::filesystem::remove(folder / "a.ij");
}

/// The copy of a path that a call takes over is the host's.
std::string givenAway(const std::string& path) {
    const Respite respite;
    return path;
}

bool convertRaw(Arguments& arguments) {
    return ClrToCl3IjIndexed(givenAway(arguments.input), &arguments.tracker);
}

bool indexAnew(Arguments& arguments) {
    return Cl3IjIndexed(givenAway(arguments.input), &arguments.tracker);
}

bool indexByAngles(Arguments& arguments) {
    return indexCL3ByAngles(arguments.input, arguments.output, &arguments.tracker);
}

bool writeAlignment(Arguments& arguments) {
    const double turned[16] = {0, -1, 0, 5, 1, 0, 0, 6, 0, 0, 1, 7, 0, 0, 0, 1};
    return writeAlignmentFile(arguments.output.c_str(), turned, {});
}

bool sortLines(Arguments& arguments) {
    vexo::PcpProgress progress(&arguments.tracker, "sort");
    return QelPcpLib::SortCLR(arguments.input, &progress) == 0;
}

bool mergeWithItself(Arguments& arguments) {
    vexo::PcpProgress progress(&arguments.tracker, "merge");
    return QelPcpLib::CombineMultiCLR(arguments.input, arguments.input, arguments.output,
                                      &progress) == 0;
}

/// Internal calls pass on a lack of memory; the test is their host.
template <bool (*run)(Arguments&)>
bool guarded(Arguments& arguments) {
    try {
        return run(arguments);
    } catch (const HostOutOfMemory&) {
        throw;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

std::vector<Job> libraryJobs() {
    return {
        {"OnePass", rawScans({.model = "RVX2000"}), convertRaw, "a.clr"},
        {"OnePassCompressed", rawScans({.model = "RVX2000", .format = 2}), convertRaw, "a.clr"},
        {"ThroughCl3", rawScans({}), convertRaw, "a.clr"},
        {"Sorted", rawScans({.blocks = 2}), convertRaw, "a.clr", "", "a.clr.Converted.clr"},
        {"Series", rawScans({}, {"a_000.clr", "a_001.clr"}), convertRaw, "a_000.clr", "",
         "a.clr.Converted.clr"},
        {"Reindexing", indexedScan, indexAnew, "a.cl3"},
        {"ByAngles", scanWithoutIndex, indexByAngles, "a.cl3", "a_index.cl3"},
        {"AlignmentFile", indexedScan, writeAlignment, "a.cl3", "b.alg"},
        {"LineSort", rawScans({}), guarded<sortLines>, "a.clr"},
        {"LineSortCompressed", rawScans({.format = 2}), guarded<sortLines>, "a.clr"},
        {"Merge", rawScans({}), guarded<mergeWithItself>, "a.clr", "b.clr"},
        {"MergeCompressed", rawScans({.format = 2}), guarded<mergeWithItself>, "a.clr", "b.clr"},
    };
}

#ifdef BRISKO_FAULTS_IN_TOOL

/// What the tool's commands do, without their command line.
template <class Work>
bool withTool(const Work& work) {
    try {
        work();
        return true;
    } catch (const scan::ScanError&) {
        return false;
    }
}

template <class Options>
Options optionsFor(const Arguments& arguments) {
    Options options;
    options.input = arguments.input;
    options.output = arguments.output;
    options.overwrite = true;
    return options;
}

bool convertWithTool(Arguments& arguments) {
    return withTool([&] { scan::convertScan(optionsFor<scan::ConvertOptions>(arguments)); });
}

bool convertWithPhotos(Arguments& arguments) {
    return withTool([&] {
        auto options = optionsFor<scan::ConvertOptions>(arguments);
        options.input = readersFolder() + "/grid.cl3";
        scan::convertScan(options);
    });
}

bool mergeWithTool(Arguments& arguments) {
    return withTool([&] {
        scan::MergeOptions options;
        options.inputs = {arguments.input, arguments.input};
        options.each = optionsFor<scan::ConvertOptions>(arguments);
        scan::mergeScans(options);
    });
}

/// A cloud that is sorted into cells and thinned out.
bool gridWithTool(Arguments& arguments) {
    return withTool([&] {
        auto options = optionsFor<scan::ConvertOptions>(arguments);
        options.gridStep = 10;
        options.voxel = 0.5;
        scan::convertScan(options);
    });
}

bool colourWithTool(Arguments& arguments) {
    return withTool([&] {
        auto options = optionsFor<scan::ConvertOptions>(arguments);
        options.input = readersFolder() + "/grid.cl3";
        scan::StationPhotos photos;
        scan::colourScan(options, photos);
    });
}

bool joinWithTool(Arguments& arguments) {
    return withTool([&] {
        scan::JoinOptions options;
        options.inputs = {arguments.input};
        options.output = arguments.output;
        options.overwrite = true;
        scan::joinBands(options);
    });
}

bool repairWithTool(Arguments& arguments) {
    return withTool([&] { scan::repairScan(optionsFor<scan::RepairOptions>(arguments)); });
}

bool simulateWithTool(Arguments& arguments) {
    return withTool([&] {
        simulator::ScanPlan plan;
        plan.folder = std::filesystem::path(arguments.output).parent_path().string();
        plan.name = "b";
        plan.scene = "room";
        plan.model = "RVX2000";
        plan.series = 2;
        plan.alignment = plan.overwrite = true;
        plan.grid = {6, 5, 0, 90, 60, 100};
        simulate(plan, {});
    });
}

bool showWithTool(const Arguments& arguments, std::vector<const char*> line) {
    line.insert(line.end(), {arguments.input.c_str(), "-o", arguments.output.c_str(), "--overwrite",
                             "--progress", "none"});
    return tool::runTool(static_cast<int>(line.size()), line.data()) == 0;
}

bool drawWithTool(Arguments& arguments) {
    return showWithTool(arguments, {"brisko", "panorama", "--size", "8x8"});
}

bool viewWithTool(Arguments& arguments) {
    return showWithTool(arguments, {"brisko", "view"});
}

void nothing(const TempFolder&) {
}

void ptxScan(const TempFolder& folder) {
    std::string text = "6\n5\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n";
    for (int i = 0; i < 6 * 5; ++i)
        text += i % 4 == 0 ? "0 0 0 0.5\n" : "1 2 " + std::to_string(i) + " 0.25\n";
    writeFile(folder / "a.ptx", text);
}

void cloud(const TempFolder& folder) {
    writeFile(folder / "a.xyz", std::string("1 2 3\n2 4 6\n-1 2 3\n0 0 0\n"));
}

void e57Scan(const TempFolder& folder) {
    const std::string fields =
        "<cartesianX type=\"Float\"/><cartesianY type=\"Float\"/><cartesianZ type=\"Float\"/>"
        "<rowIndex type=\"Integer\" minimum=\"0\" maximum=\"3\"/>"
        "<columnIndex type=\"Integer\" minimum=\"0\" maximum=\"3\"/>";
    const Bytes place = e57Numbers<double>({1, 2, 3}), cell = e57Bits({0, 3, 1}, 2);
    writeFile(folder / "a.e57", e57File(e57Section({e57Packet({place, place, place, cell, cell})}),
                                        e57Xml(3, fields)));
}

std::vector<Job> toolJobs() {
    // A photo that cannot be read gives no colour, which is a result as well.
    const std::vector<Fault> kInput = {Fault::Allocation, Fault::InputOutput, Fault::TooMany,
                                       Fault::NotAllowed};
    return {
        {"PtxImport", ptxScan, guarded<convertWithTool>, "a.ptx", "a.cl3"},
        {"PtxExport", indexedScan, guarded<convertWithTool>, "a.cl3", "b.ptx"},
        {"ToClr", indexedScan, guarded<convertWithTool>, "a.cl3", "b.clr"},
        {"ToPly", indexedScan, guarded<convertWithTool>, "a.cl3", "b.ply"},
        {"ToE57", indexedScan, guarded<convertWithTool>, "a.cl3", "b.e57"},
        {"FromE57", e57Scan, guarded<convertWithTool>, "a.e57", "b.cl3"},
        {"ScansToE57", indexedScan, guarded<mergeWithTool>, "a.cl3", "b.e57"},
        {"PhotosToE57", nothing, guarded<convertWithPhotos>, "", "b.e57", "", kInput},
        {"ToPcd", indexedScan, guarded<convertWithTool>, "a.cl3", "b.pcd"},
        {"Gridded", cloud, guarded<gridWithTool>, "a.xyz", "b.cl3"},
        {"Colour", nothing, guarded<colourWithTool>, "", "b.cl3", "", kInput},
        {"Join", indexedScan, guarded<joinWithTool>, "a.cl3", "b.cl3"},
        {"RepairCl3", indexedScan, guarded<repairWithTool>, "a.cl3", "b.cl3"},
        {"RepairClr", rawScans({}), guarded<repairWithTool>, "a.clr", "b.clr"},
        {"Simulate", nothing, guarded<simulateWithTool>, "", "b.clr"},
        {"Panorama", indexedScan, drawWithTool, "a.cl3", "b.png", "", {Fault::Allocation}, true},
        {"View", indexedScan, viewWithTool, "a.cl3", "b.html", "", {Fault::Allocation}, true},
    };
}

#else

std::vector<Job> toolJobs() {
    return {};
}

#endif

/// What is in the folder after a run that nothing disturbs.
const Contents& completeContents(const Job& job) {
    static std::map<std::string, Contents> known;
    Contents& contents = known[job.name];
    if (contents.empty()) {
        const TempFolder folder;
        Arguments arguments{folder / job.input, folder / job.output, {}};
        job.prepare(folder);
        EXPECT_TRUE(job.run(arguments)) << job.name;
        contents = contentsOf(folder);
    }
    return contents;
}

bool isIn(const Contents& files, const Contents::value_type& file) {
    const auto same = files.find(file.first);
    return same != files.end() && same->second == file.second;
}

bool isScan(const std::string& name) {
    return name.ends_with(".cl3") || name.ends_with(".clr");
}

bool isIndex(const std::string& name) {
    return name.ends_with(".ij");
}

/// An older file; an alignment is one that readers take.
std::string olderText(const std::string& name) {
    if (!name.ends_with(".alg")) return "an older " + name;
    return "CL3_ALG_0.1\n0 -1 0 7\n1 0 0 8\n0 0 1 9\n0 0 0 1\n2200\n1\n1\n";
}

/// In memory where the system offers that: thousands of scans are written.
const bool inMemory = [] {
    return access("/dev/shm", W_OK) == 0 && setenv("TMPDIR", "/dev/shm", 0) == 0;
}();

}  // namespace

std::ostream& operator<<(std::ostream& out, const Job& job) {
    return out << job.name;
}

const std::vector<Job>& jobs() {
    static const std::vector<Job> all = [] {
        std::vector<Job> some = libraryJobs();
        for (Job& job : toolJobs())
            some.push_back(std::move(job));
        return some;
    }();
    return all;
}

void writeGridScan(const std::string& path) {
    CL3IJWriterGridCodec writer;
    CL3FileHeader header;
    header.SetStopAzimuthAngle(30);
    header.SetStopZenithAngle(20);
    header.SetDeltaAzimuthAngle(1);
    header.SetDeltaZenithAngle(1);
    writer.Open(path.c_str(), &header);
    for (std::uint32_t i = 0; i < 300; ++i)
        writer.WritePoint(10, 0.01 * i - 1.5, 0.5, 100, 1, 2, 3, 255, i / 20, i % 20);
    writer.Close();
}

Scene::Scene(const Job& job, Outputs outputs) : m_job(job), m_complete(completeContents(job)) {
    arguments.input = folder / job.input;
    arguments.output = folder / job.output;
    arguments.tracker.addMonitor(&monitor);
    job.prepare(folder);
    m_inputs = contentsOf(folder);
    if (outputs == Outputs::Old) {
        for (const auto& [name, bytes] : m_complete) {
            if (!m_inputs.contains(name)) writeFile(folder / name, olderText(name));
        }
    }
    m_before = contentsOf(folder);
}

Contents Scene::contents(bool mayBeStopped) const {
    Contents found;
    for (const std::string& name : folder.names()) {
        if (!name.starts_with(".brisko-")) {
            found[name] = readFile(folder / name);
        } else {
            EXPECT_TRUE(mayBeStopped) << name;
        }
    }
    return found;
}

/// Neither an index nor an alignment ever stands beside a scan that it does not describe, unless the
/// alignment is a mark that no reader takes for one.
void Scene::expectOwnCompanions(const std::string& scan, const Contents& found,
                                bool mayBeStopped) const {
    const auto content = found.find(scan);
    if (content == found.end()) return;
    const bool isComplete = isIn(m_complete, *content);
    const std::string stem = scan.substr(0, scan.size() - 4);
    const auto index = found.find(stem + ".ij");
    if (index != found.end()) {
        EXPECT_EQ(isIn(m_complete, *index), isComplete) << index->first;
    }
    const std::string name = stem + ".alg";
    double matrix[16];
    const bool isMarked =
        found.contains(name) && !readAlignmentFile((folder / name).c_str(), matrix);
    EXPECT_EQ(isMarked, found.contains(name) && isReplacementMark(folder / name)) << name;
    EXPECT_TRUE(!isMarked || mayBeStopped) << name;
    if (isMarked || !m_complete.contains(name) || m_inputs.contains(name)) return;
    const Contents& whole = isComplete ? m_complete : m_before;
    EXPECT_EQ(found.contains(name), whole.contains(name)) << name;
    EXPECT_TRUE(!found.contains(name) || isIn(whole, *found.find(name))) << name;
}

void Scene::expectWholeOrNothing(bool mayBeStopped) const {
    const Respite respite;
    const Contents found = contents(mayBeStopped);
    for (const auto& file : found) {
        const bool mayBeMark = mayBeStopped && file.first.ends_with(".alg");
        EXPECT_TRUE(isIn(m_before, file) || isIn(m_complete, file) || mayBeMark) << file.first;
        if (isScan(file.first)) expectOwnCompanions(file.first, found, mayBeStopped);
    }
    for (const auto& file : m_before) {
        EXPECT_TRUE(found.contains(file.first) || isIndex(file.first)) << file.first;
        EXPECT_TRUE(!m_inputs.contains(file.first) || isIn(found, file)) << file.first;
    }
    EXPECT_EQ(monitor.starts, monitor.finishes);
}

void Scene::expectDone(bool mayBeStopped) const {
    expectWholeOrNothing(mayBeStopped);
    const Contents found = contents(mayBeStopped);
    for (const auto& file : m_complete)
        EXPECT_TRUE(isIn(found, file) || file.first == m_job.optional) << file.first;
}

}  // namespace brisko::test
