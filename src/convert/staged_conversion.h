#pragma once

#include "base/read_errors.h"
#include "base/staged_output.h"

#include <functional>
#include <string>

namespace brisko {

/// The scan that a conversion makes of another one: it appears when it is complete, and neither its
/// input nor the ALG file that the input reads is ever replaced.
class StagedConversion {
public:
    /// The output is ready when there is a place to write to.
    ///   errors  notes when it is not known whether output and input are one file
    StagedConversion(const std::string& output, const std::string& input, ReadErrors& errors);

    bool isReady() const { return m_output.isReady(); }
    /// Where to write; a writer puts its companions beside it.
    const std::string& path() const { return m_output.path(); }

    /// Brings the scan and the companions that were written with it to the disk and puts them in place.
    ///   between  called often while the disk works, and may throw
    /// Returns: false when that fails; older files are then as they were (StagedOutput::publish).
    bool commit(const std::function<void()>& between) {
        return m_output.sync(between) && m_output.publish();
    }

private:
    StagedOutput m_output;
};

}  // namespace brisko
