#include "scan/files/named_output.h"

#include "base/file.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"
#include "layouts/output_limit.h"

#include <brisko_scan/scan_error.h>

#include <cerrno>
#include <cstring>
#include <limits>

namespace brisko::scan {
namespace {

std::span<const std::uint8_t> spanOf(const void* bytes, std::size_t size) {
    return {static_cast<const std::uint8_t*>(bytes), size};
}

/// Sizes beyond 64 bits are as good as the largest of them: nothing has room for either.
std::uint64_t saturated(unsigned __int128 bytes) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
    return bytes > kMost ? kMost : static_cast<std::uint64_t>(bytes);
}

}  // namespace

NamedOutput::NamedOutput(const std::string& path, const std::string& shownPath)
    : m_path(path), m_shownPath(shownPath) {
    if (!m_file.create(path.c_str())) fail();
}

void NamedOutput::fail() const {
    throw ScanError(ErrorKind::NotWritten, m_shownPath,
                    std::string("cannot be written: ") + std::strerror(errno));
}

void NamedOutput::write(const void* bytes, std::size_t size) {
    m_file.append(spanOf(bytes, size));
    require();
}

void NamedOutput::overwrite(std::uint64_t offset, std::string_view text) {
    m_file.patch(offset, spanOf(text.data(), text.size()));
    require();
}

void NamedOutput::close() {
    const std::uint64_t written = m_file.position();
    if (!m_file.close()) fail();
    if (fileLength(m_path.c_str()) == written) return;
    throw ScanError(ErrorKind::NotWritten, m_shownPath,
                    "cannot be written: its length on the disk is not what was written");
}

void requireReasonableSize(const std::string& input, const std::string& output,
                           unsigned __int128 leastBytes, std::uint64_t inputBytes) {
    const std::uint64_t bytes = saturated(leastBytes);
    if (isOutputReasonable(bytes, inputBytes, output)) return;
    const std::string needed = output + ": would take at least " + std::to_string(bytes) + " bytes";
    const std::uint64_t most = largestOutputFor(inputBytes);
    if (bytes > most) {
        throw ScanError(ErrorKind::Damaged, input,
                        "its grid is out of proportion to its " + std::to_string(inputBytes) +
                            " bytes; " + needed + ", the most is " + std::to_string(most) +
                            " (1 GiB and 64 times the input)");
    }
    throw ScanError(ErrorKind::NotWritten, {},
                    needed + ", the disk has " + std::to_string(freeSpaceBeside(output)));
}

unsigned __int128 leastIndexedBytes(std::uint32_t columns, std::uint32_t rows) {
    const unsigned __int128 tiles =
        static_cast<unsigned __int128>(divideRoundingUp(columns, kTileSize)) *
        divideRoundingUp(rows, kTileSize);
    return tiles * (ijTileBytes(kTileSize) + cl3_block::kHeaderSize);
}

std::uint64_t bytesOf(const std::string& path) {
    return fileLength(path.c_str());
}

}  // namespace brisko::scan
