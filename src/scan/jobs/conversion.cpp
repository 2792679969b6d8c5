#include "scan/files/input_file.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/jobs/column_order.h"
#include "scan/jobs/header_angles.h"
#include "scan/jobs/point_filter.h"
#include "scan/jobs/prepared_input.h"

#include <brisko_codec/codec.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the native writers keep at a time

/// What is to be written, and in which form.
struct OutputChoice {
    const FormatDriver* driver;
    bool indexed;    // with a grid index, where the format may have one
    bool needsGrid;  // the cells of the points

    const Format* operator->() const { return &driver->traits; }
};

OutputChoice chooseOutput(const ConvertOptions& options, const ScanInfo& input) {
    if (options.plain && !hasExtension(options.output, ".cl3")) {
        throw ScanError(ErrorKind::Request, {},
                        "--plain: only a .cl3 output can be without an index");
    }
    if (!options.formVersion.empty() && !hasExtension(options.output, ".las")) {
        throw ScanError(ErrorKind::Request, {},
                        "--las-version: only a .las output is of one version or another");
    }
    const FormatDriver& driver = writerOf(options.output);
    const bool indexed = driver.hasPlainForm && !options.plain && input.hasGrid;
    return {&driver, indexed, indexed || driver.traits.needsGrid};
}

void requireGrid(const ConvertOptions& options, const ScanInfo& input, const OutputChoice& output) {
    const bool asksForCells = options.columns || options.rows;
    if (input.hasGrid || (!output.needsGrid && !asksForCells)) return;
    const std::string reason =
        input.format->isNative ? "the scan has no index (" + companionOf(input.path, ".ij") + ")"
                               : "the file has no grid";
    throw ScanError(
        ErrorKind::Request, input.path, reason + ", so the cells of its points are not known",
        "it can be written as .ply or as .cl3, without --columns and --rows, or get a grid "
        "by angles with --grid STEP");
}

void requireStorable(const CellWindow& window, const ScanInfo& input, const OutputChoice& output) {
    constexpr std::uint32_t kMost = 0x7fffffff;  // a CLR header counts with a sign
    const std::uint32_t columns = window.endColumn - window.firstColumn;
    const std::uint32_t rows = window.endRow - window.firstRow;
    const std::string grid = std::to_string(columns) + " x " + std::to_string(rows) + " cells";
    if (columns > kMost || rows > kMost) {
        throw ScanError(ErrorKind::Request, input.path, grid + " are too many",
                        "--columns and --rows choose some");
    }
    if (output->needsGrid && !output->isNative && (columns == 0 || rows == 0)) {
        throw ScanError(ErrorKind::Damaged, input.path, "a grid of " + grid + " has no lines");
    }
}

/// The part of the grid that a range names.
void takeRange(const GridRange& range, const char* option, std::uint32_t cells,
               std::uint32_t& first, std::uint32_t& end) {
    first = range.first;
    end = range.end.value_or(cells);
    if (first < end && end <= cells) return;
    throw ScanError(
        ErrorKind::Request, {},
        std::string(option) + " " + std::to_string(first) + ":" + std::to_string(end) +
            ": the range must hold something and lie inside 0:" + std::to_string(cells));
}

GridPart chooseWindow(const ConvertOptions& options, const ScanInfo& input,
                      const OutputChoice& output) {
    GridPart window{{0, input.columns, 0, input.rows}};
    if (input.hasGrid) window.every = options.every;
    if (options.columns) {
        takeRange(*options.columns, "--columns", input.columns, window.firstColumn,
                  window.endColumn);
    }
    if (options.rows) {
        takeRange(*options.rows, "--rows", input.rows, window.firstRow, window.endRow);
    }
    requireStorable(window, input, output);
    return window;
}

bool isColoured(const CellPoint& p) {
    return (p.red | p.green | p.blue) != 0;
}

/// Whether any point has a colour other than black.
bool hasColour(ScanInput& input, const ProgressFunction& function) {
    TaskProgress progress(function, "look for colour", input.steps(), input.stepUnit());
    std::vector<CellPoint> points;
    bool found = false;
    do {
        input.read(points);
        found = std::any_of(points.begin(), points.end(), isColoured);
        progress.advanceTo(input.stepsDone());
    } while (!found && !points.empty());
    input.rewind();
    return found;
}

