#pragma once

#include "scan/formats/scan_input.h"

#include <brisko_scan/convert.h>

#include <memory>

namespace brisko::scan {

/// Throws ScanError: Request when the input and the output are one, NotWritten when the output is
/// there already and may not be replaced.
void requireOutput(const ConvertOptions& options);

/// Converts an input that is open. `task`: how the progress names it.
ConvertResult convertInput(const ConvertOptions& options, std::unique_ptr<ScanInput> input,
                           const char* task);

}  // namespace brisko::scan
