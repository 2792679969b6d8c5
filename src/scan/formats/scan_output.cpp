#include "scan/formats/scan_output.h"

#include <brisko_scan/scan_error.h>

namespace brisko::scan {

void BandOrder::failOrder(std::uint32_t column) const {
    throw ScanError(ErrorKind::Damaged, m_shownPath,
                    "the input is not in column order: a point of column " +
                        std::to_string(column) + " comes after later columns");
}

}  // namespace brisko::scan
