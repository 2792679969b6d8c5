#include "scan/formats/e57/xml_text.h"

#include "scan/formats/e57/digest.h"
#include "scan/formats/e57/scanner_header.h"
#include "scan/formats/e57/xml_writer.h"

#include "base/text.h"
#include "base/utf8.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/version.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

namespace brisko::scan::e57 {
namespace {

/// w, x, y, z of a rotation; the largest of them is found first, so that nothing small is divided by.
std::array<double, 4> toQuaternion(const Matrix& m) {
    const double xx = m[0], yy = m[5], zz = m[10];
    const double squares[4] = {1 + xx + yy + zz, 1 + xx - yy - zz, 1 - xx + yy - zz,
                               1 - xx - yy + zz};
    const auto largest = std::max_element(std::begin(squares), std::end(squares));
    const double twice = std::sqrt(*largest);
    std::array<double, 4> q{};
    switch (largest - std::begin(squares)) {
        case 0:
            q = {twice, (m[9] - m[6]) / twice, (m[2] - m[8]) / twice, (m[4] - m[1]) / twice};
            break;
        case 1:
            q = {(m[9] - m[6]) / twice, twice, (m[4] + m[1]) / twice, (m[2] + m[8]) / twice};
            break;
        case 2:
            q = {(m[2] - m[8]) / twice, (m[4] + m[1]) / twice, twice, (m[9] + m[6]) / twice};
            break;
        default:
            q = {(m[4] - m[1]) / twice, (m[2] + m[8]) / twice, (m[9] + m[6]) / twice, twice};
    }
    const double half = q[0] < 0 ? -0.5 : 0.5;
    for (double& part : q)
        part *= half;
    return q;
}

/// Returns how a reader understands it.
std::optional<Alignment> writeRotationAndMove(XmlWriter& xml, const Matrix& matrix) {
    const std::array<double, 4> q = toQuaternion(matrix);
    const double move[3] = {matrix[3], matrix[7], matrix[11]};
    xml.openStructure("pose");
    xml.openStructure("rotation");
    for (std::size_t i = 0; i < 4; ++i)
        xml.real(std::string(1, "wxyz"[i]), q[i]);
    xml.close();
    xml.openStructure("translation");
    for (std::size_t i = 0; i < 3; ++i)
        xml.real(std::string(1, "xyz"[i]), move[i]);
    xml.close();
    xml.close();
    return toAlignment(q, {move[0], move[1], move[2]});
}

void writePose(XmlWriter& xml, const Matrix& matrix) {
    // A quaternion rounds; this keeps the matrix to the last digit.
    const std::optional<Alignment> read = writeRotationAndMove(xml, matrix);
    if (read && std::equal(matrix.begin(), matrix.end(), read->matrix)) return;
    std::string elements;
    for (const double element : matrix)
        elements += (elements.empty() ? "" : " ") + XmlWriter::digits(element);
    xml.text(kMatrixElement, elements);
}

void writeBounds(XmlWriter& xml, const ScanText& scan) {
    if (scan.hasGrid) {
        xml.openStructure("indexBounds");
        xml.whole("rowMinimum", 0);
        xml.whole("rowMaximum", scan.rows - 1);
        xml.whole("columnMinimum", 0);
        xml.whole("columnMaximum", scan.columns - 1);
        xml.close();
        if (scan.bandColumns > 0) xml.whole(kBandElement, scan.bandColumns);
    }
    xml.openStructure("cartesianBounds");
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const std::string name(1, "xyz"[axis]);
        xml.real(name + "Minimum", scan.min[axis]);
        xml.real(name + "Maximum", scan.max[axis]);
    }
    xml.close();
}

void writeLimits(XmlWriter& xml, bool hasColour) {
    xml.openStructure("intensityLimits");
    xml.real("intensityMinimum", 0);
    xml.real("intensityMaximum", static_cast<double>(BriskoCodec::i_range));
    xml.close();
    if (!hasColour) return;
    xml.openStructure("colorLimits");
    for (const std::string colour : {"colorRed", "colorGreen", "colorBlue"}) {
        xml.whole(colour + "Minimum", 0);
        xml.whole(colour + "Maximum", 255);
    }
    xml.close();
}

void writeField(XmlWriter& xml, const Field& field) {
    std::string type;
    switch (field.kind) {
        case Field::Kind::Float:
            type = "type=\"Float\" precision=\"single\"";
            break;
        case Field::Kind::Double:
            type = "type=\"Float\"";
            break;
        default:
            type =
                field.kind == Field::Kind::Integer ? "type=\"Integer\"" : "type=\"ScaledInteger\"";
            type += " minimum=\"" + std::to_string(field.minimum) + "\" maximum=\"" +
                    std::to_string(field.maximum) + "\"";
            if (field.kind == Field::Kind::ScaledInteger) {
                type += " scale=\"" + XmlWriter::digits(field.scale) + "\"";
            }
    }
    // A value as it would stand in a record; 0 lies in every range that is written.
    xml.element(field.name, type, "0");
}

void writePoints(XmlWriter& xml, const ScanText& scan) {
    xml.open("points", "type=\"CompressedVector\" fileOffset=\"" +
                           std::to_string(physicalOf(scan.section)) + "\" recordCount=\"" +
                           std::to_string(scan.records) + "\"");
    xml.openStructure("prototype");
    for (const Field& field : scan.fields)
        writeField(xml, field);
    xml.close();
    xml.openVector("codecs");
    xml.close();
    xml.close();
}

void writeScan(XmlWriter& xml, const ScanText& scan) {
    xml.openStructure("vectorChild");
    xml.text("guid", scan.guid);
    xml.text("name", scan.name);
    writeScannerHeader(xml, scan.header);
    writePose(xml, scan.matrix);
    writeBounds(xml, scan);
    const bool hasColour = scan.fields.back().name == "colorBlue";
    writeLimits(xml, hasColour);
    writePoints(xml, scan);
    xml.close();
}

/// The rotation nearest to what a matrix does to directions; nothing where it turns right hands into left ones.
std::optional<Matrix> rigidPart(Matrix m) {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::size_t before = 0; before < axis; ++before) {
            double share = 0;
            for (std::size_t row = 0; row < 12; row += 4)
                share += m[row + before] * m[row + axis];
            for (std::size_t row = 0; row < 12; row += 4)
                m[row + axis] -= share * m[row + before];
        }
        const double length = std::hypot(m[axis], m[4 + axis], m[8 + axis]);
        for (std::size_t row = 0; row < 12; row += 4)
            m[row + axis] /= length;
    }
    if (!isRigid(m)) return std::nullopt;
    return m;
}

