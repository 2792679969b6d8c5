#include "layouts/ij_index.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/formats/scan_input.h"
#include "scan/jobs/header_angles.h"

#include <brisko_scan/bands.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <filesystem>

namespace brisko::scan {
namespace {

namespace fs = std::filesystem;

std::string nameOf(const std::string& input, const std::string& folder, std::size_t number,
                   std::size_t bands) {
    const fs::path path(input);
    const std::string digits = std::to_string(number);
    const std::string zeros(std::to_string(bands).size() - digits.size(), '0');
    const fs::path name = path.stem().string() + "_band_" + zeros + digits + ".cl3";
    return ((folder.empty() ? path.parent_path() : fs::path(folder)) / name).string();
}

bool isThere(const std::string& path) {
    std::error_code ignored;
    return fs::exists(path, ignored);
}

/// Whether a file was written before one that it was made from. A source that is not there is older.
bool isOutdated(const std::string& made, const std::string& source) {
    std::error_code noSource, noMade;
    const auto changed = fs::last_write_time(source, noSource);
    return !noSource && (fs::last_write_time(made, noMade) < changed || noMade);
}

/// Whether a band lies where its job would put it.
bool isMade(const Band& band, const ScanInfo& scan) {
    if (!isThere(band.output)) return false;
    for (const char* const extension : {".alg", ".ij"}) {
        if (isOutdated(band.output, companionOf(scan.path, extension))) return false;
    }
    if (isOutdated(band.output, scan.path)) return false;
    const CLRFileHeader expected = outputHeader(scan, {{band.first, band.end, 0, scan.rows}});
    try {
        const ScanLayout found = inspectCL3(band.output);
        const Alignment alignment = alignmentOf(band.output);
        return found.problems.empty() && found.index && found.columns == band.end - band.first &&
               found.rows == scan.rows &&
               found.header->GetStartAzimuthAngle() == expected.GetStartAzimuthAngle() &&
               found.header->GetStopAzimuthAngle() == expected.GetStopAzimuthAngle() &&
               alignment.source == AlignmentSource::File &&
               isSameMatrix(std::to_array(alignment.matrix), std::to_array(scan.alignment.matrix));
    } catch (const ScanError&) {
        return false;
    }
}

}  // namespace

BandPlan planBands(const std::string& input, std::uint32_t bands, const std::string& folder) {
    if (bands == 0) throw ScanError(ErrorKind::Request, {}, "a scan has 1 band or more");
    const ScanInfo scan = openScan(input)->info();
    if (!scan.format->isNative || !scan.hasGrid) {
        throw ScanError(ErrorKind::Request, input,
                        "only raw scans (.clr) and CL3 scans with an index are divided",
                        "'brisko convert' makes one of it");
    }
    if (scan.columns == 0 || scan.rows == 0) {
        throw ScanError(ErrorKind::Request, input, "it has no columns to divide");
    }
    const std::uint64_t tiles = divideRoundingUp(scan.columns, kTileSize);
    const std::uint64_t count = std::min<std::uint64_t>(bands, tiles);
    BandPlan plan{input, scan.columns, scan.rows, {}};
    for (std::uint64_t i = 0; i < count; ++i) {
        Band band;
        band.first = static_cast<std::uint32_t>(i * tiles / count * kTileSize);
        band.end = static_cast<std::uint32_t>(
            std::min<std::uint64_t>((i + 1) * tiles / count * kTileSize, scan.columns));
        band.output = nameOf(input, folder, i + 1, count);
        band.isDone = isMade(band, scan);
        plan.bands.push_back(std::move(band));
    }
    return plan;
}

}  // namespace brisko::scan
