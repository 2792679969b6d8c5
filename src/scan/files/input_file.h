#pragma once

#include "base/file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {

/// A file that is read by the tool itself: front to back in large blocks, or small pieces anywhere.
/// Every failure of the system is a ScanError(Damaged) with the file's name.
class InputFile {
public:
    explicit InputFile(const std::string& path);

    const std::string& path() const { return m_path; }
    std::uint64_t size() const { return m_size; }

    /// The next bytes, fewer than asked for only at the end of the file.
    std::size_t read(void* out, std::size_t size);
    /// The bytes at an offset; false when the file ends before the last of them. Neighbouring
    /// pieces come from one buffer.
    bool readAt(std::uint64_t offset, void* out, std::size_t size);

private:
    std::size_t readFrom(std::uint64_t offset, void* out, std::size_t size);

    std::string m_path;
    FilePtr m_file;
    std::uint64_t m_size = 0;
    std::uint64_t m_position = 0;
    std::vector<std::uint8_t> m_window;  // of readAt
    std::uint64_t m_windowStart = 0;
};

}  // namespace brisko::scan
