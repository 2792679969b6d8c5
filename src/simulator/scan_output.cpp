#include "simulator/scan_output.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace brisko::simulator {

void WrittenScan::include(const std::vector<Measurement>& cells) {
    for (const Measurement& cell : cells) {
        if (!cell.measured()) continue;
        ++returns;
        const double place[3] = {cell.x, cell.y, cell.z};
        for (int axis = 0; axis < 3; ++axis) {
            box.min[axis] = std::min(box.min[axis], place[axis]);
            box.max[axis] = std::max(box.max[axis], place[axis]);
        }
    }
}

void WrittenScan::include(const WrittenScan& other) {
    returns += other.returns;
    for (int axis = 0; axis < 3; ++axis) {
        box.min[axis] = std::min(box.min[axis], other.box.min[axis]);
        box.max[axis] = std::max(box.max[axis], other.box.max[axis]);
    }
}

void requireWritten(bool written, const std::string& path) {
    if (written) return;
    throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                          std::string("cannot be written: ") + std::strerror(errno));
}

void requireLength(const std::string& stagedPath, std::uint64_t length, const std::string& path) {
    std::error_code error;
    const std::uint64_t found = std::filesystem::file_size(stagedPath, error);
    if (error)
        throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                              "cannot be read back: " + error.message());
    if (found == length) return;
    throw scan::ScanError(scan::ErrorKind::NotWritten, path,
                          "holds " + std::to_string(found) + " bytes where " +
                              std::to_string(length) + " were written",
                          "check the disk");
}

}  // namespace brisko::simulator
