#pragma once

#include <brisko_codec/vexo_diagnostics.h>

#include <string_view>

namespace brisko {

/// Emits a record on "info_channel" when the diagnostics want it. Never throws, whatever a sink does:
/// a record that cannot be written is lost, and nothing else.
void logRecord(vexo::LogSeverityEnum severity, std::string_view message) noexcept;

}  // namespace brisko
