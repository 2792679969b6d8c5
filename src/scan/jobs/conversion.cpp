#include "scan/files/input_file.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/jobs/merging.h"
#include "scan/jobs/prepared_input.h"
#include "scan/jobs/scan_transfer.h"

#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

namespace brisko::scan {
namespace {

void requireOutput(const ConvertOptions& options) {
    requireDistinct(options.input, options.output);
    requireNew(options.output, options.overwrite);
}

/// `task`: how the progress names it.
ConvertResult convertInput(const ConvertOptions& options, std::unique_ptr<ScanInput> input,
                           const char* task) {
    requireFilters(options);
    input = prepareInput(options, std::move(input));
    MatrixOutput matrix(options, input->info().alignment);
    ScanTransfer transfer(options, std::move(input), task);
    transfer.requireSize();
    StagedScan staged(options.output);
    OutputTarget target = transfer.makeTarget(staged.path(), {});
    target.photos = transfer.photos();
    staged.requireAlignment(toAlignment(target.matrix).matrix);
    transfer.warnAboutFormat();
    const std::unique_ptr<ScanOutput> output = transfer.choice().driver->create(target);
    transfer.run(*output);
    output->finish();
    transfer.completeHeader(target);
    staged.commit(options.progress);
    matrix.commit();
    transfer.warnAboutPoints(countIn(*output), output->remark());
    transfer.warnOfNothing(countIn(*output));
    ConvertResult result{output->points(), output->coloured(),      target.columns,
                         target.rows,      bytesOf(options.output), output->leftOut()};
    if (!transfer.choice().driver->keepsCells) result.columns = result.rows = 0;
    return result;
}

/// Each scan of the input becomes one of the output.
ConvertResult convertAllScans(const ConvertOptions& options) {
    const std::vector<MergeSource> sources = sourcesIn(options.input);
    const FormatDriver& driver = writerOf(options.output);
    if (sources.size() > 1 && !driver.holdsScans) {
        throw ScanError(ErrorKind::Request, options.output,
                        std::string(driver.traits.extension) + " holds one scan, and " +
                            options.input + " has " + std::to_string(sources.size()),
                        "with -o each becomes a file, 'brisko merge' makes one cloud of them");
    }
    if (sources.size() == 1) {
        ConvertOptions single = options;
        single.scan = sources.front().scan;
        return convertScan(single);
    }
    MergeOptions several;
    several.each = options;
    const MergeResult result = mergeSources(sources, several, "convert");
    LeftOut leftOut;
    for (const MergedScan& scan : result.scans) {
        leftOut.outsideGrid += scan.leftOut.outsideGrid;
        leftOut.notFinite += scan.leftOut.notFinite;
        leftOut.atScanner += scan.leftOut.atScanner;
    }
    return {result.points, result.coloured, 0, 0, result.bytes, leftOut};
}

void requireFormats(const ConvertOptions& options) {
    if (!readerOf(options.input).traits.isNative) {
        throw ScanError(ErrorKind::Request, options.input,
                        "only .cl3 and .clr scans have photos beside them");
    }
    if (extensionOf(options.output) == ".clr") {
        throw ScanError(ErrorKind::Request, options.output, ".clr has no place for colours",
                        "name the output .cl3, .ptx or .ply");
    }
    requireOutput(options);
}

/// Throws where colouring would give black points only, or none.
void requirePhotos(const std::string& scan) {
    const InputFile there(scan);  // a scan that is missing has no photos for another reason
    const StationPhotos photos = findStationPhotos(scan);
    requireUsable(photos);
    if (photos.count(PhotoUse::Used) > 0) return;
    if (photos.photos.empty()) {
        throw ScanError(ErrorKind::Request, scan,
                        "there are no photos (.jpg) beside it to take colours from");
    }
    throw ScanError(ErrorKind::Request, scan,
                    "none of the photos beside it can be used: " + ignoredTexts(photos).front());
}

}  // namespace

ConvertResult convertScan(const ConvertOptions& options) {
    requireOutput(options);
    if (options.scan == "all") return convertAllScans(options);
    return convertInput(options,
                        openScan(options.input, {.scan = options.scan,
                                                 .intensities = options.intensities,
                                                 .columns = options.columns}),
                        "convert");
}

ConvertResult colourScan(const ConvertOptions& options, StationPhotos& photos) {
    requireFormats(options);
    requirePhotos(options.input);
    ReadOptions fromPhotos;
    fromPhotos.colourFromPhotos = true;
    fromPhotos.columns = options.columns;
    fromPhotos.hideOccluded = options.hideOccluded;
    fromPhotos.progress = options.progress;
    std::unique_ptr<ScanInput> input = openScan(options.input, fromPhotos);
    // The input holds most of the photos now, so this decodes little.
    photos = decodeStationPhotos(options.input, options.progress);
    return convertInput(options, std::move(input), "colour");
}

}  // namespace brisko::scan
