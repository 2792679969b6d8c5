#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace brisko::tool {

/// What became of the results.
enum class Delivery {
    Done,
    Closed,  // their reader went away: it has what it wanted
    Failed,
};

/// Keeps standard output for the tool's results, which go to std::cout. They are shown printable, line
/// by line, whatever the texts of a scan hold. While the object lives, what the library prints on its
/// own (diagnostics in several languages and encodings) goes nowhere: the tool says itself what the
/// user has to know.
class ResultsChannel {
public:
    ResultsChannel();
    ~ResultsChannel();
    ResultsChannel(const ResultsChannel&) = delete;
    ResultsChannel& operator=(const ResultsChannel&) = delete;

    /// Sends bytes as they are, after the results so far. Returns false where they were not taken;
    /// flush() reports why.
    bool send(std::span<const std::uint8_t> bytes);

    /// Sends the results off.
    Delivery flush();

private:
    class Buffer;
    std::unique_ptr<Buffer> m_buffer;
};

}  // namespace brisko::tool
