#include "convert/clr_to_cl3.h"

#include <brisko_codec/dictionary.h>
#include <brisko_codec/writers.h>

#include "base/file.h"
#include "codec/actual_clr_codec.h"
#include "codec/alignment.h"
#include "codec/batch_source.h"
#include "convert/conversion_progress.h"
#include "convert/path_rules.h"
#include "convert/staged_conversion.h"
#include "layouts/layout.h"
#include "layouts/output_limit.h"
#include "pcplib/processes/indexed_output.h"

#include <algorithm>

namespace brisko {

namespace {

/// A CLR scan that is read from front to back.
struct RawScan {
    CLRFileHeader header;
    ActualCLRCodec reader;
    Alignment alignment;
    CLRGrid grid;
    ReadErrors errors;  // met outside of the reader

    bool metReadError() const { return !errors.none() || reader.readErrorCount() > 0; }

    /// False when it cannot be read, or its header speaks of a negative grid.
    bool open(const std::string& path, const std::string& aligned) {
        if (!header.Read(path.c_str()) || !reader.Open(path.c_str())) return false;
        reader.setFrame(Frame::Scanner);
        alignment = alignmentBeside(aligned, errors);
        const auto columns = static_cast<std::int64_t>(header.GetAzimuthResolution());
        const auto rows = static_cast<std::int64_t>(header.GetZenithResolution());
        grid = {static_cast<std::uint64_t>(columns), static_cast<std::uint64_t>(rows)};
        return columns >= 0 && rows >= 0 && reader.startPass();
    }

    /// Cells before one, in the order of the file.
    std::uint64_t cellsBefore(std::uint32_t column, std::uint32_t row) const {
        const bool turned =
            (column & 1) != 0 && CLRPointFormat{header.GetPointFormat()} != CLRPointFormat::OneWay;
        return column * grid.rows + (turned ? grid.rows - 1 - row : row);
    }
};

/// Points that a file of some size can hold at most: a record each, or a share of a compressed piece.
std::uint64_t mostPoints(const RawScan& scan, const std::string& path) {
    constexpr std::uint64_t kPerByte = 63;  // 250 points in a piece of 4 bytes and up
    const std::uint64_t bytes = fileLength(path.c_str());
    const bool compressed =
        CLRPointFormat{scan.header.GetPointFormat()} == CLRPointFormat::Compressed;
    return std::min(scan.grid.cells(), compressed ? bytes * kPerByte : bytes / clr_record::kSize);
}

class PlainOutput {
public:
    bool open(const std::string& path, RawScan& scan) {
        return m_writer.Open(path.c_str(), &scan.header);
    }
    bool write(const PointBuffers& points, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            const double* const p = points.position(i);
            m_writer.WritePoint(p[0], p[1], p[2], points.intensity(i), 0, 0, 0, 255);
        }
        return !m_writer.HasWriteError();
    }
    bool close() { return m_writer.Close() && !m_writer.HasWriteError(); }

private:
    CL3WriterCodec m_writer;
};

class GridOutput {
public:
    bool open(const std::string& path, RawScan& scan) {
        return m_output.Open(path, scan.header, scan.alignment);
    }
    bool write(const PointBuffers& points, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            if (!m_output.Write(points.position(i), points.intensity(i), points.colour(i),
                                points.column(i), points.row(i))) {
                return false;
            }
        }
        return !m_output.HasWriteError();
    }
    bool close() { return m_output.Close(); }

private:
    QelPcpLib::IndexedOutput m_output;
};

template <class Output>
bool transfer(RawScan& scan, Output& output, ConversionSteps& steps) {
    PointBuffers points;
    for (;;) {
        const std::size_t count = scan.reader.readBatch(points.arrays(), PointBuffers::kCapacity);
        if (count == 0) return true;
        if (!output.write(points, count)) return false;
        steps.advanceTo(scan.cellsBefore(points.column(count - 1), points.row(count - 1)));
    }
}

template <class Output>
bool convert(const std::string& input, const std::string& aligned, const std::string& output,
             vexo::ProgressTracker* tracker, const std::string& label, bool indexed,
             ConversionReport& report) {
    RawScan scan;
    if (!isCLRName(input) || !isCL3Name(output)) {
        return report.fail(ConversionProblem::BadName, input, "it is not named like a CLR scan");
    }
    if (!scan.open(input, aligned)) return report.failToRead(input);
    const OutputBounds bounds{scan.grid.columns, scan.grid.rows, mostPoints(scan, input), indexed};
    if (!mayBeWritten(bounds, fileLength(input.c_str()), output)) return report.failToFit(output);
    StagedConversion staged(output, input, scan.errors);
    Output out;
    if (!staged.isReady() || !out.open(staged.path(), scan)) return report.failToWrite(output);
    ConversionSteps steps(tracker, label, scan.grid.cells());
    const bool transferred = transfer(scan, out, steps);
    report.noteDamage(scan.reader.readProblem());
    if (!out.close()) return report.failToWrite(output);
    if (scan.metReadError()) return report.failToRead(input);
    if (!transferred) {
        return report.fail(ConversionProblem::Damaged, input,
                           "a point lies in no cell of its grid");
    }
    steps.advanceTo(scan.grid.cells());
    return staged.commit([&] { steps.poll(); }) || report.failToWrite(output);
}

}  // namespace

bool convertClrToCl3(const std::string& input, const std::string& aligned,
                     const std::string& output, vexo::ProgressTracker* tracker,
                     ConversionReport& report) {
    const std::string label = getBriskoCodecDictionary()->convertClrToCl3;
    if (isIndexBase(withoutLastFour(output))) {
        return convert<GridOutput>(input, aligned, output, tracker, label, true, report);
    }
    return convert<PlainOutput>(input, aligned, output, tracker, label, false, report);
}

bool convertClrToCl3Ij(const std::string& input, const std::string& aligned,
                       const std::string& output, vexo::ProgressTracker* tracker,
                       ConversionReport& report) {
    const std::string label = getBriskoCodecDictionary()->convertClrToCl3Ij;
    return convert<GridOutput>(input, aligned, output, tracker, label, true, report);
}

}  // namespace brisko
