#include "scan/formats/scan_output.h"

#include <brisko_codec/alignment.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <iterator>

namespace brisko::scan {

bool isIdentity(const double (&matrix)[16]) {
    const Alignment none;
    return std::equal(std::begin(matrix), std::end(matrix), std::begin(none.matrix));
}

void BandOrder::failOrder(std::uint32_t column) const {
    throw ScanError(ErrorKind::Damaged, m_shownPath,
                    "the input is not in column order: a point of column " +
                        std::to_string(column) + " comes after later columns");
}

}  // namespace brisko::scan
