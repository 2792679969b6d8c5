#include "scan/formats/scan_output.h"

#include <brisko_scan/scan_error.h>

namespace brisko::scan {

void BandOrder::failOrder(std::uint32_t column) const {
    throw ScanError(ErrorKind::Damaged, m_shownPath,
                    "the input is not in column order: a point of column " +
                        std::to_string(column) + " comes after later columns");
}

std::unique_ptr<ScanOutput> createOutput(OutputFormat format, const OutputTarget& target) {
    switch (format) {
        case OutputFormat::IndexedCL3:
            return createIndexedCL3Output(target);
        case OutputFormat::PlainCL3:
            return createPlainCL3Output(target);
        case OutputFormat::CLR:
            return createCLROutput(target);
        case OutputFormat::PTX:
            return createPtxOutput(target);
        case OutputFormat::PLY:
            return createPlyOutput(target);
    }
    return nullptr;
}

}  // namespace brisko::scan
