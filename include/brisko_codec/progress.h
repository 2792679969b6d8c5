#pragma once

#include <brisko_codec/export.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

/// Progress of long operations: how far they have come, and how a host pauses or cancels them.
///
/// The host owns a ProgressTracker, adds monitors to it and passes its address to an operation. The
/// operation opens progresses on it, one inside the other; every change of a whole per cent is shown
/// to the monitors, and what they answer pauses or cancels the operation.
///
/// Errors: std::invalid_argument for a bad argument, std::logic_error for misuse. They are raised
///         with Boost.Exception: function, file and line of the origin are attached
///         (boost::throw_function, boost::throw_file, boost::throw_line).
namespace brisko::vexo {

class MonitorErrorWatch;
class Progress;

class Noncopyable {
public:
    Noncopyable(const Noncopyable&) = delete;
    Noncopyable& operator=(const Noncopyable&) = delete;

protected:
    Noncopyable() = default;
    ~Noncopyable() = default;
};

/// What a monitor wants to happen. Of several monitors' answers the largest wins.
enum class ProgressRequest : std::int32_t { Continue = 0, Pause = 1, Cancel = 2 };

/// Leaves an operation that was cancelled, after every open progress was finished and everything
/// half-written was removed.
class BRISKO_CODEC_EXPORT CancelProgressRequest : public std::runtime_error {
public:
    CancelProgressRequest();
    CancelProgressRequest(const CancelProgressRequest&) = default;
    CancelProgressRequest& operator=(const CancelProgressRequest&) = default;
    ~CancelProgressRequest() override;
};

/// The host's view of an operation. Calls come on the thread that does the work, while the tracker
/// is locked: a monitor that calls back into its tracker gets std::logic_error. What a monitor
/// throws goes through the operation to its caller, as a cancellation does.
class BRISKO_CODEC_EXPORT ProgressMonitor {
public:
    virtual ~ProgressMonitor();

    ProgressMonitor() = default;
    ProgressMonitor(const ProgressMonitor&) = default;
    ProgressMonitor& operator=(const ProgressMonitor&) = default;

    /// A progress was opened inside those that are open already.
    virtual void onStart(const std::string& name) = 0;
    /// The progress opened last was finished.
    virtual void onFinish() = 0;
    /// The progress opened last has come further (or back).
    ///   percentage              whole per cent, 0 to 100; -1 where the amount of work is unknown
    ///   pausable, cancellable   which requests it can follow; the others end the operation with
    ///                           std::logic_error
    /// Returns: Pause blocks the operation until ProgressTracker::resume; Cancel ends it with
    ///          CancelProgressRequest.
    virtual ProgressRequest onUpdate(const std::string& name, float percentage, bool pausable,
                                     bool cancellable) = 0;
};

/// Knows the progresses that are open and the monitors that follow them. One operation at a time;
/// operations that run side by side take a tracker each.
/// Threads: the first group of calls may come from any thread at any time, except from a monitor
///          (std::logic_error). resume, requestCancel and clearCancel never wait for a monitor, so a
///          monitor may itself wait for the thread that calls them; the others wait while monitors
///          are being called.
/// Needs:   to outlive every operation it was passed to, a paused one included.
class BRISKO_CODEC_EXPORT ProgressTracker : private Noncopyable {
public:
    ProgressTracker();
    ~ProgressTracker();

    /// Adds a monitor that outlives its place here; adding it twice changes nothing. Monitors are
    /// called in the order of their addresses. Null: std::invalid_argument.
    void addMonitor(ProgressMonitor* monitor);
    /// Removes a monitor: it is not called any more once this returns. Unknown ones are passed over.
    void removeMonitor(ProgressMonitor* monitor);
    /// Lets a paused operation go on, and one whose monitors are being asked and are about to pause
    /// it. Does nothing otherwise.
    void resume();
    /// Asks for cancellation without waiting for the next per cent, also of a paused operation: the
    /// next cancellable progress that looks ends with CancelProgressRequest, which uses the request
    /// up. A request that comes after the end of an operation stays, and cancels the next one on this
    /// tracker unless it is withdrawn: call clearCancel before an operation that shall not inherit it.
    void requestCancel();
    /// Withdraws a request for cancellation that nothing has followed yet.
    void clearCancel();
    /// The name of the progress that was started last; it stays when that progress finishes.
    std::string currentName() const;

    /// For progresses: what they report to the tracker. Only the progress on top of the stack may be
    /// updated or finished (std::logic_error). An update may block and throw as monitors want it.
    void start(const Progress* progress);
    void update(const Progress* progress);
    void finish(const Progress* progress);
    /// Follows a request by requestCancel, if there is one. Costs next to nothing if not.
    void checkCancel(const Progress* progress);

private:
    class BRISKO_CODEC_LOCAL Implementation;
    friend class MonitorErrorWatch;
    std::unique_ptr<Implementation> m_implementation;
};

/// A piece of work of unknown amount, open on a tracker while the object lives. Progresses nest:
/// the one opened last is finished first.
/// Threads: one thread drives a progress.
class BRISKO_CODEC_EXPORT Progress : private Noncopyable {
public:
    /// Opens the progress on the tracker. What a monitor throws from its onStart comes out, after
    /// the progress was finished again.
    /// Deliberate: a null tracker ends the process.
    Progress(ProgressTracker* tracker, const std::string& name);
    /// Finishes the progress. Nothing is thrown, whatever a monitor does.
    virtual ~Progress();

    /// Per cent done; -1 when the amount of work is unknown.
    virtual float percentage() const;

    /// Whether monitors may pause and cancel the work. Both are off at first.
    void setPausable(bool pausable);
    void setCancellable(bool cancellable);
    bool isPausable() const;
    bool isCancellable() const;
    const std::string& name() const;

    /// Follows a request for cancellation that came since the last update. Call it often in work
    /// that needs more than a tenth of a second for a per cent.
    void checkCancel() const;

    struct BRISKO_CODEC_LOCAL Implementation;

protected:
    ProgressTracker* tracker() const;

private:
    std::unique_ptr<Implementation> m_implementation;
};

/// A piece of work of a known number of steps.
class BRISKO_CODEC_EXPORT DefiniteProgress : public Progress {
public:
    /// stepCount 0: std::invalid_argument.
    DefiniteProgress(ProgressTracker* tracker, const std::string& name, std::uint64_t stepCount);
    ~DefiniteProgress() override;

    /// The whole per cent that are done.
    float percentage() const override;

    /// Tells how many steps are done, up or down; above the step count: std::invalid_argument. The
    /// tracker hears of it when that changes the whole per cent, so a loop may call it for every
    /// item.
    void setStepIndex(std::uint64_t index);

    struct BRISKO_CODEC_LOCAL Implementation;

private:
    std::unique_ptr<Implementation> m_implementation;
};

}  // namespace brisko::vexo
