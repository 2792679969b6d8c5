#include "scan/formats/format_table.h"

#include "layouts/records.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/e57/e57_images.h"
#include "scan/formats/e57/e57_input.h"
#include "scan/formats/las/las_input.h"
#include "scan/formats/native/native_input.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/formats/pcd/pcd_input.h"
#include "scan/formats/ply/ply_input.h"
#include "scan/formats/pts/pts_input.h"
#include "scan/formats/ptx/ptx_reader.h"
#include "scan/formats/scan_input.h"
#include "scan/integrity/scan_check.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>

namespace brisko::scan {
namespace {

unsigned __int128 cellsOf(const OutputTarget& target) {
    return static_cast<unsigned __int128>(target.columns) * target.rows;
}

unsigned __int128 leastCL3(const OutputTarget& target) {
    return target.indexed ? leastIndexedBytes(target.columns, target.rows) : 0;
}

unsigned __int128 leastCLR(const OutputTarget& target) {
    return clr_record::kSize * cellsOf(target);
}

unsigned __int128 leastPtx(const OutputTarget& target) {
    constexpr std::uint64_t kCell = 8;  // "0 0 0 0" and the line's end
    return kCell * cellsOf(target);
}

unsigned __int128 leastCloud(const OutputTarget&) {
    return 0;
}

std::unique_ptr<ScanInput> openNative(const std::string& path, const ReadOptions& options) {
    return std::make_unique<NativeInput>(path, options);
}

std::unique_ptr<ScanInput> openPtx(const std::string& path, const ReadOptions& options) {
    return std::make_unique<PtxInput>(path, options);
}

std::unique_ptr<ScanInput> openE57(const std::string& path, const ReadOptions& options) {
    return std::make_unique<E57Input>(path, options);
}

std::unique_ptr<ScanInput> openLas(const std::string& path, const ReadOptions& options) {
    return std::make_unique<LasInput>(path, options);
}

std::unique_ptr<ScanInput> openPcd(const std::string& path, const ReadOptions& options) {
    return std::make_unique<PcdInput>(path, options);
}

unsigned __int128 leastPcd(const OutputTarget& target) {
    constexpr std::uint64_t kCell = 16;  // three coordinates and an intensity of 4 bytes
    return target.indexed ? kCell * cellsOf(target) : 0;
}

std::unique_ptr<ScanInput> openPly(const std::string& path, const ReadOptions& options) {
    return std::make_unique<PlyInput>(path, options);
}

std::unique_ptr<ScanInput> openPts(const std::string& path, const ReadOptions& options) {
    return std::make_unique<PtsInput>(path, options);
}

unsigned __int128 leastTiff(const OutputTarget& target) {
    constexpr std::uint64_t kCell = 5 * sizeof(float);
    return kCell * cellsOf(target);
}

/// Of a format whose points are not in a grid for sure: what opening it shows.
ScanReport describeByOpening(const std::string& path) {
    const std::unique_ptr<ScanInput> input = openScan(path);
    const ScanInfo& info = input->info();
    ScanReport report;
    report.path = path;
    report.format = info.format;
    report.bytes = bytesOf(path);
    report.hasGrid = info.hasGrid;
    report.columns = info.columns;
    report.rows = info.rows;
    report.records = info.records;
    report.hasColour = info.storesColour;
    return report;
}

/// The one list of formats: a new one is a folder beside this file and a row here.
constexpr FormatDriver kDrivers[] = {
    {.traits = {.name = "CL3",
                .extension = ".cl3",
                .about = "a CL3 scan, with its grid index (.ij) where the input has a grid",
                .reads = true,
                .writes = true,
                .isNative = true,
                .needsGrid = false,
                .keepsPose = true,
                .keepsColour = true,
                .keepsMissingReturns = true},
     .hasPlainForm = true,
     .open = openNative,
     .describe = describeCL3,
     .check = checkCL3Scan,
     .create = createCL3Output,
     .leastBytes = leastCL3},
    {.traits = {.name = "CLR",
                .extension = ".clr",
                .about = "a raw CLR scan: 1/10000 m, whole intensities, no colour",
                .reads = true,
                .writes = true,
                .isNative = true,
                .needsGrid = true,
                .keepsPose = true,
                .keepsColour = false,
                .keepsMissingReturns = true},
     .open = openNative,
     .describe = describeCLR,
     .check = checkCLRScan,
     .create = createCLROutput,
     .leastBytes = leastCLR},
    {.traits = {.name = "PTX",
                .extension = ".ptx",
                .about = "text, every cell of the grid; intensity 0..1 stands for 0..2200",
                .reads = true,
                .writes = true,
                .isNative = false,
                .needsGrid = true,
                .keepsPose = true,
                .keepsColour = true,
                .keepsMissingReturns = true},
     .needsColumnOrder = true,
     .colourIsOptional = true,
     .holdsScans = true,
     .open = openPtx,
     .list = listPtx,
     .describe = describePtx,
     .check = checkPtxScan,
     .create = createPtxOutput,
     .leastBytes = leastPtx},
    {.traits = {.name = "E57",
                .extension = ".e57",
                .about = "points in binary fields with grid, pose, colour and intensity",
                .reads = true,
                .writes = true,
                .isNative = false,
                .needsGrid = false,
                .keepsPose = true,
                .keepsColour = true,
                .keepsMissingReturns = true},
     .colourIsOptional = true,
     .holdsScans = true,
     .open = openE57,
     .list = listE57,
     .describe = describeE57,
     .check = checkE57Scan,
     .listImages = listE57Images,
     .readImage = readE57Image,
     .placeImages = placeE57Images,
     .create = createE57Output,
     .leastBytes = leastCloud},
    {.traits =
         {.name = "PTS",
          .extension = ".pts",
          .about =
              "text, a point a line after their number; intensity -2048..2047 stands for 0..2200",
          .reads = true,
          .writes = true,
          .isNative = false,
          .needsGrid = false,
          .keepsPose = false,
          .keepsColour = true,
          .keepsMissingReturns = false},
     .colourIsOptional = true,
     .keepsCells = false,
     .open = openPts,
     .describe = describeByOpening,
     .check = checkByReading,
     .create = createPtsOutput,
     .leastBytes = leastCloud},
    {.traits = {.name = "XYZ",
                .extension = ".xyz",
                .about = "text, a point a line",
                .reads = true,
                .writes = true,
                .isNative = false,
                .needsGrid = false,
                .keepsPose = false,
                .keepsColour = true,
                .keepsMissingReturns = false},
     .colourIsOptional = true,
     .keepsCells = false,
     .open = openPts,
     .describe = describeByOpening,
     .check = checkByReading,
     .create = createPtsOutput,
     .leastBytes = leastCloud},
    {.traits = {.name = "PLY",
                .extension = ".ply",
                .about = "binary point cloud with colour, intensity, column and row",
                .reads = true,
                .writes = true,
                .isNative = false,
                .needsGrid = false,
                .keepsPose = false,
                .keepsColour = true,
                .keepsMissingReturns = false},
     .colourIsOptional = true,
     .open = openPly,
     .describe = describeByOpening,
     .check = checkByReading,
     .create = createPlyOutput,
     .leastBytes = leastCloud},
    {.traits = {.name = "LAS",
                .extension = ".las",
                .about =
                    "point cloud of LAS 1.2 or 1.4: 0.1 mm, intensity of 16 bits, column and row",
                .reads = true,
                .writes = true,
                .isNative = false,
                .needsGrid = false,
                .keepsPose = true,
                .keepsColour = true,
                .keepsMissingReturns = true},
     .colourIsOptional = true,
     .open = openLas,
     .describe = describeLas,
     .check = checkLas,
     .create = createLasOutput,
     .leastBytes = leastCloud},
    {.traits = {.name = "PCD",
                .extension = ".pcd",
                .about = "binary point cloud, organised as the grid; missing returns are NaN",
                .reads = true,
                .writes = true,
                .isNative = false,
                .needsGrid = false,
                .keepsPose = true,
                .keepsColour = true,
                .keepsMissingReturns = true},
     .colourIsOptional = true,
     .hasPlainForm = true,
     .open = openPcd,
     .describe = describePcd,
     .check = checkPcd,
     .create = createPcdOutput,
     .leastBytes = leastPcd},
    {.traits = {.name = "TIFF",
                .extension = ".tif",
                .about = "the grid as an array: range, intensity, x, y, z and colour, 32-bit bands",
                .reads = false,
                .writes = true,
                .isNative = false,
                .needsGrid = true,
                .keepsPose = true,
                .keepsColour = true,
                .keepsMissingReturns = true},
     .colourIsOptional = true,
     .create = createTiffOutput,
     .leastBytes = leastTiff},
};

const FormatDriver* driverOf(const std::string& path) {
    const std::string extension = extensionOf(path);
    const auto found = std::find_if(
        std::begin(kDrivers), std::end(kDrivers),
        [&](const FormatDriver& driver) { return extension == driver.traits.extension; });
    return found == std::end(kDrivers) ? nullptr : found;
}

std::string extensionsOf(bool Format::*isWanted) {
    std::string text;
    for (const FormatDriver& driver : kDrivers) {
        if (!(driver.traits.*isWanted)) continue;
        text += (text.empty() ? "" : ", ") + std::string(driver.traits.extension);
    }
    return text;
}

/// ".cl3, .clr or .ptx".
std::string alternatives(std::string extensions) {
    const std::size_t last = extensions.rfind(", ");
    return last == std::string::npos ? extensions : extensions.replace(last, 2, " or ");
}

}  // namespace

const std::vector<Format>& formats() {
    static const std::vector<Format> all = [] {
        std::vector<Format> list;
        for (const FormatDriver& driver : kDrivers)
            list.push_back(driver.traits);
        return list;
    }();
    return all;
}

const Format* formatOf(const std::string& path) {
    const FormatDriver* const driver = driverOf(path);
    return driver ? &driver->traits : nullptr;
}

std::string readableExtensions() {
    return extensionsOf(&Format::reads);
}

std::string writableExtensions() {
    return extensionsOf(&Format::writes);
}

const FormatDriver& readerOf(const std::string& path) {
    const FormatDriver* const driver = driverOf(path);
    if (driver && driver->traits.reads) return *driver;
    if (extensionOf(path) == ".laz") {
        throw ScanError(ErrorKind::Request, path, "a compressed LAS file, which is not read",
                        kLasUnpackAdvice);
    }
    throw ScanError(ErrorKind::Request, path, "not the name of a scan",
                    alternatives(readableExtensions()) + " is expected");
}

const FormatDriver& writerOf(const std::string& path) {
    const FormatDriver* const driver = driverOf(path);
    if (driver && driver->traits.writes) return *driver;
    throw ScanError(ErrorKind::Request, path,
                    "the output is named " + alternatives(writableExtensions()));
}

std::unique_ptr<ScanInput> openScan(const std::string& path, const ReadOptions& options) {
    const FormatDriver& driver = readerOf(path);
    if (options.colourFromPhotos && !driver.traits.isNative) {
        throw ScanError(ErrorKind::Request, path,
                        "only .cl3 and .clr scans have photos beside them");
    }
    if (options.tiles && !driver.traits.isNative) {
        throw ScanError(ErrorKind::Request, path, "only indexed .cl3 scans have tiles");
    }
    if (!options.scan.empty() && !driver.list) {
        throw ScanError(ErrorKind::Request, path, "the format has one scan a file",
                        "read it without choosing one");
    }
    return driver.open(path, options);
}

std::unique_ptr<ScanInput> openSeries(const std::string& first,
                                      const std::vector<std::string>& later) {
    return std::make_unique<NativeInput>(first, ReadOptions{}, later);
}

}  // namespace brisko::scan
