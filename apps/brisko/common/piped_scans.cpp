#include "common/piped_scans.h"

#include "base/file.h"
#include "base/output_file.h"
#include "common/progress.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

namespace brisko::tool {
namespace {

constexpr std::size_t kPiece = std::size_t{1} << 20;  // bytes

[[noreturn]] void failToKeep(const std::string& beside, int error) {
    throw ScanError(ErrorKind::NotWritten, beside,
                    std::string("a scan cannot wait beside it: ") + std::strerror(error));
}

/// The next bytes; none at the end. Looks up now and then, whether it is to go on.
std::size_t readSome(std::span<std::uint8_t> bytes) {
    constexpr int kPause = 200;  // ms
    for (;;) {
        throwIfInterrupted();
        pollfd input{STDIN_FILENO, POLLIN, 0};
        const int ready = poll(&input, 1, kPause);
        if (ready == 0 || (ready < 0 && errno == EINTR)) continue;
        const ssize_t got = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno == EINTR || errno == EAGAIN) continue;
        throw ScanError(ErrorKind::Damaged, "standard input",
                        std::string("cannot be read: ") + std::strerror(errno));
    }
}

}  // namespace

std::string placeForTemporaries() {
    const char* const folder = std::getenv("TMPDIR");
    return (folder && *folder != '\0' ? std::string(folder) : "/tmp") + "/brisko";
}

PipedScans::PipedScans(const std::string& beside) : m_beside(beside) {
    OutputPlace place;
    if (place.find(beside)) m_folder = PrivateFolder::create(place);
    if (!m_folder) failToKeep(beside, errno);
}

std::string PipedScans::add(const std::string& name, const std::string& extension) {
    m_folder->add(name + extension);
    return m_folder->pathOf(name + extension);
}

std::string PipedScans::takeInput(const std::string& extension) {
    std::string path = add("standard input", extension);
    OutputFile file;
    if (!file.create(path.c_str())) failToKeep(m_beside, errno);
    std::vector<std::uint8_t> piece(kPiece);
    for (std::size_t got = readSome(piece); got > 0; got = readSome(piece)) {
        file.append(std::span(piece).first(got));
        if (file.failed()) failToKeep(m_beside, errno);
    }
    if (!file.close()) failToKeep(m_beside, errno);
    return path;
}

std::string PipedScans::outputPath(const std::string& extension) {
    // A native scan may bring an alignment, an identity, with it.
    add("standard output", ".alg");
    m_output = add("standard output", extension);
    return m_output;
}

ExitCode PipedScans::sendOutput(ResultsChannel& results) const {
    const FilePtr file = openFile(m_output.c_str(), "rb");
    const std::uint64_t size = fileLength(m_output.c_str());
    std::vector<std::uint8_t> piece(kPiece);
    for (std::uint64_t at = 0; at < size;) {
        if (isInterrupted()) {
            complain("standard output: stopped before its end");
            return ExitCode::Interrupted;
        }
        const std::size_t got = file ? readAt(file.get(), at, piece.data(), piece.size()) : 0;
        if (got == 0) {
            throw ScanError(ErrorKind::NotWritten, "standard output",
                            "what waited for it cannot be read back");
        }
        if (!results.send(std::span(piece).first(got))) break;
        at += got;
    }
    return ExitCode::Done;
}

std::string PipedScans::shown(std::string text) const {
    const std::string folder = m_folder->pathOf("");
    for (std::size_t at = text.find(folder); at != std::string::npos; at = text.find(folder, at))
        text.erase(at, folder.size());
    return text;
}

scan::ScanError PipedScans::shown(const scan::ScanError& error) const {
    return ScanError(error.kind(), shown(error.file()), error.place(), shown(error.reason()),
                     shown(error.advice()));
}

}  // namespace brisko::tool
