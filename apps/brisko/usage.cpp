#include "usage.h"

#include "common/message.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string_view>
#include <vector>

namespace brisko::tool {
namespace {

constexpr std::size_t kWidth = 100;  // characters a line

/// What the codes mean for a command; null where a command never ends with one.
struct ExitCodes {
    std::string_view command;
    const char* done;
    const char* someFailed;
    const char* damaged;
    const char* notWritten;
};
constexpr const char* kDone = "done";
constexpr const char* kUnreadable = "an input is damaged or cannot be read";
constexpr const char* kNotWritten = "an output could not be written";
constexpr ExitCodes kExitCodes[] = {
    {"info", "every scan was described", "some of the scans cannot be read",
     "no scan can be read, or the only one cannot", nullptr},
    {"simulate", kDone, nullptr, nullptr, kNotWritten},
    {"convert", kDone, "some of the inputs failed", kUnreadable, kNotWritten},
    {"merge", kDone, nullptr, kUnreadable, kNotWritten},
    {"colour", kDone, nullptr, "the scan or a file of its photos is damaged or cannot be read",
     kNotWritten},
    {"panorama", kDone, nullptr, kUnreadable, kNotWritten},
    {"cell", "the cell was read; it may be empty", nullptr, kUnreadable, nullptr},
    {"index", kDone, "some of the inputs failed", "all inputs failed, the first as damaged",
     "all inputs failed, the first as its output could not be written"},
    {"split", "the jobs were listed", nullptr, kUnreadable, nullptr},
    {"join", kDone, nullptr, kUnreadable, kNotWritten},
    {"check", "all scans are sound", nullptr, "a scan is damaged or cannot be read", nullptr},
    {"repair", kDone, nullptr, "nothing can be salvaged, or the input cannot be read", kNotWritten},
    {"images", kDone, nullptr, kUnreadable, kNotWritten},
    {"view", kDone, nullptr, kUnreadable, kNotWritten},
    {"help", kDone, nullptr, nullptr, nullptr},
};
constexpr ExitCodes kAnyCommand = {"", kDone, "some inputs failed", kUnreadable, kNotWritten};

std::string exitCodeText(const ExitCodes& codes) {
    const std::pair<ExitCode, const char*> lines[] = {
        {ExitCode::Done, codes.done},
        {ExitCode::SomeFailed, codes.someFailed},
        {ExitCode::Usage, "the command line makes no sense"},
        {ExitCode::Damaged, codes.damaged},
        {ExitCode::NotWritten, codes.notWritten},
        {ExitCode::Interrupted, "stopped by Ctrl-C"},
    };
    std::string text = "Exit codes:";
    for (const auto& [code, meaning] : lines) {
        if (!meaning) continue;
        const std::string number = std::to_string(static_cast<int>(code));
        text += "\n  " + number + std::string(5 - number.size(), ' ') + meaning;
    }
    return text;
}

/// The text with lines broken at blanks, where they are too long.
std::string wrapped(const std::string& text, std::size_t width) {
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        while (line.size() > width) {
            const std::size_t blank = line.rfind(' ', width);
            if (blank == std::string::npos || blank == 0) break;
            out += line.substr(0, blank) + "\n";
            line.erase(0, blank + 1);
        }
        out += line + "\n";
    }
    if (!out.empty()) out.pop_back();
    return out;
}

class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_desc(const CLI::Option* option) const override {
        return wrapped(Formatter::make_option_desc(option), kWidth - get_column_width());
    }
};

std::vector<std::string> optionsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames())
            names.push_back("--" + name);
        for (const std::string& name : option->get_snames())
            names.push_back("-" + name);
    }
    return names;
}

