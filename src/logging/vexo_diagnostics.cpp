#include <brisko_codec/vexo_diagnostics.h>

#include "logging/log.h"

#include <boost/core/null_deleter.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_ostream_backend.hpp>
#include <boost/make_shared.hpp>

#include <atomic>
#include <iostream>
#include <mutex>

namespace brisko::vexo {

namespace {

namespace logging = boost::log;

using Sink = logging::sinks::synchronous_sink<logging::sinks::text_ostream_backend>;

boost::shared_ptr<Sink> makeSink() {
    const auto backend = boost::make_shared<logging::sinks::text_ostream_backend>();
    backend->add_stream(boost::shared_ptr<std::ostream>(&std::clog, boost::null_deleter()));
    backend->auto_flush(true);
    auto sink = boost::make_shared<Sink>(backend);
    sink->set_filter(logging::expressions::attr<std::string>("Channel") == kInfoChannel);
    sink->set_formatter(logging::expressions::stream << "brisko_codec: "
                                                     << logging::expressions::smessage);
    return sink;
}

/// The library's own log set-up. It outlives every thread that may log, so it is never destroyed.
class StandInSetup {
public:
    static StandInSetup& instance() {
        static StandInSetup& setup = *new StandInSetup;
        return setup;
    }

    bool isOn() const { return m_on; }
    void switchOn() { m_on = true; }
    void switchOff() {
        m_on = false;
        const std::lock_guard lock(m_mutex);
        if (m_sink) logging::core::get()->remove_sink(m_sink);
        m_sink.reset();
    }
    bool ensureSink() {
        const std::lock_guard lock(m_mutex);
        if (!m_on) return false;
        if (!m_sink) {
            m_sink = makeSink();
            logging::core::get()->add_sink(m_sink);
        }
        return true;
    }

private:
    std::atomic<bool> m_on = false;
    std::mutex m_mutex;
    boost::shared_ptr<Sink> m_sink;
};

}  // namespace

// Weak: where a host's own definitions are linked, they are the ones that count.
[[gnu::weak]] bool VexoLogSetup::isLoggingEnabled() {
    return StandInSetup::instance().isOn();
}
[[gnu::weak]] bool VexoLogSetup::ensureLoggingInitialized() {
    return StandInSetup::instance().ensureSink();
}

void switchLoggingOn() {
    StandInSetup::instance().switchOn();
}
void switchLoggingOff() {
    StandInSetup::instance().switchOff();
}

}  // namespace brisko::vexo
