#pragma once

#include <brisko_codec/vexo_diagnostics.h>

#include <boost/log/sources/global_logger_storage.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>

#include <string>
#include <string_view>

namespace brisko {

inline constexpr const char* kInfoChannel = "info_channel";

using InfoLogger =
    boost::log::sources::severity_channel_logger_mt<vexo::LogSeverityEnum, std::string>;

/// The one logger of the process, made at its first use.
BOOST_LOG_GLOBAL_LOGGER(info_logger, InfoLogger)

/// Emits a record on "info_channel" when the diagnostics want it. Never throws, whatever a sink does:
/// a record that cannot be written is lost, and nothing else.
void logRecord(vexo::LogSeverityEnum severity, std::string_view message) noexcept;

}  // namespace brisko
