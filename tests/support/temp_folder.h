#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace brisko::test {

using Bytes = std::vector<std::uint8_t>;

/// A fresh folder that goes with the object.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    /// The path of a file in the folder.
    std::string operator/(std::string_view name) const { return (m_path / name).string(); }
    /// The names of all files in the folder, sorted.
    std::vector<std::string> names() const;

private:
    std::filesystem::path m_path;
};

/// The first bytes of a file.
inline Bytes cutTo(const Bytes& bytes, std::size_t size) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
}

void writeFile(const std::string& path, const Bytes& bytes);
void writeFile(const std::string& path, std::string_view text);
Bytes readFile(const std::string& path);
std::string readText(const std::string& path);

/// The bytes that a row of hexadecimal digits stands for; blanks and line ends are passed over.
Bytes fromHex(std::string_view digits);
std::string toHex(const Bytes& bytes);

}  // namespace brisko::test
