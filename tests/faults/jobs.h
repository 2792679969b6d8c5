#pragma once

#include "support/conversion_fixture.h"

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
};
std::ostream& operator<<(std::ostream& out, const Job& job);

/// The conversions by every route, the processes under them, ALG files, and the tool's PTX files.
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

    /// Inputs are as they were; every output is the old one, absent, or complete; nothing else is
    /// there but, where it may be, unfinished files under temporary names.
    void expectWholeOrNothing(bool mayKeepTemporaries = false) const;
    /// The same, with every output complete.
    void expectDone(bool mayKeepTemporaries = false) const;

    /// Does not allocate: a lack of memory in a monitor is the host's own exception.
    struct Monitor : CountingMonitor {
        void onStart(const std::string&) override { ++starts; }
    };

    TempFolder folder;
    Monitor monitor;
    Arguments arguments;

private:
    Contents contents(bool withTemporaries) const;

    const Job& m_job;
    const Contents& m_complete;  // what a run that nothing disturbs leaves
    Contents m_inputs, m_before;
};

}  // namespace brisko::test
