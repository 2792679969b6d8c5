#include "scan/jobs/merging.h"

#include "scan/files/named_output.h"
#include "scan/formats/format_table.h"
#include "scan/jobs/header_angles.h"
#include "scan/jobs/input_files.h"
#include "scan/jobs/prepared_input.h"
#include "scan/jobs/scan_transfer.h"
#include "scan/jobs/shared_progress.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <deque>
#include <filesystem>
#include <limits>
#include <set>

namespace brisko::scan {
namespace {

/// A scan on its way into the output.
struct Part {
    ConvertOptions options;
    std::string name;
    bool hasColour = false;
    bool hasGrid = false;
    std::uint32_t columns = 0, rows = 0;     // of its part of the grid
    double weight = 0;                       // of the work
    std::unique_ptr<ScanTransfer> transfer;  // null while its files are closed
};

/// "a", "a 2", "a 3".
std::string distinctName(const std::string& name, std::set<std::string>& taken) {
    std::string distinct = name;
    for (std::size_t number = 2; !taken.insert(distinct).second; ++number)
        distinct = name + " " + std::to_string(number);
    return distinct;
}

class Merge {
public:
    Merge(const MergeOptions& options, const char* task)
        : m_options(options),
          m_driver(writerOf(options.each.output)),
          m_task(task),
          m_isCloud(options.align || !m_driver.holdsScans) {
        if (!m_isCloud || !m_driver.traits.needsGrid) return;
        throw ScanError(ErrorKind::Request, options.each.output,
                        std::string(m_driver.traits.extension) +
                            " needs a grid, which a cloud of several scans has not",
                        ".e57 and .ptx hold several scans, .ply, .las and .cl3 a cloud");
    }

    MergeResult run(const std::vector<MergeSource>& sources) {
        requireFilters(m_options.each);
        requireRoom(sources.size());
        for (const MergeSource& source : sources)
            prepare(source);
        StagedScan staged(output());
        staged.requireAlignment(toAlignment(kIdentityMatrix).matrix);
        write(staged.path());
        staged.commit(m_options.each.progress);
        m_result.isCloud = m_isCloud;
        m_result.bytes = bytesOf(output());
        return std::move(m_result);
    }

private:
    const std::string& output() const { return m_options.each.output; }

    void requireRoom(std::size_t scans) const {
        constexpr std::size_t kMost = std::numeric_limits<std::uint16_t>::max();
        if (scans <= kMost) return;
        throw ScanError(ErrorKind::Request, output(),
                        countOf(scans, "scan") + " are more than the " + std::to_string(kMost) +
                            " that one file is written of");
    }

    /// Looks at an input before anything is written, so that one that does not fit is found at once.
    void prepare(const MergeSource& source) {
        constexpr std::size_t kMostOpen = 16;  // files of inputs; the others are opened again
        requireDistinct(source.input, output());
        Part& part = m_parts.emplace_back();
        part.options = m_options.each;
        part.options.input = source.input;
        part.options.scan = source.scan;
        part.options.plain = false;
        part.options.applyAlignment |= m_isCloud;
        open(part);
        part.transfer->requireSize();
        const ScanInfo& info = part.transfer->info();
        const std::string stem = std::filesystem::path(source.input).stem().string();
        part.name = distinctName(info.name.empty() ? stem : info.name, m_names);
        const OutputTarget target = part.transfer->makeTarget({}, {});
        part.hasColour = target.withColour;
        part.hasGrid = info.hasGrid;
        part.columns = target.columns;
        part.rows = target.rows;
        part.weight = static_cast<double>(source.bytes) + 1;
        if (m_parts.size() > kMostOpen) part.transfer.reset();
    }

    void open(Part& part) const {
        if (part.transfer) return;
        const ConvertOptions& options = part.options;
        std::unique_ptr<ScanInput> input = openScan(
            options.input,
            {.scan = options.scan, .intensities = options.intensities, .columns = options.columns});
        part.transfer =
            std::make_unique<ScanTransfer>(options, prepareInput(options, std::move(input)), m_task,
                                           m_isCloud ? Destination::Cloud : Destination::Scan);
    }

