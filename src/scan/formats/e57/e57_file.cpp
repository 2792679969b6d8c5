#include "scan/formats/e57/e57_file.h"

#include "scan/formats/e57/scanner_header.h"

#include "base/text.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace brisko::scan::e57 {
namespace {

constexpr std::uint64_t kMostXml = std::uint64_t{256} << 20;

/// What is wrong with an element; the file's name is added where it is caught.
struct XmlProblem : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string trimmed(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// Numbers are 0 where nothing is written.
double toNumber(const std::string& text, const std::string& what) {
    const std::string digits = trimmed(text);
    if (digits.empty()) return 0;
    const char* end = nullptr;
    const double number = parseDouble(digits.c_str(), &end);
    if (*end == '\0') return number;
    throw XmlProblem(what + ": \"" + digits.substr(0, 40) + "\" is not a number");
}

template <class Whole>
Whole toWhole(const std::string& text, const std::string& what) {
    const std::string digits = trimmed(text);
    if (digits.empty()) return 0;
    Whole number = 0;
    const char* const first = digits.data() + (digits.front() == '+');
    const char* const last = digits.data() + digits.size();
    const auto result = std::from_chars(first, last, number);
    if (result.ec == std::errc() && result.ptr == last) return number;
    throw XmlProblem(what + ": \"" + digits.substr(0, 40) + "\" is not a whole number that fits");
}

std::string typeOf(const XmlNode& node) {
    const std::string* const type = node.attribute("type");
    return type ? *type : std::string();
}

std::string stringOf(const XmlNode& parent, const char* name) {
    const XmlNode* const node = parent.child(name);
    return node ? node->text : std::string();
}

std::int64_t wholeAttribute(const XmlNode& node, const char* name, std::int64_t otherwise) {
    const std::string* const text = node.attribute(name);
    return text ? toWhole<std::int64_t>(*text, node.name + " " + name) : otherwise;
}

double numberAttribute(const XmlNode& node, const char* name, double otherwise) {
    const std::string* const text = node.attribute(name);
    return text ? toNumber(*text, node.name + " " + name) : otherwise;
}

std::uint64_t requiredAttribute(const XmlNode& node, const char* name) {
    const std::string* const text = node.attribute(name);
    if (!text) throw XmlProblem(node.name + " has no " + name);
    return toWhole<std::uint64_t>(*text, node.name + " " + name);
}

/// The value of a number of any type.
double valueOf(const XmlNode& node) {
    if (typeOf(node) != "ScaledInteger") return toNumber(node.text, node.name);
    return static_cast<double>(toWhole<std::int64_t>(node.text, node.name)) *
               numberAttribute(node, "scale", 1) +
           numberAttribute(node, "offset", 0);
}

double valueOf(const XmlNode* parent, const char* name, double otherwise) {
    const XmlNode* const node = parent ? parent->child(name) : nullptr;
    return node ? valueOf(*node) : otherwise;
}

Field readField(const XmlNode& node) {
    Field field;
    field.name = node.name;
    const std::string type = typeOf(node);
    if (type == "Float") {
        const std::string* const precision = node.attribute("precision");
        const bool isSingle = precision && *precision == "single";
        field.kind = isSingle ? Field::Kind::Float : Field::Kind::Double;
        field.bits = isSingle ? 32 : 64;
    } else if (type == "Integer" || type == "ScaledInteger") {
        using Limits = std::numeric_limits<std::int64_t>;
        field.kind = type == "Integer" ? Field::Kind::Integer : Field::Kind::ScaledInteger;
        field.minimum = wholeAttribute(node, "minimum", Limits::min());
        field.maximum = wholeAttribute(node, "maximum", Limits::max());
        if (field.maximum < field.minimum) {
            throw XmlProblem("field " + node.name + ": its maximum is below its minimum");
        }
        field.bits = static_cast<unsigned>(std::bit_width(
            static_cast<std::uint64_t>(field.maximum) - static_cast<std::uint64_t>(field.minimum)));
        if (field.kind == Field::Kind::ScaledInteger) {
            field.scale = numberAttribute(node, "scale", 1);
            field.offset = numberAttribute(node, "offset", 0);
        }
    }
    return field;
}

/// The leaves of a prototype in document order.
void readFields(const XmlNode& parent, std::vector<Field>& fields) {
    for (const XmlNode& node : parent.children) {
        if (typeOf(node) == "Structure") {
            readFields(node, fields);
        } else {
            fields.push_back(readField(node));
        }
    }
}

std::optional<IntensityRange> readLimits(const XmlNode* limits, const std::string& name) {
    if (!limits) return std::nullopt;
    const XmlNode* const min = limits->child(name + "Minimum");
    const XmlNode* const max = limits->child(name + "Maximum");
    if (!min || !max) return std::nullopt;
    return IntensityRange{valueOf(*min), valueOf(*max)};
}

std::optional<IndexBounds> readBounds(const XmlNode* bounds, const std::string& name) {
    if (!bounds) return std::nullopt;
    const XmlNode* const min = bounds->child(name + "Minimum");
    const XmlNode* const max = bounds->child(name + "Maximum");
    if (!min || !max) return std::nullopt;
    const IndexBounds read{toWhole<std::int64_t>(min->text, min->name),
                           toWhole<std::int64_t>(max->text, max->name)};
    if (read.maximum < read.minimum) {
        throw XmlProblem("indexBounds: " + max->name + " is below " + min->name);
    }
    return read;
}

std::uint32_t readBands(const XmlNode& scan) {
    const XmlNode* const bands = scan.child(kBandElement);
    if (!bands) return 0;
    constexpr std::uint32_t kBand = 256;  // columns that native scans keep together
    const auto columns = toWhole<std::uint32_t>(bands->text, bands->name);
    return columns == 1 || columns == kBand ? columns : 0;
}

Alignment readPose(const XmlNode& scan) {
    const XmlNode* const pose = scan.child("pose");
    if (!pose) return {};
    const XmlNode* const rotation = pose->child("rotation");
    const XmlNode* const translation = pose->child("translation");
    const std::optional<Alignment> read = toAlignment(
        {valueOf(rotation, "w", rotation ? 0 : 1), valueOf(rotation, "x", 0),
         valueOf(rotation, "y", 0), valueOf(rotation, "z", 0)},
        {valueOf(translation, "x", 0), valueOf(translation, "y", 0), valueOf(translation, "z", 0)});
    if (!read) throw XmlProblem("pose: its rotation or translation is no number");
    return *read;
}

/// Takes the elements of a matrix that was written beside the pose, as long as it still is the same one.
void refinePose(const XmlNode& scan, Alignment& pose) {
    const XmlNode* const text = scan.child(kMatrixElement);
    if (!text) return;
    constexpr double kRounding = 1e-5;
    Alignment exact;
    const char* at = text->text.c_str();
    for (std::size_t i = 0; i < 16; ++i) {
        const char* end = nullptr;
        exact.matrix[i] = parseDouble(at, &end);
        const double most = kRounding * std::max(1.0, std::abs(pose.matrix[i]));
        if (end == at || !(std::abs(exact.matrix[i] - pose.matrix[i]) <= most)) return;
        at = end;
    }
    std::copy(std::begin(exact.matrix), std::end(exact.matrix), pose.matrix);
}

Scan readScan(const XmlNode& node) {
    Scan scan;
    scan.name = trimmed(stringOf(node, "name"));
    scan.guid = stringOf(node, "guid");
    const XmlNode* const points = node.child("points");
    if (!points) throw XmlProblem("a scan has no points element");
    scan.section = requiredAttribute(*points, "fileOffset");
    scan.records = requiredAttribute(*points, "recordCount");
    const XmlNode* const prototype = points->child("prototype");
    if (!prototype) throw XmlProblem("points have no prototype");
    readFields(*prototype, scan.fields);
    scan.pose = readPose(node);
    refinePose(node, scan.pose);
    scan.header = readScannerHeader(node);
    const XmlNode* const bounds = node.child("indexBounds");
    scan.columns = readBounds(bounds, "column");
    scan.rows = readBounds(bounds, "row");
    scan.bandColumns = readBands(node);
    scan.intensityLimits = readLimits(node.child("intensityLimits"), "intensity");
    const XmlNode* const colours = node.child("colorLimits");
    scan.colourLimits = {readLimits(colours, "colorRed"), readLimits(colours, "colorGreen"),
                         readLimits(colours, "colorBlue")};
    return scan;
}

/// The pinhole camera of a picture. One that is not said in numbers is no reason to refuse the scans.
PinholeCamera readCamera(const XmlNode& node, const XmlNode& shown) {
    PinholeCamera camera;
    if (!node.child("pose")) return camera;
    try {
        constexpr double kMostSide = 1 << 24;  // pixels
        const auto side = [&](const char* name) {
            return static_cast<int>(std::clamp(valueOf(&shown, name, 0), 0.0, kMostSide));
        };
        const Alignment pose = readPose(node);
        std::copy(std::begin(pose.matrix), std::end(pose.matrix), camera.pose);
        camera.focalLength = valueOf(&shown, "focalLength", 0);
        camera.pixelWidth = valueOf(&shown, "pixelWidth", 0);
        camera.pixelHeight = valueOf(&shown, "pixelHeight", 0);
        camera.principalX = valueOf(&shown, "principalPointX", 0);
        camera.principalY = valueOf(&shown, "principalPointY", 0);
        camera.width = side("imageWidth");
        camera.height = side("imageHeight");
    } catch (const XmlProblem&) {
        return {};
    }
    return camera;
}

/// A picture without its bytes in the file is none.
std::optional<Image> readImage(const XmlNode& node) {
    static constexpr std::string_view kKinds[] = {"pinhole", "spherical", "cylindrical",
                                                  "visualReference"};
    for (const std::string_view kind : kKinds) {
        const XmlNode* const shown = node.child(std::string(kind) + "Representation");
        if (!shown) continue;
        const XmlNode* const jpeg = shown->child("jpegImage");
        const XmlNode* const blob = jpeg ? jpeg : shown->child("pngImage");
        if (!blob) continue;
        Image image;
        image.name = trimmed(stringOf(node, "name"));
        image.representation = kind;
        image.scanGuid = stringOf(node, "associatedData3DGuid");
        if (kind == "pinhole") image.camera = readCamera(node, *shown);
        image.isPng = !jpeg;
        image.blob = requiredAttribute(*blob, "fileOffset");
        image.bytes = requiredAttribute(*blob, "length");
        return image;
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::size_t> Scan::find(std::string_view field) const {
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].name == field && fields[i].kind != Field::Kind::Other) return i;
    }
    return std::nullopt;
}

std::optional<Alignment> toAlignment(const std::array<double, 4>& quaternion,
                                     const std::array<double, 3>& translation) {
    const double length = std::sqrt(quaternion[0] * quaternion[0] + quaternion[1] * quaternion[1] +
                                    quaternion[2] * quaternion[2] + quaternion[3] * quaternion[3]);
    const bool isFiniteMove = std::isfinite(translation[0]) && std::isfinite(translation[1]) &&
                              std::isfinite(translation[2]);
    if (!std::isfinite(length) || length == 0 || !isFiniteMove) return std::nullopt;
    const double w = quaternion[0] / length, x = quaternion[1] / length, y = quaternion[2] / length,
                 z = quaternion[3] / length;
    const double rotation[3][3] = {
        {1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)},
        {2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)},
        {2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)}};
    Alignment alignment;
    alignment.source = AlignmentSource::File;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column)
            alignment.matrix[4 * row + column] = rotation[row][column];
        alignment.matrix[4 * row + 3] = translation[row];
    }
    return alignment;
}

