#include "scan/integrity/repair.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/scan_kind.h>
#include <brisko_scan/staged_scan.h>
#include "base/file.h"

namespace brisko::scan {
namespace {

void requireNames(const RepairOptions& options) {
    requireDistinct(options.input, options.output);
    const ScanKind kind = scanKind(options.input);
    if (kind == ScanKind::PTX) {
        throw ScanError(ErrorKind::Request, options.input, "only .cl3 and .clr scans are repaired");
    }
    if (scanKind(options.output) == kind) return;
    throw ScanError(ErrorKind::Request, options.output,
                    "the output is named " + extensionOf(options.input) + ", like the input");
}

}  // namespace

Salvage repairScan(const RepairOptions& options) {
    requireNames(options);
    requireNew(options.output, options.overwrite);
    Salvage salvage =
        scanKind(options.input) == ScanKind::CL3 ? repairCL3(options) : repairCLR(options);
    salvage.bytes = fileLength(options.output.c_str());
    return salvage;
}

}  // namespace brisko::scan
