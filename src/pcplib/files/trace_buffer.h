#pragma once

#include <string>
#include <string_view>

namespace QelPcpLib {

/// Collects diagnostics that come by the thousand and writes them to standard output in batches, in
/// order. What is left goes out with the object, also when an exception passes by.
class TraceBuffer {
public:
    TraceBuffer() = default;
    TraceBuffer(const TraceBuffer&) = delete;
    TraceBuffer& operator=(const TraceBuffer&) = delete;
    ~TraceBuffer();

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
