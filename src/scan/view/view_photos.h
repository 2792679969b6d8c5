#pragma once

#include "scan/files/named_output.h"

#include <brisko_codec/scan_photos.h>
#include <brisko_scan/progress.h>
#include <brisko_scan/scan_info.h>

#include <cstddef>
#include <string>
#include <vector>

namespace brisko::scan {

/// The photos of the stations in a page: small pictures, and the pinhole cameras that took them.
class ViewPhotos {
public:
    explicit ViewPhotos(const WarningFunction& warning) : m_warning(warning) {}

    /// Takes those of a scan: the ones beside a native scan, or inside its file. Scans that share
    /// photos have them once. `scan` is its number in the page.
    void find(const ScanInfo& info, std::size_t scan);

    /// Writes the pictures into the page. One that cannot be decoded is left out with a warning.
    void write(NamedOutput& page, const ProgressFunction& progress);

    /// Of those that were written: elements of a JSON array.
    const std::vector<std::string>& members() const { return m_members; }

private:
    struct Photo {
        std::string file;       // that holds the picture
        std::size_t image = 0;  // its number in an E57 file
        std::size_t scan = 0;   // that it belongs to
        std::string name;
        PinholeCamera camera;  // in the aligned frame
    };

    void add(const Photo& photo);
    void warn(const std::string& file, std::size_t count, const char* why) const;

    const WarningFunction& m_warning;
    std::vector<Photo> m_photos;
    std::vector<std::string> m_members;
};

}  // namespace brisko::scan
