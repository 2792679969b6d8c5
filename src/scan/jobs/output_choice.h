#pragma once

#include "scan/formats/format_table.h"
#include "scan/formats/scan_output.h"
#include "scan/jobs/grid_part.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/scan_info.h>

namespace brisko::scan {

/// What is to be written, and in which form.
struct OutputChoice {
    const FormatDriver* driver;
    bool indexed;    // with a grid index, where the format may have one
    bool needsGrid;  // the cells of the points

    const Format* operator->() const { return &driver->traits; }
};

/// plain: without an index, where the format leaves a choice.
OutputChoice makeChoice(const FormatDriver& driver, const ScanInfo& input, bool plain);

/// Whether points have to be put into column order before the format takes them.
///   window  the part of the input's grid that becomes the output
bool needsOrder(const OutputChoice& choice, const ScanInfo& input, const GridPart& window);

/// Grid, order and header of an output; the caller adds the rest.
OutputTarget targetOf(const OutputChoice& choice, const ScanInfo& input, const GridPart& window);

}  // namespace brisko::scan
