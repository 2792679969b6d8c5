#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "info/report_output.h"
#include "info/report_table.h"

#include <iostream>
#include <memory>
#include <vector>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.info/1";

struct Line {
    std::vector<std::string> files;
    bool count = false;
    bool table = false;
    bool json = false;
};

/// Looks at one input after the other; a bad one does not keep the others from being described.
class Info {
public:
    Info(const Line& line, ProgressStyle progress) : m_line(line), m_progress(progress) {}

    ExitCode run() {
        for (std::size_t i = 0; i < m_line.files.size(); ++i) {
            throwIfInterrupted();
            describe({i + 1, m_line.files.size(), m_line.files[i]});
        }
        if (m_line.json) printDocument({{"schema", kSchema}, {"scans", m_reports}});
        if (m_line.table && !m_line.json) m_table.print(std::cout);
        if (m_failures == 0) return ExitCode::Done;
        return m_failures == m_line.files.size() ? m_code : ExitCode::SomeFailed;
    }

private:
    void describe(const FileOfSeveral& place) {
        const std::string& file = place.file;
        try {
            ScanReport report = scan::describeScan(file);
            if (m_line.count && report.problems.empty()) {
                ProgressDisplay display(m_progress, place);
                count(report, display.function());
            }
            if (!report.problems.empty()) fail(ExitCode::Damaged, report.problems.front());
            print(report);
        } catch (const ScanError& error) {
            if (error.kind() == ErrorKind::Cancelled) throw;
            fail(exitCodeOf(error.kind()), error.what());
            if (m_line.json) m_reports.push_back(failureJson(file, error.what()));
        }
    }

    static void count(ScanReport& report, const scan::ProgressFunction& progress) {
        if (report.scans.size() < 2) {
            report.summary = scan::summarizePoints(report.path, progress);
            return;
        }
        for (std::size_t i = 0; i < report.scans.size(); ++i) {
            report.scans[i].summary =
                scan::summarizePoints(report.path, std::to_string(i + 1), progress);
        }
    }

    void fail(ExitCode code, const std::string& text) {
        complain(text);
        if (m_failures++ == 0) m_code = code;
    }

    void print(const ScanReport& report) {
        if (m_line.json) {
            m_reports.push_back(reportJson(report));
        } else if (m_line.table) {
            m_table.add(report);
        } else {
            std::cout << reportText(report);
        }
    }

    const Line& m_line;
    ProgressStyle m_progress;
    std::size_t m_failures = 0;
    ExitCode m_code = ExitCode::Done;  // of the first failure
    ReportTable m_table;
    nlohmann::ordered_json m_reports = nlohmann::ordered_json::array();
};

}  // namespace

Command addInfo(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app =
        tool.add_subcommand("info", "Describe scans: header, grid, index, alignment, sizes");
    app->footer(
        "Points are not read unless --count asks for it, so this is quick however large the scan\n"
        "is; of text files the lines are counted. A scan that was cut short is recognised all the\n"
        "same. Of a file with several scans each is listed.");
    const auto line = std::make_shared<Line>();
    app->add_option("FILE", line->files, "Scans (" + scan::readableExtensions() + ")")->required();
    app->add_flag(
        "--count", line->count,
        "Read all points: their number, bounds (metres, aligned), intensities, ranges and\n"
        "how near they are to each other");
    app->add_flag("--table", line->table, "One line a scan: for many of them");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return Info(*line, common.progress).run(); }};
}

}  // namespace brisko::tool
