#include "logging/log.h"

#include <boost/log/keywords/channel.hpp>
#include <boost/log/keywords/severity.hpp>
#include <boost/log/sources/record_ostream.hpp>

namespace brisko {

BOOST_LOG_GLOBAL_LOGGER_INIT(info_logger, InfoLogger) {
    return InfoLogger(boost::log::keywords::channel = kInfoChannel);
}

void logRecord(vexo::LogSeverityEnum severity, std::string_view message) noexcept {
    try {
        if (!vexo::VexoLogSetup::isLoggingEnabled()) return;
        if (!vexo::VexoLogSetup::ensureLoggingInitialized()) return;
        // Never destroyed: threads of the host may log while the process ends.
        static InfoLogger& logger = *new InfoLogger(info_logger::get());
        auto record = logger.open_record(boost::log::keywords::severity = severity);
        if (!record) return;
        boost::log::record_ostream stream(record);
        stream << message;
        stream.flush();
        logger.push_record(std::move(record));
    } catch (...) {
        // A host that asked for a log must not lose its scan to it.
        return;
    }
}

}  // namespace brisko
