#include "convert/drivers.h"

#include "base/companion_path.h"
#include "base/file.h"
#include "base/path_rules.h"
#include "base/read_errors.h"
#include "base/staged_output.h"
#include "codec/actual_clr_codec.h"
#include "codec/alignment.h"
#include "codec/batch_source.h"
#include "codec/cl3_completeness.h"
#include "convert/conversion_progress.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"
#include "layouts/output_limit.h"
#include "pcplib/processes/band_transfer.h"
#include "pcplib/processes/indexed_output.h"
#include "pcplib/processes/indexing.h"
#include "pcplib/processes/merge_clr.h"
#include "pcplib/processes/sort_clr.h"

#include <brisko_codec/dictionary.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/writers.h>

#include <algorithm>
#include <string>

namespace brisko {

namespace {

/// The scan that a conversion makes of another one: it appears when it is complete, and neither its
/// input nor the ALG file that the input reads is ever replaced.
class StagedConversion {
public:
    /// The output is ready when there is a place to write to.
    ///   errors  notes when it is not known whether output and input are one file
    StagedConversion(const std::string& output, const std::string& input, ReadErrors& errors) {
        if (resolveLinks(output) == resolveLinks(input) || isSameFile(output, input, &errors))
            return;
        if (!m_output.create(output, StagedOutput::Companions::ByExtension)) return;
        // The alignment of the input is the user's: an output that shares its ALG file has the same
        // alignment by that. Where the input has none yet, the output brings one.
        if (isSameFile(m_output.alignmentTarget(), companionForReading(input, ".alg"), &errors)) {
            m_output.leaveAlignment();
        }
        // A plain output has no ALG file of its own; one of its name is that of a raw scan.
        m_output.keepOlderAlignment();
    }

    bool isReady() const { return m_output.isReady(); }
    /// Where to write; a writer puts its companions beside it.
    const std::string& path() const { return m_output.path(); }

    /// Brings the scan and the companions that were written with it to the disk and puts them in place.
    ///   between  called often while the disk works, and may throw
    /// Returns: false when that fails; older files are then as they were (StagedOutput::publish).
    bool commit(const std::function<void()>& between) {
        return m_output.sync(between) && m_output.publish();
    }

private:
    StagedOutput m_output;
};

/// What the result of a driver means.
bool judge(std::uint16_t result, const QelPcpLib::IndexingTrouble& trouble,
           const std::string& input, const std::string& output, ConversionReport& report) {
    report.noteDamage(trouble.damage);
    if (result == QelPcpLib::indexing_result::kDone) return true;
    if (trouble.isUnreadable) return report.failToRead(input);
    if (trouble.isOutput || result == QelPcpLib::indexing_result::kBadOutput) {
        return report.failToWrite(output);
    }
    const bool isBadInput = result == QelPcpLib::indexing_result::kBadInput;
    return report.fail(ConversionProblem::Damaged, input,
                       isBadInput ? "the scan or its index is not whole, or gives no usable grid"
                                  : "its points and their cells do not belong together");
}

/// Runs a driver that writes an indexed scan, and puts its output in place.
///   inputBytes  of all files that the driver takes points and cells from
template <class Driver>
bool runStaged(const std::string& input, const std::string& output, vexo::ProgressTracker* tracker,
               const std::string& label, const OutputBounds& bounds, std::uint64_t inputBytes,
               ConversionReport& report, const Driver& driver) {
    ReadErrors errors;
    StagedConversion staged(output, input, errors);
    if (!staged.isReady()) return report.failToWrite(output);
    if (!mayBeWritten(bounds, inputBytes, output)) return report.failToFit(output);
    DriverProgress progress(tracker, label);
    QelPcpLib::IndexingTrouble trouble;
    const std::uint16_t result = driver(staged.path(), &progress, &trouble);
    if (!judge(result, trouble, input, output, report)) return false;
    if (!errors.none()) return report.failToRead(input);
    return staged.commit([&] { progress.Poll(); }) || report.failToWrite(output);
}

/// A CLR scan that is read from front to back.
struct RawScan {
    std::string path;
    CLRFileHeader header;
    ActualCLRCodec reader;
    Alignment alignment;
    CLRGrid grid;
    ReadErrors errors;  // met outside of the reader

    bool metReadError() const { return !errors.none() || reader.readErrorCount() > 0; }

