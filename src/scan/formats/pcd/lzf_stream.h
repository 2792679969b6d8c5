#pragma once

#include "scan/files/input_file.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// Unpacks LZF data of a file front to back, with the memory of a few blocks however large they are.
///
///   control byte c < 32: c + 1 bytes follow as they are.
///   else: the length is c >> 5, plus the next byte where that is 7; then a byte b: length + 2 bytes are
///   those from (c & 31) * 256 + b + 1 bytes before; they may overlap.
///
/// Everything that does not fit is a ScanError(Damaged).
class LzfStream {
public:
    /// packed: bytes from the offset on; full: what they become.
    LzfStream(const std::string& path, std::uint64_t offset, std::uint64_t packed,
              std::uint64_t full);

    /// Another one that goes on from the same place.
    std::unique_ptr<LzfStream> fork() const;

    /// The next bytes.
    void read(std::uint8_t* out, std::size_t size) { take(out, size); }
    void skip(std::uint64_t size) { take(nullptr, size); }
    /// To be called after the last byte: nothing is left.
    void requireEnd() const;

private:
    void take(std::uint8_t* out, std::uint64_t size);
    void fill();
    std::size_t unpack(const std::uint8_t* in, std::size_t size);
    [[noreturn]] void fail(const char* reason) const;

    std::string m_path;
    ByteStream m_stream;
    std::uint64_t m_packedLeft;
    std::uint64_t m_fullLeft;  // not yet unpacked
    // What was unpacked: bytes that later ones refer to, then those that nobody took yet.
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_taken = 0, m_end = 0;
};

}  // namespace brisko::scan
