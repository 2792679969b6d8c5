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
