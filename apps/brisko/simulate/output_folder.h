#pragma once

#include <string>
#include <vector>

namespace brisko::tool {

/// The folder that outputs go to. Folders that had to be created go again when nothing came of it.
class OutputFolder {
public:
    /// Throws ScanError(NotWritten) when there is no such folder and none can be created.
    explicit OutputFolder(const std::string& path);
    ~OutputFolder();
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    void keep() { m_created.clear(); }

private:
    std::vector<std::string> m_created;  // outermost first
};

}  // namespace brisko::tool
