#include "commands.h"
#include "common/json.h"
#include "common/message.h"

#include <brisko_scan/index.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

using scan::IndexOutcome;
using scan::IndexTask;

constexpr const char* kSchema = "brisko.index/1";
constexpr unsigned kMostJobs = 256;

struct Line {
    std::vector<std::string> inputs;
    unsigned jobs = 1;
    bool force = false;
    bool overwrite = false;
    bool json = false;
};

/// Indexes all inputs; one that fails does not keep the others from being indexed.
class Index {
public:
    Index(const Line& line, ProgressStyle style)
        : m_line(line),
          m_style(style),
          m_tasks(scan::planIndexing(line.inputs, line.force, line.overwrite)),
          m_outcomes(m_tasks.size()) {}

    ExitCode run() {
        for (std::size_t i = 0; i < m_tasks.size(); ++i)
            tellClosed(i);
        bool interrupted = false;
        try {
            runOpen();
        } catch (const ScanError& error) {
            if (error.kind() != ErrorKind::Cancelled) throw;
            interrupted = true;
        }
        if (m_line.json) printJson();
        if (interrupted) throw ScanError(ErrorKind::Cancelled, {}, "cancelled");
        return exitCode();
    }

private:
    void runOpen() {
        ProgressDisplay display(m_style);
        scan::runIndexTasks(
            m_tasks, m_line.jobs, display.function(),
            [this](std::size_t i, const IndexOutcome& outcome) { report(i, outcome); });
    }

    void tellClosed(std::size_t i) {
        const IndexTask& task = m_tasks[i];
        if (task.isOpen()) return;
        IndexOutcome outcome;
        outcome.state =
            task.problem.empty() ? IndexOutcome::State::Skipped : IndexOutcome::State::Failed;
        outcome.kind = task.problemKind;
        outcome.text = task.problem.empty() ? task.skipped : task.problem;
        report(i, outcome);
    }

    void report(std::size_t i, const IndexOutcome& outcome) {
        m_outcomes[i] = outcome;
        m_told.push_back(i);
        const IndexTask& task = m_tasks[i];
        if (outcome.state == IndexOutcome::State::Failed) {
            // A progress bar may stand in the line.
            std::fputs(clearLine(), stderr);
            complain(outcome.text);
        } else if (m_line.json) {
            return;
        } else if (outcome.state == IndexOutcome::State::Skipped) {
            std::cout << task.input << ": passed over: " << outcome.text << "\n";
        } else {
            std::cout << task.output << ": " << countOf(outcome.points, "point") << ", "
                      << outcome.columns << " columns x " << outcome.rows << " rows, "
                      << outcome.bytes << " bytes, checked\n";
        }
    }

    const char* clearLine() const { return showsBar(m_style) ? "\r\033[K" : ""; }

    ExitCode exitCode() const {
        std::size_t failures = 0;
        ExitCode code = ExitCode::Done;
        for (const std::size_t i : m_told) {
            if (m_outcomes[i].state != IndexOutcome::State::Failed) continue;
            if (failures++ == 0) code = exitCodeOf(m_outcomes[i].kind);
        }
        if (failures == 0) return ExitCode::Done;
        return failures == m_tasks.size() ? code : ExitCode::SomeFailed;
    }

    void printJson() const {
        nlohmann::ordered_json inputs = nlohmann::ordered_json::array();
        for (std::size_t i = 0; i < m_tasks.size(); ++i)
            inputs.push_back(inputJson(i));
        printDocument({{"schema", kSchema}, {"inputs", inputs}});
    }

    nlohmann::ordered_json inputJson(std::size_t i) const {
        const bool isTold = std::find(m_told.begin(), m_told.end(), i) != m_told.end();
        const IndexOutcome& outcome = m_outcomes[i];
        nlohmann::ordered_json json = {{"path", m_tasks[i].input}, {"state", "stopped"}};
        if (!isTold) return json;
        switch (outcome.state) {
            case IndexOutcome::State::Indexed:
                json["state"] = "indexed";
                json["output"] = m_tasks[i].output;
                json["points"] = outcome.points;
                json["grid"] = {{"columns", outcome.columns}, {"rows", outcome.rows}};
                json["bytes"] = outcome.bytes;
                return json;
            case IndexOutcome::State::Skipped:
                json["state"] = "skipped";
                break;
            default:
                json["state"] = "failed";
        }
        json["reason"] = outcome.text;
        return json;
    }

    const Line& m_line;
    ProgressStyle m_style;
    std::vector<IndexTask> m_tasks;
    std::vector<IndexOutcome> m_outcomes;
    std::vector<std::size_t> m_told;  // in the order of their outcomes
};

}  // namespace

Command addIndex(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand(
        "index", "Turn raw and plain scans into indexed ones, each beside its input");
    app->footer(
        "  a.clr      becomes a_index.cl3 with its index (.ij) and alignment (.alg)\n"
        "  a_000.clr  and a_001.clr, a_002.clr ... beside it: one scan in several files\n"
        "  a.cl3      with an index: indexed anew; without: cells come from the angles of its\n"
        "             points and its header\n"
        "Nothing else is written. What is indexed already is passed over. Each output is read "
        "back\n"
        "cell by cell and compared with its input before it is put in place.");
    const auto line = std::make_shared<Line>();
    app->add_option("INPUT", line->inputs, "Scans (.clr, .cl3)")->required();
    app->add_option("--jobs", line->jobs, "Index so many inputs at a time")
        ->option_text("N")
        ->check(CLI::Range(1u, kMostJobs))
        ->capture_default_str();
    app->add_flag("--force", line->force, "Also what is indexed already");
    app->add_flag("--overwrite", line->overwrite, "Replace outputs that hold another scan, too");
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return Index(*line, common.progress).run(); }};
}

}  // namespace brisko::tool
