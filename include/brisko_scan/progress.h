#pragma once

#include <brisko_scan/export.h>

#include <cstdint>
#include <functional>
#include <string>

namespace brisko::scan {

/// How far a job has come.
struct ProgressUpdate {
    std::string task;         // what is being done: "convert", "look for colour"
    std::string stage;        // a part of it; empty where there is but one
    std::string unit;         // what a step is: "points"
    std::uint64_t done = 0;   // steps
    std::uint64_t total = 0;  // steps; 0 where it is not known
    bool isFinished = false;  // the task came to its end; another one may follow
};

/// Hears of a job's progress, from the thread that runs the job, every few thousand points and at
/// least several times a second. Where it answers false, the job ends with ErrorKind::Cancelled and
/// leaves nothing. It may throw; the job then ends with that exception.
/// An update without a task only asks whether to go on.
using ProgressFunction = std::function<bool(const ProgressUpdate&)>;

/// Hears what a user should know although a job goes on: "out.clr: .clr has no place for colours; they
/// are left out".
using WarningFunction = std::function<void(const std::string&)>;

/// Passes on how far one task has come. May be without a function; then nothing is passed on.
class BRISKO_SCAN_EXPORT TaskProgress {
public:
    /// total: the steps of the whole; 0 where it is not known. unit: what a step is.
    TaskProgress(const ProgressFunction& function, const std::string& task, std::uint64_t total,
                 const std::string& unit = "points");
    ~TaskProgress();
    TaskProgress(const TaskProgress&) = delete;
    TaskProgress& operator=(const TaskProgress&) = delete;

    /// Throws ScanError(Cancelled) where the function answers false.
    void advanceTo(std::uint64_t done);
    /// Names what is being done just now.
    void setStage(const std::string& stage) { m_update.stage = stage; }

private:
    const ProgressFunction& m_function;
    int m_exceptions;
    ProgressUpdate m_update;
};

/// Throws ScanError(Cancelled) where the function does not want to go on.
BRISKO_SCAN_EXPORT void requireGoingOn(const ProgressFunction& function);

}  // namespace brisko::scan
