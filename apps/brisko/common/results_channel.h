#pragma once

#include <memory>

namespace brisko::tool {

/// Keeps standard output for the tool's results, which go to std::cout. While the object lives, what
/// the library prints on its own (diagnostics in several languages and encodings) goes nowhere: the
/// tool says itself what the user has to know.
class ResultsChannel {
public:
    ResultsChannel();
    ~ResultsChannel();
    ResultsChannel(const ResultsChannel&) = delete;
    ResultsChannel& operator=(const ResultsChannel&) = delete;

    /// Sends the results off. False when they could not all be written.
    bool flush();

private:
    class Buffer;
    std::unique_ptr<Buffer> m_buffer;
};

}  // namespace brisko::tool
