#pragma once

#include "base/output_file.h"
#include "pcplib/processes/process_progress.h"

#include <brisko_codec/compressed_lines.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <span>
#include <string>
#include <vector>

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

/// Writes the lines of a scan as plain records, each turned into its direction. A line comes in
/// pieces. Ordinary lines are turned in memory; one too long for that is written as it comes and
/// turned in the file.
class SortedLines {
public:
    /// path: of the output file.
    SortedLines(brisko::OutputFile& output, std::string path, std::uint64_t rows,
                const ProcessProgress& progress);

    /// Adds the records that the bytes hold, up to the end of the line. Fewer bytes than a record
    /// are its beginning; the rest of it is zero.
    /// Returns: the bytes used.
    std::size_t add(std::span<const std::uint8_t> bytes);
    /// How many records the line still lacks.
    std::uint64_t missing() const { return m_rows - m_spilled - held(); }
    bool isEmpty() const { return missing() == m_rows; }
    /// Ends the k-th line of the block; records that it lacks are empty ones.
    /// Returns: whether the line was turned.
    bool finishLine(std::uint64_t k);
    /// Whether long lines could be turned.
    bool good() const { return m_good; }

private:
    static constexpr std::size_t kMostHeld = 1'000'000;  // records: 20 MB

    std::size_t held() const;
    void spill();
    void writeHeld();
    bool finishHeldLine(std::uint64_t k);
    bool finishSpilledLine(std::uint64_t k);
    bool turnInFile();

    brisko::OutputFile& m_output;
    std::string m_path;
    std::uint64_t m_rows;
    const ProcessProgress& m_progress;
    std::vector<std::uint8_t> m_held;  // whole records
    std::uint64_t m_spilled = 0;       // records of the line that are written already
    std::uint64_t m_lineStart = 0;     // in the file, when some are
    LineEnds m_ends;                   // of the spilled records
    bool m_good = true;
};

}  // namespace QelPcpLib
