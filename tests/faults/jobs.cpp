#include "faults/jobs.h"

#include "faults/faults.h"
#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"
#include "vexo_progress/pcp_progress.h"

#ifdef BRISKO_FAULTS_IN_TOOL
#include "common/failure.h"
#include "convert/conversion.h"
#endif

#include <gtest/gtest.h>

#include <unistd.h>
#include <cctype>
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

bool convertWithTool(Arguments& arguments) {
    try {
        tool::ConvertOptions options;
        options.input = arguments.input;
        options.output = arguments.output;
        options.progress = tool::ProgressStyle::None;
        tool::convertScan(options);
        return true;
    } catch (const tool::Failure&) {
        return false;
    }
}

void ptxScan(const TempFolder& folder) {
    std::string text = "6\n5\n0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n";
    for (int i = 0; i < 6 * 5; ++i)
        text += i % 4 == 0 ? "0 0 0 0.5\n" : "1 2 " + std::to_string(i) + " 0.25\n";
    writeFile(folder / "a.ptx", text);
}

std::vector<Job> toolJobs() {
    return {
        {"PtxImport", ptxScan, guarded<convertWithTool>, "a.ptx", "a.cl3"},
        {"PtxExport", indexedScan, guarded<convertWithTool>, "a.cl3", "b.ptx"},
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

/// "a.clr.PROCESS-NUMBER.tmp" of the library, ".brisko-NUMBER.cl3" of the tool; their companions.
bool isTemporaryName(const std::string& name) {
    const std::size_t dash = name.rfind('-');
    const bool hasNumber = dash < name.size() - 1 && std::isdigit(name[dash + 1]);
    return hasNumber && (name.starts_with(".brisko-") || std::isdigit(name[dash - 1]));
}

bool isIn(const Contents& files, const Contents::value_type& file) {
    const auto same = files.find(file.first);
    return same != files.end() && same->second == file.second;
}

bool isIndex(const std::string& name) {
    return name.ends_with(".ij");
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
            if (!m_inputs.contains(name)) writeFile(folder / name, "an older " + name);
        }
    }
    m_before = contentsOf(folder);
}

Contents Scene::contents(bool withTemporaries) const {
    Contents found = contentsOf(folder);
    if (!withTemporaries) {
        std::erase_if(found, [](const auto& file) { return isTemporaryName(file.first); });
    }
    return found;
}

void Scene::expectWholeOrNothing(bool mayKeepTemporaries) const {
    const Contents found = contents(!mayKeepTemporaries);
    for (const auto& file : found) {
        EXPECT_TRUE(isIn(m_before, file) || isIn(m_complete, file)) << file.first;
        if (!isIndex(file.first)) continue;
        // An index never stands beside a scan that it does not describe.
        const std::string scan = file.first.substr(0, file.first.size() - 3) + ".cl3";
        ASSERT_TRUE(found.contains(scan)) << file.first;
        EXPECT_EQ(isIn(m_complete, file), isIn(m_complete, *found.find(scan))) << file.first;
    }
    for (const auto& file : m_before) {
        EXPECT_TRUE(found.contains(file.first) || isIndex(file.first)) << file.first;
        EXPECT_TRUE(!m_inputs.contains(file.first) || isIn(found, file)) << file.first;
    }
    EXPECT_EQ(monitor.starts, monitor.finishes);
}

void Scene::expectDone(bool mayKeepTemporaries) const {
    expectWholeOrNothing(mayKeepTemporaries);
    const Contents found = contents(!mayKeepTemporaries);
    for (const auto& file : m_complete)
        EXPECT_TRUE(isIn(found, file) || file.first == m_job.optional) << file.first;
}

}  // namespace brisko::test
