#include "pcplib/files/cp_stdio_file.h"

#include "base/system_calls.h"

#include <cstdio>

namespace QelPcpLib {

namespace {

// What follows a line of this length is not looked at any more: no text file has such lines.
constexpr std::size_t kGiveUp = std::size_t{1} << 20;

}  // namespace

bool CpStdioFile::ReadString(std::string& line) {
    line.clear();
    if (!GetStream()) return false;
    std::size_t length = 0;
    for (int c = readCharacter(); c != EOF && c != '\n'; c = readCharacter()) {
        if (length < kMaxLine) line.push_back(static_cast<char>(c));
        if (++length > kMaxLine + kGiveUp) {
            brisko::ReadErrors errors;
            if (!Seek(brisko::fileLength(GetStream(), &errors)) || !errors.none()) SetFailed();
            break;
        }
    }
    if (std::ferror(GetStream())) SetFailed();
    return !line.empty();
}

/// The next character of the text, a line feed for CR LF.
int CpStdioFile::readCharacter() {
    const int c = brisko::system_calls::getc(GetStream());
    if (c != '\r') return c;
    const int next = brisko::system_calls::getc(GetStream());
    if (next == '\n' || next == EOF) return next;
    std::ungetc(next, GetStream());
    return c;
}

}  // namespace QelPcpLib
