#pragma once

#include "common/progress.h"
#include "convert/point_filter.h"
#include "convert/scan_output.h"
#include "scan/scan_input.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace brisko::tool {

/// What the user asked for.
struct ConvertOptions {
    std::string input;
    std::string output;
    bool plain = false;
    bool applyAlignment = false;
    bool validOnly = false;
    std::optional<double> maxDistance;  // metres
    std::optional<Box> box;
    bool overwrite = false;
    std::string columns;  // "A:B", empty for all
    std::string rows;
    std::string task = "convert";  // how the progress names it
    ProgressStyle progress = ProgressStyle::Auto;
};

/// What came of it.
struct ConvertResult {
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;  // of them, other than black; 0 where the output has no colours
    std::uint32_t columns = 0;   // 0 x 0 where the output has no grid
    std::uint32_t rows = 0;
    LeftOut leftOut;
};

/// Converts a scan. The output appears when it is complete and was read back, or not at all.
/// Throws Failure, Interrupted.
ConvertResult convertScan(const ConvertOptions& options);
/// The same with the points of an input that was opened before.
ConvertResult convertScan(const ConvertOptions& options, std::unique_ptr<ScanInput> input);

/// Throws Failure(Usage) when the input and the output are one, Failure(NotWritten) when the output is
/// there already and may not be replaced.
void requireOutput(const ConvertOptions& options);

/// "out.cl3: 12 points, 4 columns x 3 rows, 531 bytes".
std::string resultText(const ConvertOptions& options, const ConvertResult& result);

/// The same for programs, with the number of points left out, by reason.
nlohmann::ordered_json resultJson(const std::string& schema, const ConvertOptions& options,
                                  const ConvertResult& result);

}  // namespace brisko::tool
