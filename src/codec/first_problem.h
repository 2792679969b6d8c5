#pragma once

#include <brisko_codec/read_problem.h>

#include "base/read_errors.h"

#include <cstdint>
#include <string>
#include <vector>

namespace brisko {

/// The first problem of a pass: what the streams of a reader note, and what getReadProblem makes a
/// text of. Later ones mostly follow from it.
class FirstProblem {
public:
    /// The scan, its index, or a later file of a series: the first of these is 1.
    using File = std::uint32_t;
    static constexpr File kScan = 0;
    static constexpr File kIndex = 0xffffffff;

    /// For a new pass. Read errors are counted over the life of the reader.
    void clear() { m_kind = ReadProblemKind::None; }
    void note(ReadProblemKind kind, File file, std::uint64_t offset) {
        if (m_kind != ReadProblemKind::None) return;
        m_kind = kind;
        m_file = file;
        m_offset = offset;
    }
    bool isNone() const { return m_kind == ReadProblemKind::None; }
    ///   scanPath  as it was opened
    ///   later     the later files of a series
    ReadProblem describe(const std::string& scanPath, const std::vector<std::string>& later) const;

    /// What the streams hand to the calls that read.
    ReadErrors* readErrors() { return &m_readErrors; }
    std::uint64_t readErrorCount() const { return m_readErrors.count(); }

private:
    ReadErrors m_readErrors;
    ReadProblemKind m_kind = ReadProblemKind::None;
    File m_file = kScan;
    std::uint64_t m_offset = 0;
};

}  // namespace brisko
