#pragma once

#include <string_view>

namespace brisko {

/// Writes a message to standard output, after whatever the host has buffered there, and flushes it.
/// Errors are ignored, and a closed pipe does not raise SIGPIPE: a diagnostic never harms the host.
void writeToStandardOutput(std::string_view message);

}  // namespace brisko
