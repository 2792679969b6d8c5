#include "common/results_channel.h"

#include "base/utf8.h"
#include "common/message.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <streambuf>
#include <string>
#include <string_view>

namespace brisko::tool {

/// What std::cout writes to: the standard output as the tool was given it.
class ResultsChannel::Buffer : public std::streambuf {
public:
    Buffer() {
        std::cout.flush();
        std::fflush(stdout);
        m_output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (nowhere >= 0) {
            dup2(nowhere, STDOUT_FILENO);
            if (nowhere != STDOUT_FILENO) close(nowhere);
        }
        setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
        m_before = std::cout.rdbuf(this);
    }

    ~Buffer() override {
        Buffer::sync();
        std::cout.rdbuf(m_before);
        std::fflush(stdout);
        if (m_output < 0) return;
        dup2(m_output, STDOUT_FILENO);
        close(m_output);
    }

    bool isClosed() const { return m_isClosed; }

    bool writeFully(std::string_view text) {
        while (!text.empty()) {
            const ssize_t put = write(m_output, text.data(), text.size());
            if (put < 0 && errno == EINTR) continue;
            if (put <= 0) {
                m_isClosed = put < 0 && errno == EPIPE;
                return false;
            }
            text.remove_prefix(static_cast<std::size_t>(put));
        }
        return true;
    }

protected:
    int_type overflow(int_type c) override {
        if (!send(heldBack())) return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            sputc(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }

    int sync() override { return send(0) ? 0 : -1; }

private:
    /// Bytes at the end that may be the beginning of a longer character.
    std::size_t heldBack() const {
        constexpr std::ptrdiff_t kMost = 3;
        for (std::ptrdiff_t i = 1; i <= std::min(kMost, pptr() - pbase()); ++i) {
            const auto byte = static_cast<unsigned char>(pptr()[-i]);
            if (byte < 0x80) return 0;
            if (byte >= 0xC0) {
                const std::string_view tail(pptr() - i, static_cast<std::size_t>(i));
                return utf8SequenceLength(tail) == 0 ? tail.size() : 0;
            }
        }
        return 0;
    }

    /// Sends all but the last so many bytes, line by line and printable.
    bool send(std::size_t rest) {
        std::string text;
        std::string_view left(pbase(), static_cast<std::size_t>(pptr() - pbase()) - rest);
        while (!left.empty()) {
            const std::size_t end = std::min(left.find('\n'), left.size());
            text += printable(left.substr(0, end));
            if (end < left.size()) text += '\n';
            left.remove_prefix(std::min(end + 1, left.size()));
        }
        if (!writeFully(text)) return false;
        std::copy(pptr() - rest, pptr(), m_bytes.data());
        setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
        pbump(static_cast<int>(rest));
        return true;
    }

    int m_output = -1;
    bool m_isClosed = false;
    std::streambuf* m_before = nullptr;
    std::array<char, 4096> m_bytes{};
};

ResultsChannel::ResultsChannel() : m_buffer(std::make_unique<Buffer>()) {
}

ResultsChannel::~ResultsChannel() = default;

bool ResultsChannel::send(std::span<const std::uint8_t> bytes) {
    std::cout.flush();
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!std::cout.good() || !m_buffer->writeFully(text)) std::cout.setstate(std::ios::badbit);
    return std::cout.good();
}

Delivery ResultsChannel::flush() {
    std::cout.flush();
    const bool written = std::cout.good();
    std::cout.clear();
    if (written) return Delivery::Done;
    return m_buffer->isClosed() ? Delivery::Closed : Delivery::Failed;
}

}  // namespace brisko::tool
