#include "scan/jobs/scan_transfer.h"

#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/format_table.h"
#include "scan/jobs/column_order.h"
#include "scan/jobs/header_angles.h"

#include <brisko_codec/file_header.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <iterator>
#include <limits>

namespace brisko::scan {
namespace {

OutputChoice chooseOutput(const ConvertOptions& options, const ScanInfo& input,
                          Destination destination) {
    if (options.plain && !hasExtension(options.output, ".cl3")) {
        throw ScanError(ErrorKind::Request, {},
                        "--plain: only a .cl3 output can be without an index");
    }
    if (!options.formVersion.empty() && !hasExtension(options.output, ".las")) {
        throw ScanError(ErrorKind::Request, {},
                        "--las-version: only a .las output is of one version or another");
    }
    const FormatDriver& driver = writerOf(options.output);
    if (destination == Destination::Cloud) return {&driver, false, false};
    return makeChoice(driver, input, options.plain);
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

/// Whether any point of a part has a colour other than black.
bool hasColour(ScanInput& input, const GridPart* part, const ProgressFunction& function) {
    TaskProgress progress(function, "look for colour", input.steps(), input.stepUnit());
    std::vector<CellPoint> points;
    bool found = false;
    do {
        input.read(points);
        found = std::any_of(points.begin(), points.end(), [part](const CellPoint& p) {
            return isColoured(p) && (!part || part->holds(p));
        });
        progress.advanceTo(input.stepsDone());
    } while (!found && !points.empty());
    input.rewind();
    return found;
}

/// PTX lines have a colour or not; a CL3 record always has room for one.
bool chooseColour(ScanInput& input, const GridPart* part, const OutputChoice& output,
                  const ProgressFunction& progress) {
    if (!output.driver->colourIsOptional || !input.info().storesColour) return false;
    return input.info().isColoured || hasColour(input, part, progress);
}

TransferCount operator-(TransferCount count, const TransferCount& before) {
    count.points -= before.points;
    count.coloured -= before.coloured;
    count.leftOut.outsideGrid -= before.leftOut.outsideGrid;
    count.leftOut.notFinite -= before.leftOut.notFinite;
    count.leftOut.atScanner -= before.leftOut.atScanner;
    return count;
}

}  // namespace

TransferCount countIn(const ScanOutput& output) {
    return {output.points(), output.coloured(), output.leftOut()};
}

ScanTransfer::ScanTransfer(const ConvertOptions& options, std::unique_ptr<ScanInput> input,
                           const char* task, Destination destination)
    : m_options(options),
      m_task(task),
      m_destination(destination),
      m_input(std::move(input)),
      m_choice(chooseOutput(options, m_input->info(), destination)),
      m_estimate(m_input->info().columns, m_input->info().rows) {
    requireGrid(options, info(), m_choice);
    m_window = chooseWindow(options, info(), m_choice);
    // A point cloud has no place for a matrix.
    m_bake = options.applyAlignment || !m_choice->keepsPose;
}

void ScanTransfer::requireSize() const {
    OutputTarget target;
    target.columns = m_window.columns();
    target.rows = m_window.rows();
    target.indexed = m_choice.indexed;
    requireReasonableSize(info().path, m_options.output, m_choice.driver->leastBytes(target),
                          bytesOf(info().path) + bytesOf(companionOf(info().path, ".ij")));
}

OutputTarget ScanTransfer::makeTarget(const std::string& path, std::optional<bool> hasColour) {
    OutputTarget target = targetOf(m_choice, info(), m_window);
    target.path = path;
    target.shownPath = m_options.output;
    if (!m_bake) target.matrix = matrix();
    target.name = info().name;
    target.guid = info().guid;
    target.precision = m_options.precision;
    target.formVersion = m_options.formVersion;
    target.withColour = hasColour ? *hasColour
                                  : chooseColour(*m_input, isWindow() ? &m_window : nullptr,
                                                 m_choice, m_options.progress);
    target.progress = m_options.progress;
    return target;
}

std::vector<PinholeCamera> ScanTransfer::photos() const {
    const bool areStored = m_choice.driver->listImages && info().format->isNative &&
                           m_destination == Destination::Scan && !m_options.withoutPhotos;
    if (!areStored) return {};
    std::vector<PinholeCamera> photos = findPinholeCameras(info().path);
    const std::size_t left = findScanPhotos(info().path).photos.size() - photos.size();
    if (left > 0) {
        warn(info().path + ": " + countOf(left, "photo") +
             " beside it left out; 'brisko images' shows why");
    }
    const AlignmentMatrix frame(matrix());
    for (PinholeCamera& photo : photos) {
        double* const m = photo.pose;
        double x = 0, y = 0, z = 0;
        frame.apply(x, y, z);
        const double origin[3] = {x, y, z};
        for (std::size_t column = 0; column < 4; ++column) {
            x = m[column];
            y = m[4 + column];
            z = m[8 + column];
            frame.apply(x, y, z);
            const double moved = column < 3 ? 1 : 0;  // directions do not move
            m[column] = x - moved * origin[0];
            m[4 + column] = y - moved * origin[1];
            m[8 + column] = z - moved * origin[2];
        }
    }
    return photos;
}

/// What the window takes of the input. The padding of the last tiles belongs to the last columns and rows:
/// parts of a scan hold together what the scan does.
GridPart ScanTransfer::partWithPadding() const {
    constexpr std::uint32_t kNoEnd = std::numeric_limits<std::uint32_t>::max();
    GridPart part = m_window;
    if (part.every > 1) return part;
    if (part.endColumn == info().columns) part.endColumn = kNoEnd;
    if (part.endRow == info().rows) part.endRow = kNoEnd;
    return part;
}

PointFilter ScanTransfer::makeFilter() {
    PointConditions chosen;
    if (isWindow()) chosen.part = partWithPadding();
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

TransferCount ScanTransfer::run(ScanOutput& output) {
    const TransferCount before = countIn(output);
    PointFilter filter = makeFilter();
    const auto write = [&](std::span<CellPoint> points) {
        m_window.renumber(points);
        output.write(points);
    };
    ColumnOrder order(info().bandColumns, info().path, m_options.output, write);
    const bool ordered = needsOrder(m_choice, info(), m_window);
    const bool estimated = estimatesAngles();
    if (ordered) m_input->expectPauses();  // a band is written when all of it is there

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
            m_window.renumber(points);
            output.take(points);
        }
        progress.advanceTo(m_input->stepsDone());
    }
    if (ordered) order.finish();
    output.settle();
    return countIn(output) - before;
}

void ScanTransfer::noteColours(const std::vector<CellPoint>& points) {
    if (m_losesColour || m_choice->keepsColour || !info().storesColour) return;
    m_losesColour = std::any_of(points.begin(), points.end(), isColoured);
}

void ScanTransfer::completeHeader(const OutputTarget& target) const {
    if (estimatesAngles()) {
        patchAngles(target, m_estimate, m_window);
    } else if (m_choice->isNative && m_choice.driver->hasPlainForm && m_window.every == 1) {
        // A raw scan's steps follow from its angles; those of a part would be rounded another time.
        const bool isCL3 = dynamic_cast<const CL3FileHeader*>(info().header.get()) != nullptr;
        if (info().header && (isCL3 || isWindow())) patchSteps(target, *info().header);
    }
}

void ScanTransfer::warn(const std::string& text) const {
    if (m_options.warning) m_options.warning(text);
}

void ScanTransfer::warnAboutFormat() const {
    if (!m_choice->keepsPose && !m_options.applyAlignment && matrix() != kIdentityMatrix) {
        warn(m_options.output + ": " + m_choice->extension +
             " has no place for a matrix; the points are aligned");
    }
}

void ScanTransfer::warnAboutPoints(const TransferCount& count, const std::string& remark) const {
    const LeftOut& leftOut = count.leftOut;
    if (m_losesColour) {
        warn(m_options.output + ": " + m_choice->extension +
             " has no place for colours; they are left out");
    }
    if (!m_input->remark().empty()) warn(info().path + ": " + m_input->remark());
    if (!remark.empty()) warn(m_options.output + ": " + remark);
    if (const std::size_t pictures = m_input->pictures(); pictures > 0) {
        warn(info().path + ": " + countOf(pictures, "picture") +
             " left out; 'brisko images' extracts them");
    }
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
}

void ScanTransfer::warnOfNothing(const TransferCount& count) const {
    if (count.points == 0) {
        warn(m_options.output + ": holds no point; " +
             (m_delivered == 0 ? "the input has none" : "none of the input's passed"));
    }
}

}  // namespace brisko::scan
