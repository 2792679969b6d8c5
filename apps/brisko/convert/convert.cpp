#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "convert/convert_options.h"

#include <brisko_scan/convert_many.h>
#include <brisko_scan/formats.h>
#include <brisko_scan/photos.h>

#include <cstdio>
#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kManySchema = "brisko.conversions/1";
constexpr unsigned kMostJobs = 256;
constexpr const char* kSchema = "brisko.convert/1";

std::string details() {
    std::string text = "The extension of OUTPUT chooses the format:\n";
    for (const scan::Format& format : scan::formats()) {
        if (format.writes)
            text += "  " + std::string(format.extension) + "  " + format.about + "\n";
    }
    return text +
           "The alignment goes along as a matrix (.alg file, PTX header, PCD viewpoint) unless\n"
           "--apply-alignment moves the points. .ply and .las have no place for a matrix, their "
           "points\n"
           "are always aligned.\n"
           "OUTPUT appears when it is complete and was checked.";
}

/// Points out that photos were not used where the points have no colours of their own.
void noteAboutPhotos(const std::string& scan, const scan::ConvertResult& result) {
    if (result.coloured > 0) return;
    const std::string hint = scan::hintAtPhotos(scan);
    if (!hint.empty()) note(scan + ": converted without colours; " + hint);
}

struct Line {
    ConvertLine conversion;
    std::vector<std::string> files;
    std::string folder;  // of the outputs; empty: one input, one output
    std::string format;
    unsigned jobs = 1;
};

/// Converts several inputs; one that fails does not keep the others from being converted.
class Conversions {
public:
    Conversions(const CLI::App& app, const Line& line, ProgressStyle style)
        : m_line(line),
          m_style(style),
          m_display(style),
          m_options(takeConvertOptions(app, line.conversion, m_display)),
          m_tasks(scan::planConversions(line.files, line.folder, line.format, m_options.scan)) {}

    ExitCode run() {
        scan::convertAll(m_tasks, m_options, m_line.jobs,
                         [this](std::size_t i, const scan::ConvertOutcome& outcome) {
                             report(m_tasks[i], outcome);
                         });
        if (m_line.conversion.json) {
            printDocument({{"schema", kManySchema}, {"outputs", m_results}});
        } else {
            std::cout << m_done << " done, " << m_failed << " failed\n";
        }
        if (m_failed == 0) return ExitCode::Done;
        return m_done == 0 ? m_code : ExitCode::SomeFailed;
    }

private:
    void report(const scan::ConvertTask& task, const scan::ConvertOutcome& outcome) {
        scan::ConvertOptions options = m_options;
        options.input = task.input;
        options.output = task.output;
        if (outcome.error) {
            // A progress bar may stand in the line.
            if (showsBar(m_style)) std::fputs("\r\033[K", stderr);
            complain(outcome.error->what());
            if (m_failed++ == 0) m_code = exitCodeOf(outcome.error->kind());
            m_results.push_back({{"input", task.input}, {"error", outcome.error->what()}});
            return;
        }
        ++m_done;
        m_results.push_back(resultJson(kSchema, options, outcome.result));
        if (!m_line.conversion.json) std::cout << resultText(options, outcome.result) << "\n";
    }

    const Line& m_line;
    ProgressStyle m_style;
    ProgressDisplay m_display;
    scan::ConvertOptions m_options;
    std::vector<scan::ConvertTask> m_tasks;
    std::size_t m_done = 0, m_failed = 0;
    ExitCode m_code = ExitCode::Done;  // of the first failure
    nlohmann::ordered_json m_results = nlohmann::ordered_json::array();
};

ExitCode convertOne(const CLI::App& app, const Line& many, ProgressStyle style) {
    if (many.files.size() != 2 || !many.format.empty()) {
        throw ScanError(ErrorKind::Request, {},
                        "one INPUT and its OUTPUT are expected, or inputs with -o FOLDER and --to "
                        "FORMAT");
    }
    ConvertLine line = many.conversion;
    line.options.input = many.files[0];
    line.options.output = many.files[1];
    ProgressDisplay display(style);
    const scan::ConvertOptions options = takeConvertOptions(app, line, display);
    const scan::ConvertResult result = scan::convertScan(options);
    if (line.json) {
        printDocument(resultJson(kSchema, options, result));
    } else {
        std::cout << resultText(options, result) << "\n";
    }
    noteAboutPhotos(options.input, result);
    return ExitCode::Done;
}

}  // namespace

Command addConvert(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app =
        tool.add_subcommand("convert", "Convert scans, or parts of them, to other formats");
    app->footer(details());
    const auto line = std::make_shared<Line>();
    app->add_option("FILE", line->files,
                    "INPUT OUTPUT: a scan to read (" + scan::readableExtensions() +
                        ") and one to write (" + scan::writableExtensions() +
                        "); with -o: any number of scans, folders and patterns to read")
        ->required();
    app->add_option("-o,--output", line->folder,
                    "Write a scan for each input into this folder, under the input's name")
        ->option_text("DIR");
    CLI::Option* const format = app->add_option(
        "--to", line->format, "With -o: the format of the outputs, by its extension");
    format->option_text("FORMAT");
    app->add_option("--jobs", line->jobs, "With -o: convert so many inputs at a time")
        ->option_text("N")
        ->check(CLI::Range(1u, kMostJobs))
        ->capture_default_str();
    addConvertOptions(*app, line->conversion);
    app->get_option("-o")->needs("--to");
    app->add_flag("--json", line->conversion.json,
                  "Print JSON, schema " + std::string(kSchema) + ", with -o " + kManySchema);
    return {app, [app, line, &common] {
                return line->folder.empty() ? convertOne(*app, *line, common.progress)
                                            : Conversions(*app, *line, common.progress).run();
            }};
}

}  // namespace brisko::tool