    void write(const std::string& path) {
        std::vector<double> weights;
        for (const Part& part : m_parts)
            weights.push_back(part.weight);
        SharedProgress shared(m_options.each.progress, m_task, weights, "bytes");
        std::unique_ptr<ScanOutput> file;
        for (std::size_t i = 0; i < m_parts.size(); ++i) {
            Part& part = m_parts[i];
            part.options.progress = [&](const ProgressUpdate& update) {
                const auto total = static_cast<double>(std::max<std::uint64_t>(update.total, 1));
                shared.reach(i, std::min(1.0, static_cast<double>(update.done) / total), part.name);
                return true;
            };
            open(part);
            const OutputTarget target = targetOf(part, path, i + 1);
            if (file) {
                file->nextScan(target);
            } else {
                file = m_driver.create(target);
            }
            take(part, target, *file);
            part.transfer.reset();
        }
        file->finish();
        if (!file->remark().empty()) warn(output() + ": " + file->remark());
    }

    void warn(const std::string& text) const {
        if (m_options.each.warning) m_options.each.warning(text);
    }

    OutputTarget targetOf(Part& part, const std::string& path, std::size_t number) const {
        OutputTarget target = part.transfer->makeTarget(path, part.hasColour);
        target.progress = m_options.each.progress;
        target.name = part.name;
        target.photos = part.transfer->photos();
        if (!m_isCloud) return target;
        target.name = std::filesystem::path(output()).stem().string();
        target.guid.clear();
        target.header = outputHeader({}, {});
        if (m_parts.size() > 1) target.station = static_cast<std::uint16_t>(number);
        bool haveGrids = true;
        for (const Part& p : m_parts) {
            haveGrids &= p.hasGrid;
            target.withColour |= p.hasColour;
            target.columns = std::max(target.columns, p.columns);
            target.rows = std::max(target.rows, p.rows);
        }
        if (!haveGrids) target.columns = target.rows = 0;
        return target;
    }

    /// Brings the points of a scan into the output, and keeps what came of it.
    void take(Part& part, const OutputTarget& target, ScanOutput& file) {
        const TransferCount count = part.transfer->run(file);
        part.transfer->warnAboutFormat();
        part.transfer->warnAboutPoints(count, {});
        if (count.points == 0) warn(part.options.input + ": \"" + part.name + "\" holds no point");
        m_result.points += count.points;
        m_result.coloured += count.coloured;
        MergedScan scan{part.options.input, part.options.scan, part.name,   count.points,
                        count.coloured,     target.columns,    target.rows, count.leftOut};
        if (m_isCloud) scan.columns = scan.rows = 0;
        m_result.scans.push_back(std::move(scan));
    }

    const MergeOptions& m_options;
    const FormatDriver& m_driver;
    const char* m_task;
    bool m_isCloud;
    std::deque<Part> m_parts;  // transfers refer to their options
    std::set<std::string> m_names;
    MergeResult m_result;
};

}  // namespace

std::vector<MergeSource> sourcesIn(const std::string& path) {
    const std::vector<std::string> choices = scanChoicesOf(path);
    if (choices.empty()) throw ScanError(ErrorKind::Request, path, "holds no scan");
    std::vector<MergeSource> sources;
    sources.reserve(choices.size());
    for (const std::string& scan : choices)
        sources.push_back({path, scan, bytesOf(path) / choices.size()});
    return sources;
}

MergeResult mergeSources(const std::vector<MergeSource>& sources, const MergeOptions& options,
                         const char* task) {
    return Merge(options, task).run(sources);
}

MergeResult mergeScans(const MergeOptions& options) {
    writerOf(options.each.output);
    requireNew(options.each.output, options.each.overwrite);
    std::vector<MergeSource> sources;
    for (const std::string& input : options.inputs) {
        for (const std::string& file : filesOf(input)) {
            const std::vector<MergeSource> found = sourcesIn(file);
            sources.insert(sources.end(), found.begin(), found.end());
        }
    }
    if (sources.empty()) {
        throw ScanError(ErrorKind::Request, options.inputs.empty() ? "" : options.inputs.front(),
                        "there is no scan in it");
    }
    return mergeSources(sources, options, "merge");
}

}  // namespace brisko::scan
