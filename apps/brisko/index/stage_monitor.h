#pragma once

#include "index/index_task.h"

#include <brisko_codec/progress.h>

#include <string>

namespace brisko::tool {

/// Follows the library's stages, which come one after the other, and makes one progress of them.
class StageMonitor : public vexo::ProgressMonitor {
public:
    /// stages: how many there will be, roughly. Checking what was written counts as one more.
    StageMonitor(unsigned stages, const TaskProgress& progress);

    void onStart(const std::string& name) override;
    void onFinish() override;
    vexo::ProgressRequest onUpdate(const std::string& name, float percentage, bool pausable,
                                   bool cancellable) override;

    /// How much of the whole is done. Never falls.
    double share() const { return m_share; }

private:
    void reach(double stages);

    unsigned m_stages;
    const TaskProgress& m_progress;
    unsigned m_depth = 0;
    unsigned m_finished = 0;
    std::string m_name;  // of the outermost progress
    double m_share = 0;
};

}  // namespace brisko::tool
