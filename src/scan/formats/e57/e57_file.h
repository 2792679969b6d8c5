#pragma once

#include "scan/formats/e57/page_reader.h"
#include "scan/formats/e57/xml_tree.h"

#include <brisko_codec/alignment.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/scan_photos.h>
#include <brisko_scan/scan_info.h>

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// What the XML part of an E57 file says of its scans and pictures.
namespace brisko::scan::e57 {

/// An element beside the pose that keeps its matrix to the last digit, and what declares it.
inline constexpr const char* kMatrixElement = "brisko:matrix";
/// An element that names the order of a scan's points, so that no pass has to find it out: they come by bands of
/// so many columns, 1 or 256.
inline constexpr const char* kBandElement = "brisko:bandColumns";
inline constexpr const char* kExtension = "xmlns:brisko=\"urn:brisko:e57:1\"";

/// A field of a scan's records: one stream of its packets.
struct Field {
    enum class Kind { Float, Double, Integer, ScaledInteger, Other };

    std::string name;
    Kind kind = Kind::Other;
    std::int64_t minimum = 0;  // of the stored number; of integers
    std::int64_t maximum = 0;
    double scale = 1;  // value = stored number * scale + offset; of scaled integers
    double offset = 0;
    unsigned bits = 0;  // of a value

    bool isInteger() const { return kind == Kind::Integer || kind == Kind::ScaledInteger; }
    double toValue(std::int64_t stored) const {
        return static_cast<double>(stored) * scale + offset;
    }
};

/// A range of whole numbers, both ends included.
struct IndexBounds {
    std::int64_t minimum = 0;
    std::int64_t maximum = 0;
};

/// A scan: an element of data3D.
struct Scan {
    std::string name;
    std::string guid;
    std::uint64_t records = 0;
    std::uint64_t section = 0;  // physical offset
    std::vector<Field> fields;
    Alignment pose;                              // source None where there is none
    std::shared_ptr<const CLFileHeader> header;  // of a native scan that became this one; else null
    std::optional<IndexBounds> columns, rows;
    std::uint32_t bandColumns = 0;  // as the file names the order of its points; 0: it does not
    std::optional<IntensityRange> intensityLimits;
    std::array<std::optional<IntensityRange>, 3> colourLimits;  // red, green, blue

    /// The number of a field in the records; nothing where they do not have it.
    std::optional<std::size_t> find(std::string_view field) const;
    bool hasGrid() const { return find("columnIndex") && find("rowIndex"); }
    bool hasColour() const { return find("colorRed") && find("colorGreen") && find("colorBlue"); }
};

/// A picture: an element of images2D.
struct Image {
    std::string name;
    std::string representation;  // "pinhole", "spherical", "cylindrical", "visualReference"
    std::string scanGuid;        // of the scan that it shows; may be empty
    PinholeCamera camera;        // in the frame of the file; without pixels where there is none
    bool isPng = false;
    std::uint64_t blob = 0;  // physical offset of its section
    std::uint64_t bytes = 0;
};

/// An open file: its pages and what its XML part says.
class File {
public:
    /// Throws ScanError(Damaged).
    explicit File(const std::string& path);

    PageReader& pages() { return m_pages; }
    const std::vector<Scan>& scans() const { return m_scans; }
    const std::vector<Image>& images() const { return m_images; }
    const FileHeader& header() const { return m_header; }
    /// The program that wrote the file, as it calls itself; may be empty.
    const std::string& library() const { return m_library; }

private:
    void readHeader();
    XmlNode readXml();
    void readScans(const XmlNode& root);
    void readImages(const XmlNode& root);
    [[noreturn]] void fail(const std::string& reason) const;

    PageReader m_pages;
    FileHeader m_header;
    std::string m_library;
    std::vector<Scan> m_scans;
    std::vector<Image> m_images;
};

/// The rotation and translation of a pose as a row-by-row matrix. Nothing for a quaternion that is 0 or
/// not finite.
std::optional<Alignment> toAlignment(const std::array<double, 4>& quaternion,
                                     const std::array<double, 3>& translation);

}  // namespace brisko::scan::e57
