#pragma once

#include "faults/faults.h"
#include "support/conversion_fixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

/// Everything that makes files of files, as one table, and what must hold however a run of it ends.
namespace brisko::test {

using Contents = std::map<std::string, Bytes>;

/// What a host passes to a job.
struct Arguments {
    std::string input, output;
    vexo::ProgressTracker tracker;
};

struct Job {
    const char* name;
    std::function<void(const TempFolder&)> prepare;
    std::function<bool(Arguments&)> run;
    const char* input;
    const char* output = "";    // where the call takes one
    const char* optional = "";  // an output without which the job is done, too
    // What it is not tried with: faults that may change its result, or take too long to go through.
    std::vector<Fault> exempt = {};
    bool needsProcess = false;  // a whole command, which is alone in its process
};
std::ostream& operator<<(std::ostream& out, const Job& job);
inline std::string jobName(const testing::TestParamInfo<Job>& info) {
    return info.param.name;
}

/// The conversions by every route, the processes under them, ALG files, and what the tool writes.
const std::vector<Job>& jobs();

/// A scan of 300 points with its index.
void writeGridScan(const std::string& path);

/// A folder with a job's input and older outputs of everything that it writes, and all that the host
/// brings: nothing of it is made under a fault.
class Scene {
public:
    enum class Outputs { Old, None };

    explicit Scene(const Job& job, Outputs outputs = Outputs::Old);

    bool run() { return m_job.run(arguments); }

    /// Inputs are as they were; every output is the old one, absent, or complete, and no scan stands
    /// beside companions of another one.
    ///   mayBeStopped  private folders may be left, and an alignment that marks a scan which is
    ///                 being replaced
    void expectWholeOrNothing(bool mayBeStopped = false) const;
    /// The same, with every output complete.
    void expectDone(bool mayBeStopped = false) const;

    /// Does not allocate: a lack of memory in a monitor is the host's own exception.
    struct Monitor : CountingMonitor {
        void onStart(const std::string&) override { ++starts; }
    };

    TempFolder folder;
    Monitor monitor;
    Arguments arguments;

private:
    Contents contents(bool mayBeStopped) const;
    void expectOwnCompanions(const std::string& scan, const Contents& found,
                             bool mayBeStopped) const;

    const Job& m_job;
    const Contents& m_complete;  // what a run that nothing disturbs leaves
    Contents m_inputs, m_before;
};

}  // namespace brisko::test
