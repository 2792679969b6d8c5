#include "logging/log.h"

#include <gtest/gtest.h>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Diagnostics {
    std::atomic<bool> enabled = false, initialized = true;
    std::atomic<int> enabledAsked = 0, initializedAsked = 0;
} diagnostics;

}  // namespace

// This program stands for a host that brings its own set-up: its definitions replace the library's.
namespace brisko::vexo {

bool VexoLogSetup::isLoggingEnabled() {
    ++diagnostics.enabledAsked;
    return diagnostics.enabled;
}
bool VexoLogSetup::ensureLoggingInitialized() {
    ++diagnostics.initializedAsked;
    return diagnostics.initialized;
}

}  // namespace brisko::vexo

namespace brisko {
namespace {

namespace logging = boost::log;

struct Seen {
    std::string channel, message;
    int severity;

    bool operator==(const Seen&) const = default;
};

/// Keeps what arrives; throws instead when asked to.
class Memory : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
public:
    void consume(const logging::record_view& record) {
        if (throws) throw std::runtime_error("the disk is full");
        seen.push_back({logging::extract<std::string>("Channel", record).get(),
                        logging::extract<std::string>("Message", record).get(),
                        logging::extract<vexo::LogSeverityEnum>("Severity", record).get()});
    }

    std::vector<Seen> seen;
    bool throws = false;
};

class Log : public testing::Test {
protected:
    Log() {
        diagnostics.enabled = true;
        diagnostics.initialized = true;
        diagnostics.enabledAsked = diagnostics.initializedAsked = 0;
        logging::core::get()->add_sink(m_sink);
    }
    ~Log() override { logging::core::get()->remove_sink(m_sink); }

    boost::shared_ptr<Memory> m_memory = boost::make_shared<Memory>();
    boost::shared_ptr<logging::sinks::synchronous_sink<Memory>> m_sink =
        boost::make_shared<logging::sinks::synchronous_sink<Memory>>(m_memory);
};

TEST_F(Log, ARecordCarriesItsChannelSeverityAndText) {
    logRecord(vexo::kInformation, "setImage without error");
    EXPECT_EQ(m_memory->seen, (std::vector<Seen>{{"info_channel", "setImage without error", 7}}));
}

TEST_F(Log, NothingIsInitializedForALogThatIsNotWanted) {
    diagnostics.enabled = false;
    logRecord(vexo::kInformation, "unwanted");
    EXPECT_EQ(diagnostics.enabledAsked, 1);
    EXPECT_EQ(diagnostics.initializedAsked, 0);
    diagnostics.enabled = true;
    diagnostics.initialized = false;
    logRecord(vexo::kInformation, "nowhere to go");
    EXPECT_EQ(diagnostics.initializedAsked, 1);
    EXPECT_TRUE(m_memory->seen.empty());
}

TEST_F(Log, FiltersApplyAndASinkThatThrowsHarmsNobody) {
    m_memory->throws = true;
    logRecord(vexo::kInformation, "lost");
    m_memory->throws = false;
    logRecord(vexo::kInformation, "kept");
    m_sink->set_filter([](const logging::attribute_value_set&) { return false; });
    logRecord(vexo::kInformation, "filtered");
    EXPECT_EQ(m_memory->seen.size(), 1u);
}

}  // namespace
}  // namespace brisko
