#pragma once

#include <cstdint>
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

/// What a progress is of: "convert", or "check" of the second of five files.
struct ProgressTask {
    std::string name;
    std::size_t number = 1;  // of the file, from 1
    std::size_t count = 1;   // files in all
    std::string file = {};   // told where there are several

    ProgressTask(std::string task) : name(std::move(task)) {}
    ProgressTask(const char* task) : name(task) {}
    ProgressTask(const char* task, std::size_t fileNumber, std::size_t files)
        : name(task), number(fileNumber), count(files) {}
};

/// The progress of one piece of work. Shows nothing in its first second, so short work is silent.
class Progress {
public:
    /// total: the steps of the whole; 0 where it is not known.
    /// unit:  what a step is, for the rate.
    Progress(ProgressStyle style, const ProgressTask& task, std::uint64_t total,
             const std::string& unit = "points");
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Says how many steps are done. Cheap, but not free: call it every few thousand points.
    /// Throws Interrupted after Ctrl-C.
    void advanceTo(std::uint64_t done);
    /// Names what is being done just now, beside the label of the whole.
    void setStage(const std::string& stage);

private:
    class Display;
    std::unique_ptr<Display> m_display;
};

/// Makes Ctrl-C (SIGTERM and a closed terminal likewise) ask running work to stop cleanly; a second
/// one kills.
void installInterruptHandler();
/// Whether that was asked for.
bool isInterrupted();
/// Throws Interrupted when it was asked for.
void throwIfInterrupted();

}  // namespace brisko::tool
