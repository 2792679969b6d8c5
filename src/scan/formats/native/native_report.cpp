#include "scan/formats/native/native_report.h"

#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"

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

ScanReport describeCL3(const std::string& path) {
    return describeNative(inspectCL3(path));
}

ScanReport describeCLR(const std::string& path) {
    return describeNative(inspectCLR(path));
}

}  // namespace brisko::scan
