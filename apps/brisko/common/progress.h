#pragma once

#include <brisko_scan/progress.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace brisko::tool {

/// How far a piece of work has come.
struct ProgressState {
    std::string label;
    std::string unit;         // what a step is
    std::uint64_t done = 0;   // steps
    std::uint64_t total = 0;  // steps; 0 where it is not known
    double seconds = 0;       // since the start
    bool finished = false;
    std::string stage = {};  // what is being done just now; empty where there is but one thing
    // Where there are several files: which one, from 1, of how many, and its path.
    std::size_t fileNumber = 0;
    std::size_t fileCount = 0;
    std::string file = {};
};

/// "12.3 M": a count with a decimal prefix.
std::string shortCount(double count);
/// "0:07", "12:05", "1:02:03".
std::string clockTime(double seconds);

/// The text of a terminal line, with a bar where the total is known; at most `width` characters.
std::string barLine(const ProgressState& state, std::size_t width);
/// One line of a log: "convert: 45 %, 12.3 M points/s, 0:12 left". With several files its label is
/// "check 2 of 5, scan_b.cl3".
std::string plainLine(const ProgressState& state);
/// One JSON object: label, file, its number and their count (where there are several), stage (where
/// there is one), unit, done, total (null where not known), seconds, finished.
std::string jsonLine(const ProgressState& state);

/// How progress is shown, on standard error.
enum class ProgressStyle {
    Auto,   // a bar on a terminal, plain lines elsewhere
    Plain,  // a line now and then
    Json,   // a JSON object a line
    None,
};

/// Whether a bar is drawn: what else is written to standard error shares its line.
bool showsBar(ProgressStyle style);

/// Which of several files a progress is of.
struct FileOfSeveral {
    std::size_t number = 1;  // from 1
    std::size_t count = 1;   // files in all
    std::string file = {};   // shown where there are several
};

/// Shows the progress of the scan library's jobs. Shows nothing in the first second of a task, so short
/// work is silent. A bar is cleared when its task ends, or when the object goes.
class ProgressDisplay {
public:
    explicit ProgressDisplay(ProgressStyle style, const FileOfSeveral& file = {});
    ~ProgressDisplay();
    ProgressDisplay(const ProgressDisplay&) = delete;
    ProgressDisplay& operator=(const ProgressDisplay&) = delete;

    /// For a job. It answers false after Ctrl-C. The display must outlive it.
    scan::ProgressFunction function();

private:
    class Line;
    std::unique_ptr<Line> m_line;
};

/// Makes Ctrl-C (SIGTERM and a closed terminal likewise) ask running work to stop cleanly; a second
/// one kills.
void installInterruptHandler();
/// Whether that was asked for.
bool isInterrupted();
/// Throws ScanError(Cancelled) when it was asked for.
void throwIfInterrupted();

}  // namespace brisko::tool
