#pragma once

#include <CLI/CLI.hpp>

namespace brisko::tool {

/// The option of every command that writes what the user names.
inline void addOverwrite(CLI::App& app, bool& overwrite) {
    app.add_flag("--overwrite", overwrite, "Replace an output that is there already");
}

}  // namespace brisko::tool
