#include "common/results_channel.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <streambuf>

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

protected:
    int_type overflow(int_type c) override {
        if (sync() != 0) return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) {
            sputc(traits_type::to_char_type(c));
        }
        return traits_type::not_eof(c);
    }

    int sync() override {
        const char* begin = pbase();
        while (begin < pptr()) {
            const ssize_t put = write(m_output, begin, static_cast<std::size_t>(pptr() - begin));
            if (put < 0 && errno == EINTR) continue;
            if (put <= 0) return -1;
            begin += put;
        }
        setp(m_bytes.data(), m_bytes.data() + m_bytes.size());
        return 0;
    }

private:
    int m_output = -1;
    std::streambuf* m_before = nullptr;
    std::array<char, 4096> m_bytes{};
};

ResultsChannel::ResultsChannel() : m_buffer(std::make_unique<Buffer>()) {
}

ResultsChannel::~ResultsChannel() = default;

bool ResultsChannel::flush() {
    std::cout.flush();
    const bool written = std::cout.good();
    std::cout.clear();
    return written;
}

}  // namespace brisko::tool
