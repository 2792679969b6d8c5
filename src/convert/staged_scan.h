#pragma once

#include "base/staged_file.h"

#include <functional>
#include <string>

namespace brisko {

/// A CL3 scan, with companions or without, that is written under a temporary name in the output's
/// folder and takes the output's name only when it is complete. Until then an older output stays as it
/// is; without commit() nothing remains.
class StagedScan {
public:
    /// input: what the scan is made from. Neither it nor the ALG file it reads is ever replaced.
    StagedScan(const std::string& output, const std::string& input);

    /// Whether there is a place to write to: the folder takes files, and the output can be replaced.
    bool isReady() const { return !m_scan.path().empty(); }
    /// Where to write; a writer puts its companions beside it.
    const std::string& path() const { return m_scan.path(); }

    /// Brings the scan and the companions that were written with it to the disk and puts them in
    /// place. An older index of the output goes first and the new one comes last, so that an index
    /// never stands beside a scan that it does not describe; a plain scan leaves none.
    ///   between  called often while the disk works, and may throw
    /// Returns: false when that fails; what was put in place by then is whole.
    bool commit(const std::function<void()>& between);

private:
    bool syncAll(const std::function<void()>& between) const;
    bool publishIfWritten(StagedFile& companion);

    StagedFile m_scan;
    StagedFile m_index;
    StagedFile m_alignment;
    bool m_sharesAlignment = false;  // with the input, whose it is
};

}  // namespace brisko
