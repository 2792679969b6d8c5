#pragma once

#include "base/file.h"

#include <cstdint>
#include <string>

namespace brisko {

/// A file without a name for what does not fit into memory: it lies on the disk of an output, and
/// goes with the object or with the process.
class SpillFile {
public:
    /// Creates the file when the first bytes come.
    ///   beside  a path in the folder that it lies in
    explicit SpillFile(std::string beside = {}) : m_beside(std::move(beside)) {}

    /// Appends bytes. Returns false with errno set when they cannot be written.
    bool append(const void* bytes, std::size_t size);
    /// Reads bytes that were appended. Returns false when they cannot be read.
    bool read(std::uint64_t offset, void* out, std::size_t size) const;
    /// Where the next bytes go.
    std::uint64_t end() const { return m_end; }
    /// Forgets all bytes; the file takes no more room for the next ones.
    void clear() { m_end = 0; }

private:
    bool create();

    std::string m_beside;
    FilePtr m_file;
    std::uint64_t m_end = 0;
};

}  // namespace brisko
