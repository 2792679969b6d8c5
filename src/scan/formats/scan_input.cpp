#include "scan/formats/scan_input.h"

#include "scan/formats/format_table.h"
#include "scan/formats/native/native_input.h"

namespace brisko::scan {

std::unique_ptr<ScanInput> openScan(const std::string& path) {
    return readerOf(path).open(path);
}

std::unique_ptr<ScanInput> openSeries(const std::string& first,
                                      const std::vector<std::string>& later) {
    return std::make_unique<NativeInput>(first, ColourSource::Scan, later);
}

std::unique_ptr<ScanInput> openColouredScan(const std::string& path) {
    return std::make_unique<NativeInput>(path, ColourSource::Photos);
}

}  // namespace brisko::scan
