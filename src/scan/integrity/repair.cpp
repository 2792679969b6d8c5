#include "scan/integrity/repair.h"

#include "base/file.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/scan_check.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <cmath>

namespace brisko::scan {
namespace {

void requireNames(const RepairOptions& options) {
    requireDistinct(options.input, options.output);
    const Format& input = readerOf(options.input).traits;
    if (!input.isNative) {
        throw ScanError(ErrorKind::Request, options.input, "only .cl3 and .clr scans are repaired");
    }
    if (hasExtension(options.output, input.extension)) return;
    throw ScanError(ErrorKind::Request, options.output,
                    std::string("the output is named ") + input.extension + ", like the input");
}

Alignment takeAlignment(const RepairOptions& options, Salvage& salvage) {
    const Alignment alignment = alignmentOf(options.input);
    if (alignment.source != AlignmentSource::Unreadable) return alignment;
    salvage.losses.add({"alignment",
                        companionOf(options.input, ".alg"),
                        {},
                        {},
                        "cannot be read as an alignment; the points stay in the scanner's frame"});
    return alignment;
}

void mendAngles(const RepairOptions& options, Salvage& salvage, CLFileHeader& header) {
    using Get = float (CLFileHeader::*)() const;
    using Set = void (CLFileHeader::*)(float);
    constexpr struct {
        Get get;
        Set set;
    } kAngles[] = {{&CLFileHeader::GetStartAzimuthAngle, &CLFileHeader::SetStartAzimuthAngle},
                   {&CLFileHeader::GetStopAzimuthAngle, &CLFileHeader::SetStopAzimuthAngle},
                   {&CLFileHeader::GetStartZenithAngle, &CLFileHeader::SetStartZenithAngle},
                   {&CLFileHeader::GetStopZenithAngle, &CLFileHeader::SetStopZenithAngle}};
    for (const auto& angle : kAngles) {
        if (std::isfinite((header.*angle.get)())) continue;
        (header.*angle.set)(0);
        salvage.losses.add(
            {"header", options.input, {}, 0, "an angle of the header is not a number; 0 instead"});
    }
}

void verifyRepaired(const RepairOptions& options, const std::string& staged, Salvage& salvage) {
    if (salvage.points == 0 && !salvage.losses.empty()) {
        throw ScanError(ErrorKind::Damaged, options.input,
                        "no point can be salvaged; " + findingText(salvage.losses.kept().front()));
    }
    ScanCheck check = checkFiles(staged, 1, options.progress);
    // Points in directions that the header does not cover are kept: they are points.
    check.findings.drop("angle");
    salvage.blocks = check.blocks;
    if (check.findings.empty() && check.points == salvage.points) return;
    const std::string reason =
        check.findings.empty()
            ? std::to_string(check.points) + " of " + std::to_string(salvage.points) + " points"
            : check.findings.kept().front().text;
    throw ScanError(ErrorKind::NotWritten, options.output,
                    "what was written does not read back as it should (" + reason + ")",
                    "nothing was put in place");
}

}  // namespace

Salvage repairScan(const RepairOptions& options) {
    requireNames(options);
    requireNew(options.output, options.overwrite);
    Salvage salvage = hasExtension(options.input, ".cl3") ? repairCL3(options) : repairCLR(options);
    salvage.bytes = fileLength(options.output.c_str());
    return salvage;
}

void refuseInput(const RepairOptions& options, const std::string& what) {
    throw ScanError(ErrorKind::Damaged, options.input, what);
}

void refuseFormat(const RepairOptions& options, std::uint64_t offset, const CLFileHeader& header,
                  const std::string& known) {
    refuseInput(options, "byte " + std::to_string(offset) + ": point format " +
                             std::to_string(header.GetPointFormat()) + " is not one of " + known);
}

void requireWholeHeader(const RepairOptions& options, std::uint64_t fileSize,
                        std::uint64_t headerSize) {
    if (fileSize >= headerSize) return;
    refuseInput(options, "the file ends inside its header; nothing can be told of what it held");
}

void writeRepaired(const RepairOptions& options, Salvage& salvage, CLFileHeader& header,
                   const std::function<void(OutputTarget&)>& write) {
    StagedScan staged(options.output);
    OutputTarget target;
    target.path = staged.path();
    target.shownPath = options.output;
    const Alignment alignment = takeAlignment(options, salvage);
    target.matrix = std::to_array(alignment.matrix);
    staged.requireAlignment(alignment.matrix);
    mendAngles(options, salvage, header);
    write(target);
    verifyRepaired(options, staged.path(), salvage);
    staged.commit(options.progress);
}

}  // namespace brisko::scan
