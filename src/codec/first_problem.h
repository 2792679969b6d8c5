#pragma once

#include <brisko_codec/read_problem.h>

#include <cstdint>

namespace brisko {

/// The first problem of a pass: what the streams of a reader note, and what getReadProblem makes a
/// text of. Later ones mostly follow from it.
class FirstProblem {
public:
    enum class File : std::uint8_t { Scan, Index };

    void clear() { m_kind = ReadProblemKind::None; }
    void note(ReadProblemKind kind, File file, std::uint64_t offset) {
        if (m_kind != ReadProblemKind::None) return;
        m_kind = kind;
        m_file = file;
        m_offset = offset;
    }
    /// scanPath: as it was opened.
    ReadProblem describe(const std::string& scanPath) const;

private:
    ReadProblemKind m_kind = ReadProblemKind::None;
    File m_file = File::Scan;
    std::uint64_t m_offset = 0;
};

}  // namespace brisko
