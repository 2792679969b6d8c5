#pragma once

#include <brisko_codec/compressed_lines.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>

/// The direction of a scan line, and turning it. Lines are CLR records as a file holds them, at any
/// address.
namespace QelPcpLib {

/// The first and the last measured record that a line shows, as it is looked through piece by piece.
class LineEnds {
public:
    void look(const std::uint8_t* records, std::size_t count);

    /// 1 when the last measured record is seen at a higher elevation than the first, -1 when it is
    /// not (deliberately also when both are equal), 0 without two measured records.
    int direction() const;

private:
    brisko::RawRecord m_first, m_last;
    int m_found = 0;  // 2: both
};

/// The direction of a whole line.
int ClassifyLine(const std::uint8_t* line, std::size_t count);

/// Whether a line of that direction, the k-th of its block, runs against the fixed alternation: even
/// lines run up, odd ones down.
constexpr bool runsAgainstOrder(std::uint64_t k, int direction) {
    return direction == (k % 2 == 0 ? -1 : 1);
}

/// Reverses the order of a line's records in place.
void ReverseLine(std::uint8_t* line, std::size_t count);

/// The same for records in a file that is open for reading and writing.
///   between  called every few megabytes; may throw
/// Returns false when the file could not be read or written.
bool reverseRecordsInFile(std::FILE* file, std::uint64_t offset, std::uint64_t count,
                          const std::function<void()>& between);

}  // namespace QelPcpLib
