#include "support/temp_folder.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace brisko::test {

TempFolder::TempFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "brisko-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
    m_path = name;
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::vector<std::string> TempFolder::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_path)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

namespace {

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// Without a buffer of its own: whole files go through in one call.
std::unique_ptr<std::FILE, Closer> open(const std::string& path, const char* mode) {
    std::unique_ptr<std::FILE, Closer> file(std::fopen(path.c_str(), mode));
    if (!file) throw std::runtime_error("cannot open " + path);
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    return file;
}

}  // namespace

void writeFile(const std::string& path, const Bytes& bytes) {
    const auto file = open(path, "wb");
    if (!bytes.empty() && std::fwrite(bytes.data(), bytes.size(), 1, file.get()) != 1)
        throw std::runtime_error("cannot write " + path);
}

void writeFile(const std::string& path, std::string_view text) {
    writeFile(path, Bytes(text.begin(), text.end()));
}

Bytes readFile(const std::string& path) {
    const auto file = open(path, "rb");
    Bytes bytes(std::filesystem::file_size(path));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return bytes;
}

std::string readText(const std::string& path) {
    const Bytes bytes = readFile(path);
    return {bytes.begin(), bytes.end()};
}

Bytes fromHex(std::string_view digits) {
    Bytes bytes;
    std::string pair;
    for (const char c : digits) {
        if (std::isspace(static_cast<unsigned char>(c))) continue;
        pair.push_back(c);
        if (pair.size() < 2) continue;
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(pair, nullptr, 16)));
        pair.clear();
    }
    return bytes;
}

std::string toHex(const Bytes& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

}  // namespace brisko::test
