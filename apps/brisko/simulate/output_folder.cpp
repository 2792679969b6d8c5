#include "simulate/output_folder.h"

#include "common/exit_code.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace brisko::tool {

namespace fs = std::filesystem;

OutputFolder::OutputFolder(const std::string& path) {
    std::error_code error;
    for (fs::path folder = fs::path(path).lexically_normal(); !fs::exists(folder, error);
         folder = folder.parent_path()) {
        if (folder.empty() || error) break;
        m_created.push_back(folder.string());
    }
    std::reverse(m_created.begin(), m_created.end());
    fs::create_directories(path, error);
    if (!error && fs::is_directory(path, error)) return;
    const std::string reason = error ? error.message() : "something else has that name";
    throw ScanError(ErrorKind::NotWritten, path, "cannot be used as a folder: " + reason);
}

OutputFolder::~OutputFolder() {
    // Only empty folders go: somebody else may have put something there meanwhile.
    for (auto folder = m_created.rbegin(); folder != m_created.rend(); ++folder) {
        std::error_code ignored;
        fs::remove(*folder, ignored);
    }
}

}  // namespace brisko::tool
