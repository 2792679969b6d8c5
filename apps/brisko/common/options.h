#pragma once

#include <CLI/CLI.hpp>

#include <limits>
#include <map>
#include <string>

namespace brisko::tool {

/// Which numbers an option takes. Never a NaN.
struct NumberRange {
    double lowest = -std::numeric_limits<double>::infinity();
    double highest = std::numeric_limits<double>::infinity();
};

/// From 0 on, finite; -0 is none of them.
inline constexpr NumberRange kLengths = {0, std::numeric_limits<double>::max()};

/// Lets an option take the numbers of a range. Others are refused in a few words, which name the
/// option and what was given: "--max-distance 5m: not a number".
CLI::Option* takeNumbers(CLI::Option* option, const NumberRange& range);

/// Adds an option that takes one of the names in a table. Anything else is refused with the names.
/// The table must outlive the parsing.
template <class Value>
CLI::Option* addChoice(CLI::App& app, const std::string& name, Value& value,
                       const std::map<std::string, Value>& choices, const std::string& about) {
    const auto take = [&value, &choices, name](const std::string& text) {
        const auto found = choices.find(text);
        if (found != choices.end()) {
            value = found->second;
            return;
        }
        std::string names;
        for (const auto& [choice, ignored] : choices) {
            names += (names.empty() ? "" : ", ") + choice;
        }
        throw CLI::ValidationError(name, "'" + text + "' is none of " + names);
    };
    return app.add_option_function<std::string>(name, take, about);
}

/// The option of every command that writes what the user names.
inline void addOverwrite(CLI::App& app, bool& overwrite) {
    app.add_flag("--overwrite", overwrite, "Replace an output that is there already");
}

}  // namespace brisko::tool
