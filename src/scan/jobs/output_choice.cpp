#include "scan/jobs/output_choice.h"

#include "scan/jobs/header_angles.h"

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the native writers keep at a time

}  // namespace

OutputChoice makeChoice(const FormatDriver& driver, const ScanInfo& input, bool plain) {
    const bool indexed = driver.hasPlainForm && !plain && input.hasGrid;
    return {&driver, indexed, indexed || driver.traits.needsGrid};
}

/// The native writers keep bands of 256 columns, as tiles come; only a window that begins inside
/// a tile takes these apart. A band of a tall CLR grid takes more memory than its points.
bool needsOrder(const OutputChoice& choice, const ScanInfo& input, const GridPart& window) {
    constexpr std::uint32_t kTall = 12'000;  // rows; a band of them takes 60 MB
    if (input.bandColumns == 1 || !choice.needsGrid) return false;
    const bool isTall = window.rows() > kTall;
    const bool isTiled = choice.indexed && choice->isNative;  // keeps tiles, however tall
    return choice.driver->needsColumnOrder || (isTall && !isTiled) || input.bandColumns != kBand ||
           window.firstColumn % kBand != 0;
}

OutputTarget targetOf(const OutputChoice& choice, const ScanInfo& input, const GridPart& window) {
    OutputTarget target;
    target.columns = window.columns();
    target.rows = window.rows();
    target.indexed = choice.indexed;
    target.inColumnOrder = input.bandColumns == 1 || needsOrder(choice, input, window);
    target.header = outputHeader(input, window);
    return target;
}

}  // namespace brisko::scan