File::File(const std::string& path) : m_pages(path) {
    readHeader();
    const XmlNode root = readXml();
    try {
        if (root.name != "e57Root") throw XmlProblem("its root is not e57Root");
        m_library = stringOf(root, "e57LibraryVersion");
        readScans(root);
        readImages(root);
    } catch (const XmlProblem& problem) {
        fail(std::string("XML part: ") + problem.what());
    }
}

void File::fail(const std::string& reason) const {
    throw ScanError(ErrorKind::Damaged, m_pages.path(), reason);
}

void File::readHeader() {
    std::uint8_t bytes[FileHeader::kSize];
    if (!m_pages.readRaw(bytes, sizeof bytes)) fail("it is too short for an E57 file");
    m_header = FileHeader::decode(bytes);
    if (!m_header.isSigned) fail("it does not begin as an E57 file");
    if (m_header.major != FileHeader::kMajor) {
        fail("E57 version " + std::to_string(m_header.major) + " is not known");
    }
    if (m_header.pageBytes != kPage) {
        fail("pages of " + std::to_string(m_header.pageBytes) + " bytes are not known");
    }
    if (m_header.fileBytes != m_pages.fileBytes() || m_header.fileBytes % kPage != 0) {
        fail("it has " + std::to_string(m_pages.fileBytes()) + " bytes; its header announces " +
             std::to_string(m_header.fileBytes));
    }
}

