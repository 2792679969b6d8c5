#include "synthetic/check_values.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

namespace brisko::bench {

double checkFile(const std::string& path, std::size_t headerSize) {
    constexpr std::uint64_t kMost = std::uint64_t{64} << 20;
    std::error_code failed;
    const std::uint64_t size = std::filesystem::file_size(path, failed);
    if (failed || size < headerSize) return 0;
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(headerSize));
    std::vector<char> bytes(64 << 10);
    std::uint64_t sum = 0, place = 0;
    while (place < kMost && file) {
        file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        for (std::streamsize i = 0; i < file.gcount(); ++i) {
            const auto byte = static_cast<std::uint8_t>(bytes[static_cast<std::size_t>(i)]);
            sum += byte * (place++ % 65521 + 1);
        }
    }
    return static_cast<double>(size) + static_cast<double>(sum % 1'000'000'007) * 1e-3;
}

double checkPtx(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    double lines = 0, empty = 0;
    for (std::string line; std::getline(file, line); ++lines)
        empty += line.starts_with("0 0 0 ");
    return lines + empty * 1e-3;
}

}  // namespace brisko::bench