    /// False when it cannot be read, or its header speaks of a negative grid.
    bool open(const std::string& name, const std::string& aligned) {
        path = name;
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

/// Takes the points of a scan from front to back.
template <class Output>
bool transferStreaming(RawScan& scan, Output& output, ConversionSteps& steps) {
    PointBuffers points;
    for (;;) {
        const std::size_t count = scan.reader.readBatch(points.arrays(), PointBuffers::kCapacity);
        if (count == 0) return true;
        if (!output.write(points, count)) return false;
        steps.advanceTo(scan.cellsBefore(points.column(count - 1), points.row(count - 1)));
    }
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
    bool take(RawScan& scan, ConversionSteps& steps) {
        return transferStreaming(scan, *this, steps);
    }
    bool close() { return m_writer.Close() && !m_writer.HasWriteError(); }

private:
    CL3WriterCodec m_writer;
};

class GridOutput {
public:
    bool open(const std::string& path, RawScan& scan) {
        m_path = path;
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
    bool take(RawScan& scan, ConversionSteps& steps) {
        const std::size_t threads = QelPcpLib::bandThreads(scan.grid.columns, scan.grid.rows);
        if (threads > 1) {
            if (takeBands(scan, threads, steps)) return !m_output.HasWriteError();
            if (!open(m_path, scan) || !scan.reader.startPass()) return false;
        }
        return transferStreaming(scan, *this, steps);
    }
    bool close() { return m_output.Close(); }

private:
    bool takeBands(RawScan& scan, std::size_t threads, ConversionSteps& steps) {
        if (!scan.reader.findLines(kTileSize, [&] { steps.poll(); })) return false;
        const auto openReader = [&scan]() -> std::unique_ptr<ActualBriskoCodec> {
            auto reader = std::make_unique<ActualCLRCodec>();
            if (!reader->Open(scan.path.c_str())) return nullptr;
            reader->setFrame(Frame::Scanner);
            reader->takeLines(scan.reader);
            return reader;
        };
        return QelPcpLib::transferBands({openReader, nullptr, scan.grid.columns, scan.grid.rows},
                                        threads, m_output.Bands(),
                                        [&](std::uint64_t columns, std::uint64_t) {
                                            steps.advanceThrough(columns * scan.grid.rows);
                                        });
    }

    std::string m_path;
    QelPcpLib::IndexedOutput m_output;
};

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
    const bool transferred = out.take(scan, steps);
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

bool runIndexing(const std::string& input, const std::string& rawScan, const std::string& output,
                 vexo::ProgressTracker* tracker, ConversionReport& report) {
    CLRFileHeader raw;
    if (!raw.Read(rawScan.c_str())) return report.failToRead(rawScan);
    const OutputBounds bounds{raw.GetAzimuthResolution(), raw.GetZenithResolution(),
                              findCompleteCL3(input).value_or(0), true};
    // The plain copy is an output itself: what the scanner recorded is the measure.
    const std::uint64_t inputBytes = fileLength(rawScan.c_str());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing1, bounds,
                     inputBytes, report, [&](const std::string& staged, auto... rest) {
                         return QelPcpLib::Indexing(input, rawScan, staged, rest...);
                     });
}

bool runIndexing2(const std::string& input, const std::string& output,
                  vexo::ProgressTracker* tracker, ConversionReport& report) {
    const std::string indexPath = companionForReading(input, ".ij");
    const FilePtr index = openFile(indexPath.c_str(), "rb");
    if (!index) return report.failToRead(indexPath);
    const IJHeader grid = readIJHeader(index.get());
    const OutputBounds bounds{grid.columns, grid.rows, findCompleteCL3(input).value_or(0), true};
    const std::uint64_t inputBytes = fileLength(input.c_str()) + fileLength(index.get());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing2, bounds,
                     inputBytes, report, [&](const std::string& staged, auto... rest) {
                         return QelPcpLib::Indexing2(input, staged, rest...);
                     });
}

bool runIndexingByAngles(const std::string& input, const std::string& output,
                         vexo::ProgressTracker* tracker, ConversionReport& report) {
    CL3FileHeader header;
    if (!header.Read(input.c_str())) return report.failToRead(input);
    const OutputBounds bounds{header.GetAzimuthResolution(), header.GetZenithResolution(),
                              findCompleteCL3(input).value_or(0), true};
    const std::uint64_t inputBytes = fileLength(input.c_str());
    return runStaged(input, output, tracker, getBriskoCodecDictionary()->pcpIndexing3, bounds,
                     inputBytes, report, [&](const std::string& staged, auto... rest) {
                         const std::string spill = companionForWriting(staged, ".spill");
                         return QelPcpLib::IndexingByAngles(input, staged, spill, rest...);
                     });
}

bool runSortClr(const std::string& input, vexo::ProgressTracker* tracker,
                ConversionReport& report) {
    DriverProgress progress(tracker, getBriskoCodecDictionary()->pcpSortClr);
    return QelPcpLib::SortCLR(input, &progress) == 0 ||
           report.fail(ConversionProblem::Damaged, input, "its lines cannot be sorted");
}

bool runMerge(const std::string& first, const std::string& second, const std::string& output,
              vexo::ProgressTracker* tracker, ConversionReport& report) {
    DriverProgress progress(tracker, getBriskoCodecDictionary()->pcpCombineMultiClr);
    return QelPcpLib::CombineMultiCLR(first, second, output, &progress) == 0 ||
           report.fail(ConversionProblem::Damaged, second,
                       "it cannot be merged with the scans before it in the series");
}

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
