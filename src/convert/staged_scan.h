#pragma once

#include <string>

namespace brisko {

/// A CL3 scan that is written under a temporary name in the output's folder and takes the output's
/// name only when it is complete. Until then an older output stays as it is; without commit() nothing
/// remains.
class StagedScan {
public:
    /// input: what the scan is made from. Neither it nor the ALG file it reads is ever replaced.
    StagedScan(std::string output, const std::string& input);
    ~StagedScan();
    StagedScan(const StagedScan&) = delete;
    StagedScan& operator=(const StagedScan&) = delete;

    /// Whether there is a place to write to: the folder takes files, and the output can be replaced.
    bool isReady() const { return !m_path.empty(); }
    /// Where to write; a writer puts its companions beside it.
    const std::string& path() const { return m_path; }

    /// Puts the scan, and the companions that were written with it, in place. An older index of the
    /// output goes first and the new one comes last, so that an index never stands beside a scan that
    /// it does not describe; a plain scan leaves none.
    /// Returns: false when that fails; what was renamed by then is whole.
    bool commit();

private:
    std::string companion(const std::string& extension) const;
    std::string finalCompanion(const std::string& extension) const;
    bool flushAll() const;
    bool commitAlignment() const;
    bool commitIndex() const;

    std::string m_output;
    std::string m_inputAlignment;  // the ALG file that the input reads
    std::string m_path;
};

}  // namespace brisko
