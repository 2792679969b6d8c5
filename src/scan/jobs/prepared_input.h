#pragma once

#include "scan/formats/scan_input.h"

#include <brisko_scan/convert.h>
#include <brisko_scan/staged_scan.h>

#include <memory>
#include <optional>
#include <string>

namespace brisko::scan {

/// Throws ScanError: Request where an option makes no sense for any scan, NotWritten for a matrix file
/// that is there already.
void requireFilters(const ConvertOptions& options);

/// The input as the options change it before anything is done with it: with another alignment,
/// with a grid by angles. The options must outlive it.
std::unique_ptr<ScanInput> prepareInput(const ConvertOptions& options,
                                        std::unique_ptr<ScanInput> input);

/// The matrix file that goes with an output, where the options ask for one.
class MatrixOutput {
public:
    /// Throws ScanError(NotWritten).
    MatrixOutput(const ConvertOptions& options, const Alignment& alignment);

    /// Puts it in place. Throws ScanError(NotWritten).
    void commit();

private:
    std::optional<StagedScan> m_staged;
};

}  // namespace brisko::scan
