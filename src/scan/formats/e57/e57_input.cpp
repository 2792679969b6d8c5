#include "scan/formats/e57/e57_input.h"

#include "scan/formats/e57/scan_survey.h"
#include "scan/formats/scan_choice.h"

#include <brisko_scan/text.h>

#include <algorithm>

namespace brisko::scan {
namespace {

std::vector<std::string> namesOf(const e57::File& file) {
    std::vector<std::string> names;
    for (const e57::Scan& scan : file.scans())
        names.push_back(scan.name);
    return names;
}

std::uint32_t countOf(const std::optional<e57::IndexBounds>& bounds) {
    if (!bounds) return 0;
    const auto span =
        static_cast<std::uint64_t>(bounds->maximum) - static_cast<std::uint64_t>(bounds->minimum);
    return span < 0x7fffffff ? static_cast<std::uint32_t>(span + 1) : 0;
}

ScanEntry entryOf(const e57::Scan& scan) {
    ScanEntry entry;
    entry.name = scan.name;
    entry.records = scan.records;
    entry.columns = scan.hasGrid() ? countOf(scan.columns) : 0;
    entry.rows = scan.hasGrid() ? countOf(scan.rows) : 0;
    entry.hasGrid = entry.columns > 0 && entry.rows > 0;
    entry.alignment = scan.pose;
    entry.hasColour = scan.hasColour();
    return entry;
}

std::vector<ScanEntry> entriesOf(const e57::File& file) {
    std::vector<ScanEntry> entries;
    for (const e57::Scan& scan : file.scans())
        entries.push_back(entryOf(scan));
    return entries;
}

std::string fieldNames(const e57::Scan& scan) {
    std::string names;
    for (const e57::Field& field : scan.fields)
        names += (names.empty() ? "" : ", ") + field.name;
    return names;
}

}  // namespace

E57Input::E57Input(const std::string& path, const ReadOptions& options)
    : m_file(path), m_scan(m_file.scans()[chooseScan(path, namesOf(m_file), options.scan)]) {
    m_info.path = path;
    takeInfo();
    takeGrid(options);
    start();
}

void E57Input::takeInfo() {
    m_info.name = m_scan.name;
    m_info.guid = m_scan.guid;
    m_info.format = formatOf(m_info.path);
    m_info.alignment = m_scan.pose;
    m_info.header = m_scan.header;
    m_info.storesColour = m_scan.hasColour();
    m_info.records = m_scan.records;
}

void E57Input::takeGrid(const ReadOptions& options) {
    m_rule = e57::ruleOf(e57::surveyScan(m_file.pages(), m_scan));
    if (options.intensities) m_rule.intensities = options.intensities;
    if (!m_rule.hasGrid) return;
    m_info.hasGrid = true;
    m_info.columns = m_rule.columns;
    m_info.rows = m_rule.rows;
    m_info.bandColumns = m_rule.bandColumns > 0 ? m_rule.bandColumns : m_info.columns;
}

std::string E57Input::remark() const {
    if (m_points->notFinite() == 0) return {};
    return countOf(m_points->notFinite(), "record") + " without finite numbers passed over";
}

std::size_t E57Input::pictures() const {
    const auto shows = [this](const e57::Image& image) {
        return image.scanGuid.empty() || image.scanGuid == m_scan.guid;
    };
    const std::vector<e57::Image>& images = m_file.images();
    return static_cast<std::size_t>(std::count_if(images.begin(), images.end(), shows));
}

ScanReport describeE57(const std::string& path) {
    e57::File file(path);
    ScanReport report;
    report.path = path;
    report.format = formatOf(path);
    report.bytes = file.pages().fileBytes();
    report.scans = entriesOf(file);
    if (report.scans.size() == 1) {
        const ScanEntry& only = report.scans.front();
        report.hasGrid = only.hasGrid;
        report.columns = only.columns;
        report.rows = only.rows;
        report.records = only.records;
        report.alignment = only.alignment;
        report.hasColour = only.hasColour;
        report.details.emplace_back("fields", fieldNames(file.scans().front()));
    }
    if (!file.library().empty()) report.details.emplace_back("written by", file.library());
    for (const e57::Image& image : file.images()) {
        report.details.emplace_back("image", image.representation + ", " +
                                                 (image.isPng ? "PNG, " : "JPEG, ") +
                                                 countOf(image.bytes, "byte"));
    }
    return report;
}

std::vector<ScanEntry> listE57(const std::string& path) {
    return entriesOf(e57::File(path));
}

}  // namespace brisko::scan