/// Names for people; the library's own ones would hide them.
std::vector<std::string> commandsOf(const CLI::App& tool) {
    std::vector<std::string> names;
    for (const CLI::App* command : tool.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

std::string suggestion(const std::string& name) {
    return name.empty() ? "" : "; did you mean '" + name + "'?";
}

/// Letters wrong, missing, too many or swapped.
std::size_t distance(std::string_view a, std::string_view b) {
    // Rows of the usual table: two letters ago, one letter ago, now.
    std::vector<std::size_t> before(b.size() + 1), last(b.size() + 1), now(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        last[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        now[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t wrong = a[i - 1] == b[j - 1] ? 0 : 1;
            now[j] = std::min({last[j - 1] + wrong, last[j] + 1, now[j - 1] + 1});
            const bool isSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (isSwapped) now[j] = std::min(now[j], before[j - 2] + 1);
        }
        std::swap(before, last);
        std::swap(last, now);
    }
    return last[b.size()];
}

/// The name that a mistyped one was meant to be: the one with the fewest letters wrong, missing, too
/// many or swapped, or the only one that it begins. Empty where none is near.
std::string nearestName(std::string_view typed, const std::vector<std::string>& names) {
    constexpr std::size_t kLongest = 64;  // no name is that long
    if (typed.empty() || typed.size() > kLongest) return {};
    const auto begins = [&](const std::string& name) { return name.starts_with(typed); };
    if (typed.size() > 1 && std::count_if(names.begin(), names.end(), begins) == 1) {
        return *std::find_if(names.begin(), names.end(), begins);
    }
    std::string nearest;
    std::size_t least = 2 + typed.size() / 4;  // and fewer
    for (const std::string& name : names) {
        const std::size_t wrong = distance(typed, name);
        if (wrong >= least || wrong >= name.size()) continue;
        least = wrong;
        nearest = name;
    }
    return nearest;
}

std::string unknownCommand(const CLI::App& tool, const std::string& name) {
    return "there is no command '" + name + "'" + suggestion(nearestName(name, commandsOf(tool)));
}

bool isOption(const std::string& argument) {
    return argument.size() > 1 && argument.front() == '-' &&
           (argument[1] < '0' || argument[1] > '9');
}

std::string unknownOption(const CLI::App& tool, const CLI::App* command,
                          const std::string& argument) {
    const std::string name = argument.substr(0, argument.find('='));
    std::vector<std::string> known = optionsOf(tool);
    if (command) {
        const std::vector<std::string> own = optionsOf(*command);
        known.insert(known.begin(), own.begin(), own.end());
    }
    return "there is no option '" + name + "'" + suggestion(nearestName(name, known));
}

/// The parser's reasons as a user would say them: neither "Could not convert: --rows = abc" nor
/// "--rows: --rows abc: not a number", the option named twice.
std::string readable(std::string reason) {
    const std::string name = reason.substr(0, reason.find(": "));
    if (reason.starts_with(name + ": " + name + " ")) reason.erase(0, name.size() + 2);
    constexpr std::string_view kConversion = "Could not convert: ";
    constexpr std::string_view kEquals = " = ";
    if (!reason.starts_with(kConversion)) return reason;
    reason.erase(0, kConversion.size());
    const std::size_t equals = reason.find(kEquals);
    if (equals != std::string::npos) reason.replace(equals, kEquals.size(), " ");
    return reason + ": not a number, or not one that can stand here";
}

}  // namespace

bool isBare(const CLI::App& tool) {
    return tool.get_subcommands().empty() && tool.remaining().empty();
}

std::string usageMessage(const CLI::App& tool, const CLI::Error& error) {
    const std::vector<CLI::App*> commands = tool.get_subcommands();
    const CLI::App* const command = commands.empty() ? nullptr : commands.front();
    const std::vector<std::string> rest = tool.remaining(true);
    const auto option = std::find_if(rest.begin(), rest.end(), isOption);
    std::string reason = readable(error.what());
    if (option != rest.end()) {
        reason = unknownOption(tool, command, *option);
    } else if (!rest.empty()) {
        reason = command ? "'" + rest.front() + "' is more than '" + command->get_name() + "' takes"
                         : unknownCommand(tool, rest.front());
    }
    const std::string help = command ? "brisko " + command->get_name() : "brisko";
    return reason + (reason.ends_with('?') ? " '" : "; '") + help + " --help' shows what there is";
}

void setUpHelp(CLI::App& tool) {
    const auto formatter = std::make_shared<HelpFormatter>();
    tool.formatter(formatter);
    tool.footer(exitCodeText(kAnyCommand) + "\n'brisko help COMMAND' shows more of a command.");
    for (CLI::App* command : tool.get_subcommands([](CLI::App*) { return true; })) {
        command->formatter(formatter);
        const auto codes =
            std::find_if(std::begin(kExitCodes), std::end(kExitCodes),
                         [&](const ExitCodes& c) { return c.command == command->get_name(); });
        const std::string details = command->get_footer();
        command->footer((details.empty() ? "" : wrapped(details, kWidth) + "\n\n") +
                        exitCodeText(codes == std::end(kExitCodes) ? kAnyCommand : *codes));
    }
}

std::string helpOf(const CLI::App& tool) {
    return tool.get_formatter()->make_help(&tool, tool.get_name(), CLI::AppFormatMode::Normal);
}

Command addHelp(CLI::App& tool) {
    CLI::App* app = tool.add_subcommand("help", "Show what the tool or one of its commands can do");
    const auto name = std::make_shared<std::string>();
    app->add_option("COMMAND", *name, "The command; without one: the tool as a whole");
    return {app, [&tool, name] {
                if (name->empty()) {
                    std::cout << helpOf(tool);
                    return ExitCode::Done;
                }
                const std::vector<std::string> known = commandsOf(tool);
                if (std::find(known.begin(), known.end(), *name) == known.end()) {
                    throw ScanError(ErrorKind::Request, {}, unknownCommand(tool, *name));
                }
                std::cout << tool.get_subcommand(*name)->help(tool.get_name());
                return ExitCode::Done;
            }};
}

}  // namespace brisko::tool
