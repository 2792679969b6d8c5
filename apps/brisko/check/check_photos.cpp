#include "check/scan_check.h"
#include "scan/photo_report.h"

namespace brisko::tool {

void checkPhotos(ScanCheck& check) {
    throwIfInterrupted();
    check.photos = decodeStationPhotos(check.path);
    for (const PhotoTrouble& trouble : troublesOf(check.photos))
        check.findings.add({trouble.kind, trouble.file, {}, {}, trouble.text});
    for (const std::string& ignored : ignoredTexts(check.photos))
        check.notes.push_back(ignored);
    for (const std::string& remark : remarksOn(check.photos))
        check.notes.push_back(remark);
}

}  // namespace brisko::tool
