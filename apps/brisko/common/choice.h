#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

namespace brisko::tool {

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

}  // namespace brisko::tool