/// PTX lines have a colour or not; a CL3 record always has room for one.
bool chooseColour(ScanInput& input, const OutputChoice& output, const ProgressFunction& progress) {
    if (!output.driver->colourIsOptional || !input.info().storesColour) return false;
    return input.info().isColoured || hasColour(input, progress);
}

class Conversion {
public:
    Conversion(const ConvertOptions& options, std::unique_ptr<ScanInput> input, const char* task)
        : m_options(options),
          m_task(task),
          m_input(std::move(input)),
          m_choice(chooseOutput(options, m_input->info())),
          m_estimate(m_input->info().columns, m_input->info().rows) {
        requireGrid(options, info(), m_choice);
        m_window = chooseWindow(options, info(), m_choice);
        // A point cloud has no place for a matrix.
        m_bake = options.applyAlignment || !m_choice->keepsPose;
    }

    ConvertResult run() {
        requireSize();
        StagedScan staged(m_options.output);
        const OutputTarget target = makeTarget(staged.path());
        staged.requireAlignment(toAlignment(target.matrix).matrix);
        warnAboutFormat();
        const std::unique_ptr<ScanOutput> output = m_choice.driver->create(target);
        transfer(*output);
        output->finish();
        completeHeader(target);
        staged.commit(m_options.progress);
        warnAboutPoints(*output);
        return {output->points(), output->coloured(), target.columns, target.rows, 0,
                output->leftOut()};
    }

private:
    const ScanInfo& info() const { return m_input->info(); }
    bool isWindow() const { return m_options.columns || m_options.rows || m_window.every > 1; }
    bool estimatesAngles() const { return !info().header && m_choice->isNative; }

    /// A header of a few bytes can claim a grid of any size.
    void requireSize() const {
        OutputTarget target;
        target.columns = m_window.columns();
        target.rows = m_window.rows();
        target.indexed = m_choice.indexed;
        requireReasonableSize(info().path, m_options.output, m_choice.driver->leastBytes(target),
                              bytesOf(info().path) + bytesOf(companionOf(info().path, ".ij")));
    }

    Matrix matrix() const { return std::to_array(info().alignment.matrix); }

    OutputTarget makeTarget(const std::string& path) {
        OutputTarget target;
        target.path = path;
        target.shownPath = m_options.output;
        target.columns = m_window.columns();
        target.rows = m_window.rows();
        if (!m_bake) target.matrix = matrix();
        target.name = info().name;
        target.guid = info().guid;
        target.precision = m_options.precision;
        target.formVersion = m_options.formVersion;
        target.withColour = chooseColour(*m_input, m_choice, m_options.progress);
        target.inColumnOrder = info().bandColumns == 1 || needsOrder();
        target.indexed = m_choice.indexed;
        target.progress = m_options.progress;
        target.header = outputHeader(info(), m_window);
        return target;
    }

    PointFilter makeFilter() const {
        PointConditions chosen;
        if (isWindow()) chosen.part = m_window;
        if (!info().hasGrid) chosen.every = m_options.every;
        chosen.minDistance = m_options.minDistance;
        chosen.maxDistance = m_options.maxDistance;
        chosen.intensities = m_options.intensitiesBetween;
        chosen.box = m_options.box;
        chosen.validOnly = m_options.validOnly;
        chosen.matrix = AlignmentMatrix(matrix());
        chosen.applyMatrix = m_bake && matrix() != kIdentityMatrix;
        PointFilter filter(chosen);
        if (m_options.voxel > 0) {
            filter.addVoxels(m_options.voxel, *m_input, m_options.output, m_options.progress);
        }
        return filter;
    }

    /// The native writers keep bands of 256 columns, as tiles come; only a window that begins inside
    /// a tile takes these apart. A band of a tall CLR grid takes more memory than its points.
    bool needsOrder() const {
        constexpr std::uint32_t kTall = 12'000;  // rows; a band of them takes 60 MB
        if (info().bandColumns == 1 || !m_choice.needsGrid) return false;
        const bool isTall = m_window.endRow - m_window.firstRow > kTall;
        const bool isTiled = m_choice.indexed && m_choice->isNative;  // keeps tiles, however tall
        return m_choice.driver->needsColumnOrder || (isTall && !isTiled) ||
               info().bandColumns != kBand || m_window.firstColumn % kBand != 0;
    }

