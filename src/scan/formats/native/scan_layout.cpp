#include "scan/formats/native/scan_layout.h"

#include "base/file.h"
#include "layouts/layout.h"
#include "scan/files/scan_path.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace brisko::scan {
namespace {

ScanReport describeNative(ScanLayout layout) {
    ScanReport report;
    report.path = layout.path;
    report.format = formatOf(layout.path);
    report.bytes = layout.bytes;
    report.hasGrid = !layout.isCL3 || layout.index;
    report.columns = layout.columns;
    report.rows = layout.rows;
    report.index = layout.index;
    report.alignment = alignmentOf(layout.path);
    report.records = layout.records;
    report.hasColour = hasColour(layout);
    report.photos = findStationPhotos(layout.path);
    report.problems = std::move(layout.problems);
    report.header = std::move(layout.header);
    if (report.alignment.source == AlignmentSource::Unreadable) {
        report.problems.push_back(companionOf(layout.path, ".alg") +
                                  ": cannot be read as an alignment");
    }
    return report;
}

}  // namespace

bool hasColour(const ScanLayout& layout) {
    return layout.isCL3 &&
           CL3PointFormat{layout.header->GetPointFormat()} == CL3PointFormat::Coloured;
}

void addAngleProblem(ScanLayout& layout) {
    if (hasFiniteAngles(*layout.header)) return;
    layout.problems.push_back(layout.path + ": " + kBadAngle);
}

void requireSound(const ScanLayout& layout) {
    if (!layout.problems.empty()) throw ScanError(ErrorKind::Damaged, {}, layout.problems.front());
}

Alignment alignmentOf(const std::string& scan) {
    Alignment alignment;
    const std::string path = companionOf(scan, ".alg");
    if (std::error_code ignored; !std::filesystem::exists(path, ignored)) return alignment;
    alignment.source = readAlignmentFile(path.c_str(), alignment.matrix)
                           ? AlignmentSource::File
                           : AlignmentSource::Unreadable;
    return alignment;
}

ScanLayout inspectNative(const std::string& path) {
    return hasExtension(path, ".clr") ? inspectCLR(path) : inspectCL3(path);
}

bool isSameMatrix(const Matrix& a, const Matrix& b) {
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double tolerance = 1e-15 * std::max(1.0, std::abs(a[i]));
        if (!(std::abs(a[i] - b[i]) <= tolerance)) return false;
    }
    return true;
}

ScanReport describeCL3(const std::string& path) {
    return describeNative(inspectCL3(path));
}

ScanReport describeCLR(const std::string& path) {
    return describeNative(inspectCLR(path));
}

void readHeader(CLFileHeader& header, const std::string& path) {
    if (header.Read(path.c_str())) return;
    throw ScanError(ErrorKind::Damaged, path,
                    std::string("cannot be read: ") + std::strerror(errno));
}

bool hasFiniteAngles(const CLFileHeader& header) {
    const float angles[] = {header.GetStartAzimuthAngle(), header.GetStopAzimuthAngle(),
                            header.GetStartZenithAngle(), header.GetStopZenithAngle()};
    return std::all_of(std::begin(angles), std::end(angles),
                       [](float angle) { return std::isfinite(angle); });
}

void rewriteHeader(const std::string& path, const CLFileHeader& header,
                   const std::string& shownPath) {
    const FilePtr file = openFile(path.c_str(), "r+b");
    if (file) header.Write(file.get());
    if (!file || std::fflush(file.get()) != 0 || std::ferror(file.get())) {
        throw ScanError(ErrorKind::NotWritten, shownPath,
                        std::string("its header cannot be written: ") + std::strerror(errno));
    }
}

}  // namespace brisko::scan