XmlNode File::readXml() {
    const std::uint64_t size = m_pages.size();
    std::uint64_t at = isOffset(m_header.xmlOffset) ? logicalOf(m_header.xmlOffset) : size;
    std::uint64_t left = m_header.xmlBytes;
    if (at >= size || left > size - at || left > kMostXml) {
        fail("its XML part does not lie inside the file");
    }
    try {
        return parseXml([&]() -> std::string_view {
            const auto part =
                static_cast<std::size_t>(std::min<std::uint64_t>(left, PageReader::kMost));
            const std::uint8_t* const bytes = m_pages.view(at, part);
            at += part;
            left -= part;
            return {reinterpret_cast<const char*>(bytes), part};
        });
    } catch (const ScanError&) {
        throw;
    } catch (const std::runtime_error& problem) {
        fail(std::string("XML part, ") + problem.what());
    }
}

void File::readScans(const XmlNode& root) {
    const XmlNode* const list = root.child("data3D");
    if (!list) return;
    for (const XmlNode& node : list->children) {
        if (node.name == "vectorChild") m_scans.push_back(readScan(node));
    }
}

void File::readImages(const XmlNode& root) {
    const XmlNode* const list = root.child("images2D");
    if (!list) return;
    for (const XmlNode& node : list->children) {
        if (node.name != "vectorChild") continue;
        if (std::optional<Image> image = readImage(node)) m_images.push_back(std::move(*image));
    }
}

}  // namespace brisko::scan::e57
