#pragma once

#include "job.h"
#include "synthetic/check_values.h"

#include <filesystem>
#include <string>

namespace brisko::bench {

/// A scan in the output folder under a name of its own, so that what the library writes beside it is
/// known and can be removed.
class LinkedScan {
public:
    explicit LinkedScan(const std::string& name) : m_stem(outputPath("library")) {
        m_extension = name.substr(name.rfind('.'));
        remove();
        link(name);
        if (m_extension == ".cl3") {
            const std::string stem = name.substr(0, name.rfind('.'));
            link(stem + ".ij");
            link(stem + ".alg");
        }
    }
    ~LinkedScan() { remove(); }
    LinkedScan(const LinkedScan&) = delete;
    LinkedScan& operator=(const LinkedScan&) = delete;

    std::string path() const { return m_stem + m_extension; }
    double checkIndexed() const {
        return checkFile(m_stem + "_index.cl3", kCL3Header) +
               checkFile(m_stem + "_index.ij", kIJHeader);
    }
    double checkSorted() const { return checkFile(path() + ".Converted.clr", kCLRHeader); }

private:
    void link(const std::string& name) const {
        std::error_code failed;
        const std::string extension = name.substr(name.rfind('.'));
        std::filesystem::create_symlink(std::filesystem::absolute(inputPath(name)),
                                        m_stem + extension, failed);
    }
    void remove() const {
        for (const char* end : {".clr", ".clr.Converted.clr", ".cl3", ".ij", ".alg", "_index.cl3",
                                "_index.ij", "_index.alg"}) {
            removeFiles({m_stem + end});
        }
    }

    std::string m_stem, m_extension;
};

/// The cells of the references' scans.
inline double cellsOf(const std::string& name) {
    const std::uint32_t columns = name == "raw5.clr" ? gridColumns() / 4 : gridColumns();
    return static_cast<double>(columns) * gridRows();
}

}  // namespace brisko::bench