    void transfer(ScanOutput& output) {
        PointFilter filter = makeFilter();
        const auto write = [&](std::span<CellPoint> points) {
            m_window.renumber(points);
            output.write(points);
        };
        ColumnOrder order(info().bandColumns, info().path, m_options.output, write);
        const bool ordered = needsOrder();
        const bool estimated = estimatesAngles();

        TaskProgress progress(m_options.progress, m_task, m_input->steps(), m_input->stepUnit());
        std::vector<CellPoint> points;
        for (m_input->read(points); !points.empty(); m_input->read(points)) {
            m_delivered += points.size();
            noteColours(points);
            if (estimated) m_estimate.add(points);
            filter.apply(points);
            if (ordered) {
                order.add(points);
            } else {
                write(points);
            }
            progress.advanceTo(m_input->stepsDone());
        }
        if (ordered) order.finish();
    }

    /// Of points that the output has no place for.
    void noteColours(const std::vector<CellPoint>& points) {
        if (m_losesColour || m_choice->keepsColour || !info().storesColour) return;
        m_losesColour = std::any_of(points.begin(), points.end(), isColoured);
    }

    void completeHeader(const OutputTarget& target) const {
        if (estimatesAngles()) {
            patchAngles(target, m_estimate, m_window);
        } else if (m_choice->isNative && m_choice.driver->hasPlainForm && !isWindow()) {
            const auto* const header = dynamic_cast<const CL3FileHeader*>(info().header.get());
            if (header) patchSteps(target, *header);
        }
    }

    void warn(const std::string& text) const {
        if (m_options.warning) m_options.warning(text);
    }

    void warnAboutFormat() const {
        if (!m_choice->keepsPose && !m_options.applyAlignment && matrix() != kIdentityMatrix) {
            warn(m_options.output + ": " + m_choice->extension +
                 " has no place for a matrix; the points are aligned");
        }
    }

    void warnAboutPoints(const ScanOutput& output) const {
        const LeftOut& leftOut = output.leftOut();
        if (m_losesColour) {
            warn(m_options.output + ": " + m_choice->extension +
                 " has no place for colours; they are left out");
        }
        if (!m_input->remark().empty()) warn(info().path + ": " + m_input->remark());
        if (!output.remark().empty()) warn(m_options.output + ": " + output.remark());
        if (leftOut.outsideGrid > 0) {
            warn(info().path + ": " + countOf(leftOut.outsideGrid, "point") +
                 " outside the grid left out");
        }
        if (leftOut.notFinite > 0) {
            warn(info().path + ": " + countOf(leftOut.notFinite, "point") +
                 " without finite numbers left out");
        }
        if (leftOut.atScanner > 0) {
            warn(info().path + ": " + countOf(leftOut.atScanner, "point") +
                 " at the scanner's own place left out: they would read as empty cells");
        }
        if (info().recordsArePoints && m_delivered < info().records) {
            warn(info().path + ": " + countOf(info().records - m_delivered, "record") + " of " +
                 std::to_string(info().records) + " hold no point that can be read");
        }
        if (output.points() == 0) {
            warn(m_options.output + ": holds no point; " +
                 (m_delivered == 0 ? "the input has none" : "none of the input's passed"));
        }
    }

    const ConvertOptions& m_options;
    const char* m_task;
    std::unique_ptr<ScanInput> m_input;
    OutputChoice m_choice;
    GridPart m_window;
    bool m_bake = false;
    AngleEstimate m_estimate;
    std::uint64_t m_delivered = 0;
    bool m_losesColour = false;
};

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
    ConvertResult result = Conversion(options, std::move(input), task).run();
    matrix.commit();
    result.bytes = bytesOf(options.output);
    return result;
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
    return convertInput(
        options,
        openScan(options.input, {.scan = options.scan, .intensities = options.intensities}),
        "convert");
}

ConvertResult colourScan(const ConvertOptions& options, StationPhotos& photos) {
    requireFormats(options);
    requirePhotos(options.input);
    ReadOptions fromPhotos;
    fromPhotos.colourFromPhotos = true;
    std::unique_ptr<ScanInput> input = openScan(options.input, fromPhotos);
    // The input holds most of the photos now, so this decodes little.
    photos = decodeStationPhotos(options.input);
    return convertInput(options, std::move(input), "colour");
}

}  // namespace brisko::scan
