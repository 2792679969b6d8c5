#pragma once

#include <string>
#include <string_view>

namespace QelPcpLib {

/// Formats a diagnostic, in the "C" locale and at any length, and writes it to standard output in
/// one go. Nothing that goes wrong there is reported, and a closed pipe does not harm the host.
__attribute__((format(printf, 1, 2))) void TraceOut(const char* format, ...);

/// printf into a string, in the "C" locale and at any length. Kept for its interface.
__attribute__((format(printf, 2, 3))) void FormatString(std::string& out, const char* format, ...);

/// Collects diagnostics that come by the thousand and writes them to standard output in batches, in
/// order. What is left goes out with the object, also when an exception passes by.
class TraceBuffer {
public:
    TraceBuffer() = default;
    TraceBuffer(const TraceBuffer&) = delete;
    TraceBuffer& operator=(const TraceBuffer&) = delete;
    ~TraceBuffer() { flush(); }

    void add(std::string_view text) {
        m_text += text;
        if (m_text.size() >= kBatch) flush();
    }
    /// Writes what was collected, so that other messages can follow.
    void flush();

private:
    static constexpr std::size_t kBatch = std::size_t{64} << 10;

    std::string m_text;
};

}  // namespace QelPcpLib

/// The diagnostics of the file layer, as they reach standard output. The Japanese ones are bytes of
/// Shift_JIS (code page 932), written as escapes; the remark above each translates it.
namespace QelPcpLib::message {

// file [path] cannot be opened
inline constexpr char kCannotOpenForWriting[] =
    "WriteALGFile() : \314\247\262\331[%s]\202\252\212J\202\257\202\334\202\271\202\361\n";
// file [path] cannot be opened
inline constexpr char kCannotOpenForReading[] =
    "ReadALGFile() : \314\247\262\331[%s]\202\252\212J\202\257\202\334\202\271\202\361\n";
// the header of the ALG file has the wrong version
inline constexpr char kWrongVersion[] =
    "ALG\203t\203@\203C\203\213\202\314\203w\203b\203_\203o\201["
    "\203W\203\207\203\223\203G\203\211\201[\n";

inline constexpr char kHeaderNotWritten[] = "ALGFile Header Write Err\n";
inline constexpr char kAreaNotWritten[] = "ALGFile Sub Write Write Err\n";

// a row of three black squares on either side
inline constexpr char kCannotOpenMapped[] =
    "\201\241\201\241\201\241err :file open\201\241\201\241\201\241\n";
inline constexpr char kCannotCreateMapped[] = "err :file create\n";
// Deliberate: no line end.
inline constexpr char kNoMapping[] = "err : CreateFileMapping";
inline constexpr char kPositionOver[] = "err: file position over\n";

// Thrown as a plain character string.
inline constexpr char kOutOfMemory[] = "out of memory in PCP file mapping!";

}  // namespace QelPcpLib::message
