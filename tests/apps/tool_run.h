#pragma once

#include "support/temp_folder.h"
#include "tool.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

namespace brisko::test {

/// What a run of the tool left.
struct ToolRun {
    int code = 0;
    std::string out;
    std::string err;
};

/// Runs the tool in this process, as a shell would: `run({"info", path})`.
inline ToolRun run(const std::vector<std::string>& arguments) {
    std::vector<const char*> line = {"brisko"};
    for (const std::string& argument : arguments)
        line.push_back(argument.c_str());
    line.push_back("--progress=none");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    ToolRun result;
    result.code = tool::runTool(static_cast<int>(line.size()), line.data());
    result.out = testing::internal::GetCapturedStdout();
    result.err = testing::internal::GetCapturedStderr();
    return result;
}

/// Runs `convert`, which must succeed. Returns the output's path.
inline std::string convert(const std::string& input, const std::string& output,
                           std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"convert", input, output, "--overwrite"});
    const ToolRun result = run(more);
    EXPECT_EQ(result.code, 0) << input << " to " << output << ": " << result.err;
    return output;
}

/// Runs `simulate` into a folder.
inline ToolRun simulate(const TempFolder& folder, std::vector<std::string> more) {
    more.insert(more.begin(), {"simulate", folder.path().string()});
    return run(more);
}

inline constexpr const char* kIdentityLines =
    "0 0 0\n1 0 0\n0 1 0\n0 0 1\n1 0 0 0\n0 1 0 0\n0 0 1 0\n0 0 0 1\n";

/// A quarter turn about z (x to y), then a shift by (10, 20, 30).
inline constexpr const char* kTurnedLines =
    "10 20 30\n0 1 0\n-1 0 0\n0 0 1\n0 1 0 0\n-1 0 0 0\n0 0 1 0\n10 20 30 1\n";

/// The text of a PTX file from its cells' lines.
inline std::string ptxText(int columns, int rows, const std::string& cells,
                           const std::string& frameLines = kIdentityLines) {
    return std::to_string(columns) + "\n" + std::to_string(rows) + "\n" + frameLines + cells;
}

/// A file's name from its parts.
inline std::string named(std::string name, const char* extension) {
    return name.append(extension);
}

inline bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

}  // namespace brisko::test
