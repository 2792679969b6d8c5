#include "scan/jobs/conversion.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>
#include <brisko_scan/text.h>
#include "layouts/clr_record.h"
#include "scan/files/output_size.h"
#include "scan/jobs/column_order.h"
#include "scan/jobs/header_angles.h"
#include "scan/jobs/point_filter.h"

#include <brisko_codec/codec.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the native writers keep at a time

bool isNative(OutputFormat format) {
    return format == OutputFormat::IndexedCL3 || format == OutputFormat::PlainCL3 ||
           format == OutputFormat::CLR;
}

bool needsGrid(OutputFormat format) {
    return format == OutputFormat::IndexedCL3 || format == OutputFormat::CLR ||
           format == OutputFormat::PTX;
}

OutputFormat chooseFormat(const ConvertOptions& options, const ScanFacts& input) {
    const std::string extension = extensionOf(options.output);
    if (options.plain && extension != ".cl3") {
        throw ScanError(ErrorKind::Request, {},
                        "--plain: only a .cl3 output can be without an index");
    }
    if (extension == ".clr") return OutputFormat::CLR;
    if (extension == ".ptx") return OutputFormat::PTX;
    if (extension == ".ply") return OutputFormat::PLY;
    if (extension != ".cl3") {
        throw ScanError(ErrorKind::Request, options.output,
                        "the output is named .cl3, .clr, .ptx or .ply");
    }
    return options.plain || !input.hasGrid ? OutputFormat::PlainCL3 : OutputFormat::IndexedCL3;
}

void requireGrid(const ConvertOptions& options, const ScanFacts& input, OutputFormat format) {
    const bool asksForCells = options.columns || options.rows;
    if (input.hasGrid || (!needsGrid(format) && !asksForCells)) return;
    throw ScanError(ErrorKind::Request, input.path,
                    "the scan has no index (" + companionOf(input.path, ".ij") +
                        "), so the cells of its points are not known",
                    "it can be written as .ply or as .cl3, without --columns and --rows");
}

