#pragma once

#include "codec/first_problem.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace brisko {

/// Where a pass stands in a file, and how far it may go on after the file's end.
///
/// A scan that was cut short is read to the end of its counters all the same: bytes that the file
/// lacks leave what was there, so the last items read come again. A file of a few bytes can announce
/// 2^64 of them, so a pass takes at most kMostStale items that way.
class PassLimits {
public:
    static constexpr std::uint64_t kMostStale = 1'048'576;

    /// Starts a pass at an offset; the stream stands there. Where the file ends too early is noted as
    /// a problem.
    void start(std::FILE* file, std::uint64_t offset, FirstProblem& problem,
               FirstProblem::File which);

    /// Whole items of a size that the file still holds, at most `wanted`.
    std::uint64_t wholeItemsLeft(std::uint64_t wanted, std::uint64_t itemSize) const;
    /// Reads from the stream's position; answers the bytes read, 0 once the file has ended.
    std::size_t read(void* out, std::size_t size);
    /// The file has ended too early, whatever bytes of a cut item may be left in it.
    void finish();
    /// How many of so many stale items the pass may take; they then count as taken.
    std::uint64_t takeStale(std::uint64_t wanted);
    bool atEnd() const { return m_position >= m_length; }

    std::uint64_t position() const { return m_position; }
    std::uint64_t length() const { return m_length; }
    ReadErrors* readErrors() const { return m_problem->readErrors(); }
    void noteProblem(ReadProblemKind kind, std::uint64_t offset) {
        m_problem->note(kind, m_which, offset);
    }

private:
    FirstProblem* m_problem = nullptr;
    FirstProblem::File m_which = FirstProblem::kScan;
    std::FILE* m_file = nullptr;
    std::uint64_t m_position = 0;
    std::uint64_t m_length = 0;
    std::uint64_t m_staleLeft = 0;
};

/// A batch of fixed-size items from a file, kept from one batch to the next so that what a cut file
/// lacks stays as it was. Items that were never read are zero.
class StaleBatch {
public:
    static constexpr std::uint64_t kMostItems = 65'536;

    /// Empties the batch; slack is readable room after the items.
    void start(std::size_t itemSize, std::size_t slack);
    /// Fills the batch with the next items, at most kMostItems of `left`.
    /// Returns: how many items the batch now holds; 0 when the pass must end.
    std::size_t fill(PassLimits& pass, std::uint64_t left);

    std::uint8_t* data() { return m_bytes.data(); }

private:
    std::size_t m_itemSize = 1;
    std::size_t m_slack = 0;
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace brisko
