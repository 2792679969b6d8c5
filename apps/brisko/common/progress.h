#pragma once

#include <brisko_scan/progress.h>

#include <cstddef>
#include <memory>
#include <string>

namespace brisko::tool {

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
