#pragma once

namespace brisko::tool {

/// The whole tool, from its command line to its exit code.
int runTool(int argc, const char* const* argv);

}  // namespace brisko::tool
