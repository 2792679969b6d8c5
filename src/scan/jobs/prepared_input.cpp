#include "scan/jobs/prepared_input.h"

#include "base/text.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/formats/wrapped_input.h"
#include "scan/jobs/gridded_input.h"

#include <brisko_scan/matrix_file.h>
#include <brisko_scan/scan_error.h>

#include <cmath>

namespace brisko::scan {
namespace {

[[noreturn]] void failRequest(const std::string& reason) {
    throw ScanError(ErrorKind::Request, {}, reason);
}

/// A scan in another place.
class PosedInput : public WrappedInput {
public:
    PosedInput(std::unique_ptr<ScanInput> inner, const Alignment& alignment)
        : WrappedInput(std::move(inner)) {
        m_info.alignment = alignment;
        m_info.alignment.source = AlignmentSource::File;
    }
};

void requireMatrixName(const ConvertOptions& options) {
    const std::string& path = options.alignmentOutput;
    const bool isTaken =
        formatOf(path) != nullptr || hasExtension(path, ".alg") || hasExtension(path, ".ij");
    if (isTaken) {
        throw ScanError(ErrorKind::Request, path,
                        "the name of a scan or of its companion; a matrix file is a text");
    }
    requireDistinct(options.input, path);
    requireNew(path, options.overwrite);
}

}  // namespace

void requireFilters(const ConvertOptions& options) {
    if (options.every == 0) failRequest("--every 0: it takes a number from 1 on");
    if (!(options.voxel >= 0) || !std::isfinite(options.voxel)) {
        failRequest("--voxel: a length in metres is expected");
    }
    const double step = options.gridStep;
    if (step != 0 && !(step >= AngleSurvey::kLeastStep && step <= AngleSurvey::kMostStep)) {
        failRequest(formatText("--grid: a step of %g to %g degrees is expected",
                               AngleSurvey::kLeastStep, AngleSurvey::kMostStep));
    }
    const auto& between = options.intensitiesBetween;
    if (between && !(between->min <= between->max)) {
        failRequest("--intensity: the range holds nothing");
    }
    if (!options.alignmentOutput.empty()) requireMatrixName(options);
}

std::unique_ptr<ScanInput> prepareInput(const ConvertOptions& options,
                                        std::unique_ptr<ScanInput> input) {
    if (options.alignment) {
        input = std::make_unique<PosedInput>(std::move(input), *options.alignment);
    }
    if (options.gridStep > 0) {
        if (input->info().hasGrid) {
            throw ScanError(ErrorKind::Request, input->info().path, "it has a grid of its own",
                            "read it without --grid");
        }
        writerOf(options.output);  // a wrong name is refused before all points are read
        input = std::make_unique<GriddedInput>(std::move(input), options.gridStep, options.output,
                                               options.progress);
    }
    return input;
}

MatrixOutput::MatrixOutput(const ConvertOptions& options, const Alignment& alignment) {
    const std::string& path = options.alignmentOutput;
    if (path.empty()) return;
    m_staged.emplace(path);
    NamedOutput file(m_staged->path(), path);
    file.write(matrixText(alignment.matrix));
    file.close();
}

void MatrixOutput::commit() {
    if (m_staged) m_staged->commit();
}

}  // namespace brisko::scan
