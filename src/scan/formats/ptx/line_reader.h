#pragma once

#include "scan/files/input_file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::scan {

/// Whole lines that lie one after the other in a file.
struct LineStretch {
    /// After the text as many bytes may be looked at, whatever they hold.
    static constexpr std::size_t kSlack = 32;

    std::vector<char> bytes;   // the text, and the slack
    std::size_t size = 0;      // of the text
    std::uint64_t before = 0;  // lines before these in the file
    std::uint64_t end = 0;     // where they end in the file, bytes

    std::string_view text() const { return {bytes.data(), size}; }
};

/// The lines of a text file of any size, read in large blocks. A byte-order mark before the first of them
/// is passed over.
class LineReader {
public:
    explicit LineReader(const std::string& path);

    /// The next line without its end ("\n" or "\r\n"); valid until the next call. False at the end
    /// of the file. Throws ScanError(Damaged) for a line too long to be one of a scan.
    bool next(std::string_view& line);
    /// The line that next() gives again at its next call.
    bool peek(std::string_view& line);
    /// Passes over so many lines, not counting comments. Returns how many there were.
    std::uint64_t pass(std::uint64_t lines);
    /// Takes so many lines as fit into a stretch of some 256 KiB. False at the end of the file. Throws
    /// ScanError(Damaged) for a line too long to be one of a scan.
    bool take(LineStretch& stretch);
    /// Gives the last of the lines back that were taken just now, so that `kept` bytes remain.
    void giveBack(LineStretch& stretch, std::size_t kept);
    /// The next bytes, up to a block of them, without moving on; valid until the next call.
    std::string_view lookAhead();

    /// Number of the line that was read last, from 1.
    std::uint64_t number() const { return m_number; }
    /// Bytes of the lines read so far.
    std::uint64_t position() const { return m_blockStart + m_begin; }
    std::uint64_t size() const { return m_file.size(); }
    const std::string& path() const { return m_file.path(); }

private:
    [[noreturn]] void failAsTooLong() const;
    bool refill();
    void putBack(std::string_view text);
    std::uint64_t passPiece(std::uint64_t lines);

    InputFile m_file;
    std::vector<char> m_buffer;
    std::size_t m_begin = 0;         // of what is not yet read
    std::size_t m_end = 0;           // of what was loaded
    std::uint64_t m_blockStart = 0;  // place of the buffer in the file
    std::uint64_t m_number = 0;
};

/// How many lines end in a text.
std::uint64_t countLineEnds(std::string_view text);
/// How many lines of a text are no comments, at most `most`.
///   end  becomes where the last of them ends
std::uint64_t countLines(std::string_view text, std::uint64_t most, std::size_t& end);

/// A line without the half of its end that some systems write before the other.
inline std::string_view withoutCarriageReturn(std::string_view line) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
}

/// Whether a line is a remark among the data: "# text" or "// text".
inline bool isComment(std::string_view line) {
    return line.starts_with('#') || line.starts_with("//");
}

}  // namespace brisko::scan