void writePicture(XmlWriter& xml, const ImageText& image) {
    const PinholeCamera& camera = image.camera;
    xml.element("jpegImage",
                "type=\"Blob\" fileOffset=\"" + std::to_string(physicalOf(image.blob)) +
                    "\" length=\"" + std::to_string(image.bytes) + "\"",
                "");
    xml.whole("imageHeight", static_cast<std::uint64_t>(camera.height));
    xml.whole("imageWidth", static_cast<std::uint64_t>(camera.width));
}

/// A picture that no pinhole camera took is there to be looked at.
void writeImage(XmlWriter& xml, const ImageText& image, const std::string& scanGuid,
                std::uint64_t digest) {
    const PinholeCamera& camera = image.camera;
    const std::optional<Matrix> pose = rigidPart(std::to_array(camera.pose));
    const std::string name = std::filesystem::path(camera.photo).filename().string();
    xml.openStructure("vectorChild");
    xml.text("guid", makeGuid(mixed(mixed(digest, image.blob), name)));
    if (isUtf8(name)) xml.text("name", name);
    xml.text("associatedData3DGuid", scanGuid);
    if (pose) writeRotationAndMove(xml, *pose);
    if (pose && camera.pixelWidth > 0) {
        constexpr double kSmallest = 0.05;  // pixels
        if (camera.worstError >= kSmallest) {
            xml.text("description",
                     formatText("The lens shows things up to %.1f pixels from where this "
                                "pinhole camera does.",
                                camera.worstError));
        }
        xml.openStructure("pinholeRepresentation");
        writePicture(xml, image);
        xml.real("focalLength", camera.focalLength);
        xml.real("pixelHeight", camera.pixelHeight);
        xml.real("pixelWidth", camera.pixelWidth);
        xml.real("principalPointX", camera.principalX);
        xml.real("principalPointY", camera.principalY);
    } else {
        xml.openStructure("visualReferenceRepresentation");
        writePicture(xml, image);
    }
    xml.close();
    xml.close();
}

}  // namespace

std::string makeXml(const std::vector<ScanText>& scans, const std::vector<ImageText>& images,
                    std::uint64_t digest) {
    XmlWriter xml;
    xml.open("e57Root", std::string("type=\"Structure\" "
                                    "xmlns=\"http://www.astm.org/COMMIT/E57/2010-e57-v1.0\" ") +
                            kExtension);
    xml.text("formatName", "ASTM E57 3D Imaging Data File");
    for (const ScanText& scan : scans)
        digest = mixed(digest, scan.guid);
    xml.text("guid", makeGuid(digest));
    xml.whole("versionMajor", 1);
    xml.whole("versionMinor", 0);
    xml.text("e57LibraryVersion", std::string("brisko ") + briskoCodecVersion());
    xml.openVector("data3D");
    for (const ScanText& scan : scans)
        writeScan(xml, scan);
    xml.close();
    xml.openVector("images2D");
    for (const ImageText& image : images)
        writeImage(xml, image, scans[image.scan].guid, digest);
    xml.close();
    xml.close();
    return xml.take();
}

std::string makeGuid(std::uint64_t digest) {
    const std::uint64_t high = mixed(digest, 1), low = mixed(digest, 2);
    const std::uint64_t marked = (low & 0x3fffffffffffffff) | 0x8000000000000000;
    // Version 8: the maker's own way to make it.
    return formatText("{%08x-%04x-8%03x-%04x-%012llx}", static_cast<unsigned>(high >> 32),
                      static_cast<unsigned>(high >> 16 & 0xffff),
                      static_cast<unsigned>(high & 0xfff), static_cast<unsigned>(marked >> 48),
                      static_cast<unsigned long long>(marked & 0xffffffffffff));
}

bool isRigid(const Matrix& m) {
    constexpr double kTolerance = 1e-5;
    const bool isAffine = m[12] == 0 && m[13] == 0 && m[14] == 0 && m[15] == 1;
    const double determinant = m[0] * (m[5] * m[10] - m[6] * m[9]) -
                               m[1] * (m[4] * m[10] - m[6] * m[8]) +
                               m[2] * (m[4] * m[9] - m[5] * m[8]);
    if (!isAffine || !(determinant > 0)) return false;
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = i; k < 3; ++k) {
            const double product = m[i] * m[k] + m[4 + i] * m[4 + k] + m[8 + i] * m[8 + k];
            if (!(std::abs(product - (i == k ? 1 : 0)) < kTolerance)) return false;
        }
    }
    return true;
}

}  // namespace brisko::scan::e57
