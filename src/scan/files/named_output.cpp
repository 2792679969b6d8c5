#include "scan/files/named_output.h"

#include <brisko_scan/scan_error.h>

#include <cerrno>
#include <cstring>

namespace brisko::scan {
namespace {

std::span<const std::uint8_t> bytesOf(const void* bytes, std::size_t size) {
    return {static_cast<const std::uint8_t*>(bytes), size};
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
    m_file.append(bytesOf(bytes, size));
    require();
}

void NamedOutput::overwrite(std::uint64_t offset, std::string_view text) {
    m_file.patch(offset, bytesOf(text.data(), text.size()));
    require();
}

void NamedOutput::close() {
    const std::uint64_t written = m_file.position();
    if (!m_file.close()) fail();
    if (fileLength(m_path.c_str()) == written) return;
    throw ScanError(ErrorKind::NotWritten, m_shownPath,
                    "cannot be written: its length on the disk is not what was written");
}

}  // namespace brisko::scan
