#include "scan/formats/native/native_check.h"

#include "layouts/layout.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/tile_check.h"

#include <brisko_scan/progress.h>
#include <brisko_scan/scan_error.h>

#include <cerrno>
#include <cmath>
#include <cstring>

namespace brisko::scan {
namespace {

[[noreturn]] void failCheck(const OutputTarget& target, const std::string& what) {
    throw ScanError(ErrorKind::NotWritten, target.shownPath,
                    "what was written does not read back as it should (" + what + ")",
                    "nothing was put in place");
}

void require(bool holds, const OutputTarget& target, const char* what) {
    if (!holds) failCheck(target, what);
}

void checkAlignment(const OutputTarget& target) {
    double matrix[16];
    const std::string path = companionOf(target.path, ".alg");
    require(readAlignmentFile(path.c_str(), matrix), target, "alignment");
    require(isSameMatrix(target.matrix, matrix), target, "alignment");
}

void checkEntries(const OutputTarget& target, const IndexLayout& index) {
    const auto finding = firstTileFinding(target.path, index.path, target.progress);
    if (finding) failCheck(target, finding->text);
}

}  // namespace

void failToWrite(const std::string& shownPath) {
    const std::string reason = errno != 0 ? std::strerror(errno) : "the disk may be full";
    throw ScanError(ErrorKind::NotWritten, shownPath, "cannot be written: " + reason);
}

void writeAlignmentBeside(const OutputTarget& target, const PointBox& box) {
    if (isIdentity(target.matrix)) return;
    const std::string path = companionOf(target.path, ".alg");
    if (!writeAlignmentFile(path.c_str(), target.matrix, box.box())) {
        failToWrite(companionOf(target.shownPath, ".alg"));
    }
    checkAlignment(target);
}

void checkIndexedCL3(const OutputTarget& target, std::uint64_t points) {
    const ScanLayout layout = inspectCL3(target.path);
    if (!layout.problems.empty()) failCheck(target, layout.problems.front());
    require(layout.index.has_value(), target, "index");
    require(layout.columns == target.columns && layout.rows == target.rows, target, "grid");
    require(layout.header->GetBlockCount() == layout.index->tiles, target, "blocks");
    require(layout.records == points, target, "points");
    checkEntries(target, *layout.index);
    checkAlignment(target);
}

void checkPlainCL3(const OutputTarget& target, std::uint64_t points) {
    const ScanLayout layout = inspectCL3(target.path);
    if (!layout.problems.empty()) failCheck(target, layout.problems.front());
    require(layout.records == points, target, "points");
}

void checkCLR(const OutputTarget& target) {
    const ScanLayout layout = inspectCLR(target.path);
    if (!layout.problems.empty()) failCheck(target, layout.problems.front());
    require(layout.columns == target.columns && layout.rows == target.rows, target, "grid");
    require(layout.header->GetBlockCount() == 1, target, "blocks");
    require(layout.bytes ==
                clr_header::kSize + clr_block::kHeaderSize + clr_record::kSize * layout.records,
            target, "size");
}

}  // namespace brisko::scan
