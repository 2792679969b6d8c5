#pragma once

#include "layouts/alignment_matrix.h"
#include "scan/formats/e57/e57_file.h"

#include <brisko_codec/file_header.h>
#include <brisko_codec/scan_photos.h>

#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// What the XML part says of a scan that was written.
struct ScanText {
    std::string name, guid;
    CLRFileHeader header;             // of a native scan; others have an empty one
    Matrix matrix = kIdentityMatrix;  // rigid
    bool hasGrid = false;
    std::uint32_t columns = 0, rows = 0;
    std::uint32_t bandColumns = 0;  // points come by bands of so many; 0: in any order
    double min[3] = {0, 0, 0},
           max[3] = {0, 0, 0};  // metres, scanner's frame; of at least one record
    std::vector<Field> fields;
    std::uint64_t section = 0;  // logical
    std::uint64_t records = 0;
};

/// What it says of a picture.
struct ImageText {
    PinholeCamera camera;     // in the frame of the file
    std::size_t scan = 0;     // that it shows, from 0
    std::uint64_t blob = 0;   // where its section begins, logical
    std::uint64_t bytes = 0;  // of the picture, a JPEG
};

/// The XML part of a file. Texts must be UTF-8.
///   digest  of what the file holds before it
std::string makeXml(const std::vector<ScanText>& scans, const std::vector<ImageText>& images,
                    std::uint64_t digest);

/// A name among all files and scans: "{...}". It comes from the content, so that the same scan gives the
/// same file.
std::string makeGuid(std::uint64_t digest);

/// Whether a matrix is a rotation and a translation, as far as alignments are printed and measured: only
/// such a one can be a pose.
bool isRigid(const Matrix& matrix);

}  // namespace brisko::scan::e57
