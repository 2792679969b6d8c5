#include "scan/integrity/scan_check.h"

#include "scan/formats/format_table.h"

#include <brisko_scan/scan_error.h>

namespace brisko::scan {
namespace {

/// To their last pixel, and their calibration.
void checkPhotos(ScanCheck& check, const ProgressFunction& progress) {
    check.photos = decodeStationPhotos(check.path, progress);
    for (const PhotoTrouble& trouble : troublesOf(check.photos))
        check.findings.add({trouble.kind, trouble.file, {}, {}, trouble.text});
    for (const std::string& ignored : ignoredTexts(check.photos))
        check.notes.push_back(ignored);
    for (const std::string& remark : remarksOn(check.photos))
        check.notes.push_back(remark);
}

}  // namespace

ScanCheck checkFiles(const std::string& path, std::size_t most, const ProgressFunction& progress) {
    ScanCheck check(most);
    check.path = path;
    const FormatDriver& driver = readerOf(path);
    check.format = &driver.traits;
    driver.check(check, progress);
    return check;
}

ScanCheck checkScan(const std::string& path, std::size_t most, const ProgressFunction& progress) {
    ScanCheck check = checkFiles(path, most, progress);
    if (!check.format->isNative) return check;
    requireGoingOn(progress);
    checkPhotos(check, progress);
    return check;
}

void failDamaged(const std::string& path, const std::string& otherwise) {
    const ScanCheck check = checkFiles(path, 1, {});
    for (const Finding& finding : check.findings.kept()) {
        if (finding.kind == kAngleFinding) continue;  // a doubt about points, no damage of the file
        throw ScanError::damage(finding, kRepairAdvice);
    }
    throw ScanError(ErrorKind::Damaged, {}, otherwise, kRepairAdvice);
}

}  // namespace brisko::scan
