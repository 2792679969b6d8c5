#include "scan/integrity/repair.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>
#include "base/file.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"

namespace brisko::scan {
namespace {

void requireNames(const RepairOptions& options) {
    requireDistinct(options.input, options.output);
    const Format& input = readerOf(options.input).traits;
    if (!input.isNative) {
        throw ScanError(ErrorKind::Request, options.input, "only .cl3 and .clr scans are repaired");
    }
    if (hasExtension(options.output, input.extension)) return;
    throw ScanError(ErrorKind::Request, options.output,
                    std::string("the output is named ") + input.extension + ", like the input");
}

}  // namespace

Salvage repairScan(const RepairOptions& options) {
    requireNames(options);
    requireNew(options.output, options.overwrite);
    Salvage salvage = hasExtension(options.input, ".cl3") ? repairCL3(options) : repairCLR(options);
    salvage.bytes = fileLength(options.output.c_str());
    return salvage;
}

}  // namespace brisko::scan
