#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/piped_scans.h"
#include "convert/convert_options.h"

#include <brisko_scan/convert_many.h>
#include <brisko_scan/formats.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/scan_reader.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>
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
    std::string from;  // the format of standard input
    unsigned jobs = 1;
};

/// Stands for standard input, and for standard output.
constexpr const char* kPipe = "-";

void requireNoFrom(const Line& line, bool isWrong) {
    if (!isWrong || line.from.empty()) return;
    throw ScanError(ErrorKind::Request, {}, "--from: only standard input, '-', takes a format");
}

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

void printResult(std::ostream& out, bool asJson, const scan::ConvertOptions& options,
                 const scan::ConvertResult& result) {
    if (asJson) {
        out << jsonText(resultJson(kSchema, options, result), 2) << "\n";
    } else {
        out << resultText(options, result) << "\n";
    }
}

/// The extension of a format that an option names as "e57" or ".E57".
std::string extensionOf(const std::string& option, const std::string& format,
                        bool scan::Format::*isWanted, const std::string& known) {
    std::string extension = format.starts_with('.') ? format : "." + format;
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    const scan::Format* const found = scan::formatOf("scan" + extension);
    if (found && found->*isWanted) return extension;
    throw ScanError(ErrorKind::Request, {},
                    format.empty() ? "'-' has no extension: " + option + " FORMAT is expected"
                                   : option + " " + format + ": one of " + known + " is expected");
}

bool isIdentity(const Alignment& alignment) {
    const Alignment none;
    return std::equal(std::begin(alignment.matrix), std::end(alignment.matrix),
                      std::begin(none.matrix));
}

/// Throws where the output would be several files.
void requireOneFile(const scan::ConvertOptions& options) {
    const std::string extension = scan::formatOf(options.output)->extension;
    if (!scan::formatOf(options.output)->isNative) return;
    if (extension == ".cl3" && !options.plain) {
        throw ScanError(ErrorKind::Request, {}, "a .cl3 scan and its index are two files",
                        "give --plain, or name an output");
    }
    if (options.applyAlignment) return;
    const Alignment alignment =
        options.alignment
            ? *options.alignment
            : scan::ScanReader::open(options.input,
                                     {.scan = options.scan, .intensities = options.intensities})
                  .info()
                  .alignment;
    if (isIdentity(alignment)) return;
    throw ScanError(ErrorKind::Request, {},
                    "a " + extension + " scan and its alignment are two files",
                    "give --apply-alignment, or name an output");
}

/// Standard input, standard output, or both. Results go to standard error where a scan takes their
/// place.
ExitCode convertPiped(const Line& line, scan::ConvertOptions options, const CommonOptions& common) {
    const bool fromPipe = options.input == kPipe, toPipe = options.output == kPipe;
    const std::string from = fromPipe ? extensionOf("--from", line.from, &scan::Format::reads,
                                                    scan::readableExtensions())
                                      : "";
    const std::string to =
        toPipe ? extensionOf("--to", line.format, &scan::Format::writes, scan::writableExtensions())
               : "";
    if (!toPipe) scan::requireNew(options.output, options.overwrite);
    PipedScans pipes(toPipe ? placeForTemporaries() : options.output);
    options.warning = [&pipes](const std::string& text) { warn(pipes.shown(text)); };
    try {
        if (fromPipe) options.input = pipes.takeInput(from);
        if (toPipe) {
            options.output = pipes.outputPath(to);
            requireOneFile(options);
        }
        const scan::ConvertResult result = scan::convertScan(options);
        const ExitCode code = toPipe ? pipes.sendOutput(*common.results) : ExitCode::Done;
        if (code != ExitCode::Done || !std::cout.good()) return code;
        options.input = pipes.shown(options.input);
        options.output = pipes.shown(options.output);
        printResult(toPipe ? std::cerr : std::cout, line.conversion.json, options, result);
        return code;
    } catch (const ScanError& error) {
        throw pipes.shown(error);
    }
}

ExitCode convertOne(const CLI::App& app, const Line& many, const CommonOptions& common) {
    const bool isPair = many.files.size() == 2;
    const bool fromPipe = isPair && many.files[0] == kPipe;
    const bool toPipe = isPair && many.files[1] == kPipe;
    if (!isPair || (!many.format.empty() && !toPipe)) {
        throw ScanError(ErrorKind::Request, {},
                        "one INPUT and its OUTPUT are expected, or inputs with -o FOLDER and --to "
                        "FORMAT");
    }
    requireNoFrom(many, !fromPipe);
    ConvertLine line = many.conversion;
    line.options.input = many.files[0];
    line.options.output = many.files[1];
    ProgressDisplay display(common.progress);
    const scan::ConvertOptions options = takeConvertOptions(app, line, display);
    if (fromPipe || toPipe) return convertPiped(many, options, common);
    const scan::ConvertResult result = scan::convertScan(options);
    printResult(std::cout, line.json, options, result);
    noteAboutPhotos(options.input, result);
    return ExitCode::Done;
}

ExitCode convertMany(const CLI::App& app, const Line& line, const CommonOptions& common) {
    requireNoFrom(line, true);
    return Conversions(app, line, common.progress).run();
}

}  // namespace

Command addConvert(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app =
        tool.add_subcommand("convert", "Convert scans, or parts of them, to other formats");
    app->footer(details());
    const auto line = std::make_shared<Line>();
    app->add_option(
           "FILE", line->files,
           "INPUT OUTPUT: a scan to read (" + scan::readableExtensions() + ") and one to write (" +
               scan::writableExtensions() +
               "), '-' for standard input or output; with -o: any number of scans, folders "
               "and patterns to read")
        ->required();
    app->add_option("-o,--output", line->folder,
                    "Write a scan for each input into this folder, under the input's name")
        ->option_text("DIR");
    CLI::Option* const format =
        app->add_option("--to", line->format,
                        "With -o, or where OUTPUT is '-': the format to write, by its extension");
    format->option_text("FORMAT");
    app->add_option(
           "--from", line->from,
           "Where INPUT is '-': its format, by its extension. It waits beside OUTPUT, or in "
           "the folder TMPDIR")
        ->option_text("FORMAT");
    app->add_option("--jobs", line->jobs, "With -o: convert so many inputs at a time")
        ->option_text("N")
        ->check(CLI::Range(1u, kMostJobs))
        ->capture_default_str();
    addConvertOptions(*app, line->conversion);
    app->get_option("-o")->needs("--to");
    app->add_flag("--json", line->conversion.json,
                  "Print JSON, schema " + std::string(kSchema) + ", with -o " + kManySchema);
    return {app, [app, line, &common] {
                return line->folder.empty() ? convertOne(*app, *line, common)
                                            : convertMany(*app, *line, common);
            }};
}

}  // namespace brisko::tool
