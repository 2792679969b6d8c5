#pragma once

namespace brisko::tool {

/// What runTool answers when the reader of its results went away, as shells count a SIGPIPE.
inline constexpr int kClosedPipe = 141;

/// The whole tool, from its command line to its exit code.
int runTool(int argc, const char* const* argv);

}  // namespace brisko::tool