void requireStorable(const CellWindow& window, const ScanFacts& input, OutputFormat format) {
    constexpr std::uint32_t kMost = 0x7fffffff;  // a CLR header counts with a sign
    const std::uint32_t columns = window.endColumn - window.firstColumn;
    const std::uint32_t rows = window.endRow - window.firstRow;
    const std::string grid = std::to_string(columns) + " x " + std::to_string(rows) + " cells";
    if (columns > kMost || rows > kMost) {
        throw ScanError(ErrorKind::Request, input.path, grid + " are too many",
                        "--columns and --rows choose some");
    }
    if (format == OutputFormat::PTX && (columns == 0 || rows == 0)) {
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

CellWindow chooseWindow(const ConvertOptions& options, const ScanFacts& input,
                        OutputFormat format) {
    CellWindow window{0, input.columns, 0, input.rows};
    if (options.columns) {
        takeRange(*options.columns, "--columns", input.columns, window.firstColumn,
                  window.endColumn);
    }
    if (options.rows) {
        takeRange(*options.rows, "--rows", input.rows, window.firstRow, window.endRow);
    }
    requireStorable(window, input, format);
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

/// PTX lines have a colour or not; a CL3 record always has room for one, be there none.
bool chooseColour(ScanInput& input, OutputFormat format, const ProgressFunction& progress) {
    if (format != OutputFormat::PTX || !input.facts().storesColour) return false;
    return input.facts().isColoured || hasColour(input, progress);
}

class Conversion {
public:
    Conversion(const ConvertOptions& options, std::unique_ptr<ScanInput> input, const char* task)
        : m_options(options),
          m_task(task),
          m_input(std::move(input)),
          m_format(chooseFormat(options, m_input->facts())),
          m_estimate(m_input->facts().columns, m_input->facts().rows) {
        requireGrid(options, facts(), m_format);
        m_window = chooseWindow(options, facts(), m_format);
        // A point cloud has no place for a matrix.
        m_bake = options.applyAlignment || m_format == OutputFormat::PLY;
    }

    ConvertResult run() {
        requireSize();
        StagedScan staged(m_options.output);
        const OutputTarget target = makeTarget(staged.path());
        staged.requireAlignment(target.matrix);
        warnAboutFormat();
        const std::unique_ptr<ScanOutput> output = createOutput(m_format, target);
        transfer(*output);
        output->finish();
        completeHeader(target);
        staged.commit(m_options.progress);
        warnAboutPoints(*output);
        return {output->points(), output->coloured(), target.columns, target.rows, 0,
                output->leftOut()};
    }

private:
    const ScanFacts& facts() const { return m_input->facts(); }
    bool isWindow() const { return m_options.columns || m_options.rows; }
    bool estimatesAngles() const { return facts().kind == ScanKind::PTX && isNative(m_format); }

    /// A header of a few bytes can claim a grid of any size.
    void requireSize() const {
        constexpr std::uint64_t kPtxCell = 8;  // "0 0 0 0" and the line's end
        const unsigned __int128 cells =
            static_cast<unsigned __int128>(m_window.endColumn - m_window.firstColumn) *
            (m_window.endRow - m_window.firstRow);
        unsigned __int128 bytes = 0;
        if (m_format == OutputFormat::IndexedCL3) {
            bytes = leastIndexedBytes(m_window.endColumn - m_window.firstColumn,
                                      m_window.endRow - m_window.firstRow);
        } else if (m_format == OutputFormat::CLR) {
            bytes = clr_record::kSize * cells;
        } else if (m_format == OutputFormat::PTX) {
            bytes = kPtxCell * cells;
        }
        requireReasonableSize(facts().path, m_options.output, bytes,
                              bytesOf(facts().path) + bytesOf(companionOf(facts().path, ".ij")));
    }

    OutputTarget makeTarget(const std::string& path) {
        OutputTarget target;
        target.path = path;
        target.shownPath = m_options.output;
        target.columns = m_window.endColumn - m_window.firstColumn;
        target.rows = m_window.endRow - m_window.firstRow;
        if (!m_bake) {
            std::copy(std::begin(facts().alignment.matrix), std::end(facts().alignment.matrix),
                      target.matrix);
        }
        target.withColour = chooseColour(*m_input, m_format, m_options.progress);
        target.inColumnOrder = facts().bandColumns == 1 || needsOrder();
        target.progress = m_options.progress;
        target.header = outputHeader(facts(), m_window);
        return target;
    }

    PointFilter makeFilter() const {
        PointFilter filter;
        if (isWindow()) filter.window = m_window;
        filter.maxDistance = m_options.maxDistance;
        filter.box = m_options.box;
        filter.validOnly = m_options.validOnly;
        std::copy(std::begin(facts().alignment.matrix), std::end(facts().alignment.matrix),
                  filter.matrix);
        filter.applyMatrix = m_bake && !isIdentity(filter.matrix);
        return filter;
    }

    /// The native writers keep bands of 256 columns, as tiles come; only a window that begins inside
    /// a tile takes these apart. A band of a tall CLR grid takes more memory than its points.
    bool needsOrder() const {
        constexpr std::uint32_t kTall = 12'000;  // rows; a band of them takes 60 MB
        if (facts().bandColumns == 1 || !needsGrid(m_format)) return false;
        const bool isTall = m_window.endRow - m_window.firstRow > kTall;
        return m_format == OutputFormat::PTX || (m_format == OutputFormat::CLR && isTall) ||
               facts().bandColumns != kBand || m_window.firstColumn % kBand != 0;
    }

    void transfer(ScanOutput& output) {
        const PointFilter filter = makeFilter();
        const auto write = [&](std::span<CellPoint> points) {
            for (CellPoint& point : points) {
                point.column -= m_window.firstColumn;
                point.row -= m_window.firstRow;
            }
            output.write(points);
        };
        ColumnOrder order(facts().bandColumns, facts().path, m_options.output, write);
        const bool ordered = needsOrder();
        const bool estimated = estimatesAngles();

        TaskProgress progress(m_options.progress, m_task, m_input->steps(), m_input->stepUnit());
        std::vector<CellPoint> points;
        for (m_input->read(points); !points.empty(); m_input->read(points)) {
            m_delivered += points.size();
            noteIntensities(points);
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

    /// PTX files of some programs hold other scales than 0 to 1.
    void noteIntensities(const std::vector<CellPoint>& points) {
        if (facts().kind != ScanKind::PTX) return;
        for (const CellPoint& p : points) {
            m_foreignIntensity |= p.intensity < 0 || p.intensity > BriskoCodec::i_range;
        }
    }

    /// Of points that the output has no place for.
    void noteColours(const std::vector<CellPoint>& points) {
        if (m_losesColour || m_format != OutputFormat::CLR || !facts().storesColour) return;
        m_losesColour = std::any_of(points.begin(), points.end(), isColoured);
    }

    void completeHeader(const OutputTarget& target) const {
        if (estimatesAngles()) {
            patchAngles(target, m_format, m_estimate, m_window);
        } else if (facts().kind == ScanKind::CL3 && isNative(m_format) &&
                   m_format != OutputFormat::CLR && !isWindow()) {
            patchSteps(target, dynamic_cast<const CL3FileHeader&>(*facts().header));
        }
    }

    void warn(const std::string& text) const {
        if (m_options.warning) m_options.warning(text);
    }

    void warnAboutFormat() const {
        if (m_format == OutputFormat::PLY && !m_options.applyAlignment &&
            !isIdentity(facts().alignment.matrix)) {
            warn(m_options.output + ": .ply has no place for a matrix; the points are aligned");
        }
    }

    void warnAboutPoints(const ScanOutput& output) const {
        const LeftOut& leftOut = output.leftOut();
        if (m_losesColour) {
            warn(m_options.output + ": .clr has no place for colours; they are left out");
        }
        if (m_foreignIntensity) {
            warn(facts().path +
                 ": some intensities are not from 0 to 1; all were taken times 2200 "
                 "nevertheless");
        }
        if (leftOut.outsideGrid > 0) {
            warn(facts().path + ": " + countOf(leftOut.outsideGrid, "point") +
                 " outside the grid left out");
        }
        if (leftOut.notFinite > 0) {
            warn(facts().path + ": " + countOf(leftOut.notFinite, "point") +
                 " without finite numbers left out");
        }
        if (leftOut.atScanner > 0) {
            warn(facts().path + ": " + countOf(leftOut.atScanner, "point") +
                 " at the scanner's own place left out: they would read as empty cells");
        }
        if (facts().kind == ScanKind::CL3 && m_delivered < facts().records) {
            warn(facts().path + ": " + countOf(facts().records - m_delivered, "record") + " of " +
                 std::to_string(facts().records) + " hold no point that can be read");
        }
        if (output.points() == 0) {
            warn(m_options.output + ": holds no point; " +
                 (m_delivered == 0 ? "the input has none" : "none of the input's passed"));
        }
    }

    const ConvertOptions& m_options;
    const char* m_task;
    std::unique_ptr<ScanInput> m_input;
    OutputFormat m_format;
    CellWindow m_window;
    bool m_bake = false;
    AngleEstimate m_estimate;
    std::uint64_t m_delivered = 0;
    bool m_foreignIntensity = false;
    bool m_losesColour = false;
};

}  // namespace

void requireOutput(const ConvertOptions& options) {
    requireDistinct(options.input, options.output);
    requireNew(options.output, options.overwrite);
}

ConvertResult convertInput(const ConvertOptions& options, std::unique_ptr<ScanInput> input,
                           const char* task) {
    ConvertResult result = Conversion(options, std::move(input), task).run();
    result.bytes = bytesOf(options.output);
    return result;
}

ConvertResult convertScan(const ConvertOptions& options) {
    requireOutput(options);
    return convertInput(options, openScan(options.input), "convert");
}

}  // namespace brisko::scan
