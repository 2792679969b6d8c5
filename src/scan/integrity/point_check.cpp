#include "scan/integrity/point_check.h"
#include "scan/files/scan_path.h"

#include <brisko_scan/text.h>
#include "layouts/cell_point.h"
#include "scan/files/input_file.h"
#include "scan/formats/native/header_file.h"

#include <brisko_codec/alignment.h>

#include <cstdio>
#include <filesystem>

namespace brisko::scan {
namespace {

constexpr const char* kCoordinate = "coordinate";
constexpr std::uint64_t kShare = 10;  // one in ten

std::string positionText(const CellPoint& p) {
    char text[96];
    std::snprintf(text, sizeof text, "(%.9g, %.9g, %.9g)", p.x, p.y, p.z);
    return text;
}

}  // namespace

PointCheck::PointCheck(ScanCheck& check, const CLFileHeader& header)
    : m_check(check), m_range(DirectionRange::fromHeader(header)) {
    if (!m_range) check.notes.push_back("the header gives no angles to compare the points with");
}

void PointCheck::note(const char* kind, const CellPoint& point, std::uint64_t block,
                      std::uint64_t number, std::uint64_t offset, const std::string& what) {
    std::string text;
    // The text of what is only counted is never seen.
    if (m_check.findings.isKept(kind)) {
        text = "record " + std::to_string(number) + " " + positionText(point) + " " + what;
    }
    m_check.findings.add({kind, m_check.path, block, offset, std::move(text)});
}

void PointCheck::add(const CellPoint& point, std::uint64_t block, std::uint64_t number,
                     std::uint64_t offset) {
    ++m_check.points;
    if (!isFinite(point)) {
        note(kCoordinate, point, block, number, offset, "is not finite in all its numbers");
    } else if (m_range && !m_range->contains(point.x, point.y, point.z)) {
        ++m_outside;
        note(kAngleFinding, point, block, number, offset, "lies outside the header's angles");
    }
}

void PointCheck::finish() {
    if (m_outside == 0 || m_outside < m_check.points / kShare) return;
    m_check.findings.drop(kAngleFinding);
    m_check.notes.push_back(countOf(m_outside, "point") + " of " + std::to_string(m_check.points) +
                            " outside the header's angles: they count in another way than degrees, "
                            "counter-clockwise from +x and down from +z");
}

void checkHeaderAngles(ScanCheck& check, const CLFileHeader& header) {
    if (!hasFiniteAngles(header)) check.findings.add({"header", check.path, {}, 0, kBadAngle});
}

void checkAlignmentFile(ScanCheck& check) {
    const std::string path = companionOf(check.path, ".alg");
    std::error_code ignored;
    double matrix[16];
    if (!std::filesystem::exists(path, ignored) || readAlignmentFile(path.c_str(), matrix)) return;
    check.findings.add({"alignment", path, {}, {}, "cannot be read as an alignment"});
}

}  // namespace brisko::scan
