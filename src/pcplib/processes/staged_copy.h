#pragma once

#include "base/file.h"
#include "base/output_file.h"
#include "base/staged_output.h"
#include "pcplib/processes/process_progress.h"

#include <initializer_list>
#include <string>

namespace QelPcpLib {

/// The one file that a process makes of others. It appears when it is complete, and never in the
/// place of a file that it is made of.
class StagedCopy {
public:
    /// Returns: false when the target leads to one of the inputs, or nothing can be written there.
    bool create(const std::string& target, std::initializer_list<std::string> inputs) {
        // A merged or sorted scan leaves the companions of its name alone.
        if (!m_staged.create(target, brisko::StagedOutput::Companions::None)) return false;
        for (const std::string& input : inputs) {
            if (brisko::isSameFile(m_staged.target(), input, &m_errors)) return false;
        }
        return m_output.create(m_staged.path().c_str());
    }
    /// Closes the file, brings it to the disk and puts it in its place. False also when reading the
    /// inputs failed, as noted in readErrors().
    bool publish(ProcessProgress& progress) {
        if (!m_output.close() || !m_staged.sync([&progress] { progress.poll(); })) return false;
        progress.finish();
        return m_errors.none() && m_staged.publish();
    }

    /// For calls that look at the inputs.
    brisko::ReadErrors* readErrors() { return &m_errors; }
    brisko::OutputFile& output() { return m_output; }
    const std::string& path() const { return m_staged.path(); }

private:
    brisko::ReadErrors m_errors;
    brisko::StagedOutput m_staged;
    brisko::OutputFile m_output;  // closed before the staged file is removed
};

}  // namespace QelPcpLib
