#include "base/text.h"
#include "layouts/ij_index.h"
#include "layouts/records.h"
#include "scan/files/input_file.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/native_check.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/tile_check.h"

#include <brisko_scan/bands.h>
#include <brisko_scan/findings.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <vector>

namespace brisko::scan {
namespace {

/// A band, as its headers describe it.
struct Part {
    std::string path;
    ScanLayout layout;
    Alignment alignment;

    const CL3FileHeader& header() const {
        return dynamic_cast<const CL3FileHeader&>(*layout.header);
    }
    const IndexLayout& index() const { return *layout.index; }
};

Part inspectPart(const std::string& path) {
    if (!hasExtension(path, ".cl3")) {
        throw ScanError(ErrorKind::Request, path, "a band is an indexed .cl3");
    }
    Part part{path, inspectCL3(path), alignmentOf(path)};
    requireSound(part.layout);
    if (!part.layout.index) {
        throw ScanError(
            ErrorKind::Request, path,
            "the scan has no index (" + companionOf(path, ".ij") + "); a band is an indexed .cl3");
    }
    if (part.index().tileSize != kTileSize) {
        throw ScanError(ErrorKind::Request, path,
                        "its tiles have " + std::to_string(part.index().tileSize) +
                            " columns; those of bands have " + std::to_string(kTileSize),
                        "'brisko convert' writes it with such tiles");
    }
    if (part.alignment.source == AlignmentSource::Unreadable) {
        throw ScanError(ErrorKind::Damaged, companionOf(path, ".alg"),
                        "cannot be read as an alignment");
    }
    return part;
}

/// Also equal where both are no numbers.
bool isSame(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

/// What keeps a band from being put after another one; empty where nothing does.
std::string misfitOf(const Part& before, const Part& next) {
    const CL3FileHeader &a = before.header(), &b = next.header();
    if (next.layout.rows != before.layout.rows) {
        return "it has " + countOf(next.layout.rows, "row") + ", the other " +
               std::to_string(before.layout.rows);
    }
    const auto sameText = [&](auto field) { return (a.*field)() == (b.*field)(); };
    if (!(sameText(&CLFileHeader::GetModelName) && sameText(&CLFileHeader::GetSerialNumber) &&
          sameText(&CLFileHeader::GetDate) && sameText(&CLFileHeader::GetTime) &&
          sameText(&CLFileHeader::GetHardwareVersion) &&
          sameText(&CLFileHeader::GetFirmwareVersion) && sameText(&CLFileHeader::GetFileVersion))) {
        return "its header is that of another scan";
    }
    if (a.GetPointFormat() != b.GetPointFormat()) return "its point format is another";
    const auto sameNumber = [&](auto field) { return isSame((a.*field)(), (b.*field)()); };
    if (!(sameNumber(&CLFileHeader::GetStartZenithAngle) &&
          sameNumber(&CLFileHeader::GetStopZenithAngle) &&
          sameNumber(&CLFileHeader::GetDeltaAzimuthAngle) &&
          sameNumber(&CLFileHeader::GetDeltaZenithAngle) &&
          sameNumber(&CLFileHeader::GetTemperature) && sameNumber(&CLFileHeader::GetPressure))) {
        return "its angles or readings are those of another scan";
    }
    if (!isSame(a.GetStopAzimuthAngle(), b.GetStartAzimuthAngle())) {
        return formatText("it begins at an azimuth of %.9g degrees, the other ends at %.9g",
                          static_cast<double>(b.GetStartAzimuthAngle()),
                          static_cast<double>(a.GetStopAzimuthAngle()));
    }
    if (!isSameMatrix(std::to_array(before.alignment.matrix),
                      std::to_array(next.alignment.matrix))) {
        return "its alignment is another";
    }
    if (before.layout.columns % kTileSize != 0) {
        return "the other ends inside a tile: it has " + countOf(before.layout.columns, "column") +
               ", no multiple of " + std::to_string(kTileSize);
    }
    return {};
}

/// Bands in their order, and what the scan that they become says of itself.
class Join {
public:
    explicit Join(const JoinOptions& options) : m_options(options) {
        for (const std::string& input : options.inputs)
            add(inspectPart(input));
        m_target.shownPath = options.output;
        m_target.matrix = std::to_array(m_parts.front().alignment.matrix);
        m_target.indexed = true;
        m_target.progress = options.progress;
        requireReasonableSize(m_parts.front().path, options.output, m_bytes, m_bytes);
    }

    JoinResult run() {
        StagedScan staged(m_options.output);
        m_target.path = staged.path();
        staged.requireAlignment(m_parts.front().alignment.matrix);
        copy(staged);
        check();
        staged.commit(m_options.progress);
        return {m_points, m_target.columns, m_target.rows, bytesOf(m_options.output)};
    }

private:
    void add(Part part) {
        constexpr std::uint64_t kMostColumns = 0x7fffffff;
        if (!m_parts.empty()) {
            const std::string misfit = misfitOf(m_parts.back(), part);
            if (!misfit.empty()) {
                throw ScanError(ErrorKind::Request, part.path,
                                "does not go on where " + m_parts.back().path + " ends: " + misfit,
                                "bands are named in the order of their columns");
            }
        }
        m_tiles += part.index().tiles;
        m_points += part.layout.records;
        m_bytes += part.layout.bytes + part.index().bytes;
        const std::uint64_t columns = std::uint64_t{m_target.columns} + part.layout.columns;
        if (columns > kMostColumns || m_tiles > std::numeric_limits<std::uint32_t>::max()) {
            throw ScanError(ErrorKind::Request, part.path, "the bands are too many for one scan");
        }
        m_target.columns = static_cast<std::uint32_t>(columns);
        m_target.rows = part.layout.rows;
        m_parts.push_back(std::move(part));
    }

    void copy(const StagedScan& staged) {
        TaskProgress progress(m_options.progress, "join", m_points);
        NamedOutput scan(staged.path(), m_options.output);
        const std::uint8_t noHeader[cl3_header::kSize] = {};
        scan.write(noHeader, sizeof noHeader);
        std::uint64_t done = 0;
        for (const Part& part : m_parts) {
            progress.setStage(part.path);
            copyBlocks(part, scan, progress, done);
        }
        scan.close();
        copyIndex(staged, progress);
        rewriteHeader(staged.path(), header(), m_options.output);
        const std::string alignment = staged.companion(".alg");
        if (!writeAlignmentFile(alignment.c_str(), m_parts.front().alignment.matrix, m_box.box())) {
            failToWrite(companionOf(m_options.output, ".alg"));
        }
    }

    CL3FileHeader header() const {
        CL3FileHeader header = m_parts.front().header();
        header.SetStopAzimuthAngle(m_parts.back().header().GetStopAzimuthAngle());
        header.SetBlockCount(static_cast<std::uint32_t>(m_tiles));
        return header;
    }

    void copyBlocks(const Part& part, NamedOutput& out, TaskProgress& progress,
                    std::uint64_t& done) {
        const std::size_t recordSize = recordSizeOf(CL3PointFormat{part.header().GetPointFormat()});
        const std::size_t most = kBuffer / recordSize;
        InputFile in(part.path);
        m_buffer.resize(kBuffer);
        std::uint64_t offset = cl3_header::kSize;
        for (std::uint32_t block = 0; block < part.index().tiles; ++block) {
            take(in, offset, cl3_block::kHeaderSize);
            out.write(m_buffer.data(), cl3_block::kHeaderSize);
            offset += cl3_block::kHeaderSize;
            for (std::uint64_t left = loadU32(m_buffer.data()); left > 0;) {
                const std::size_t some = std::min<std::uint64_t>(left, most);
                take(in, offset, some * recordSize);
                lookAt(part, some, recordSize);
                out.write(m_buffer.data(), some * recordSize);
                offset += some * recordSize;
                left -= some;
                done += some;
                progress.advanceTo(done);
            }
        }
    }

    void take(InputFile& in, std::uint64_t offset, std::size_t size) {
        if (in.readAt(offset, m_buffer.data(), size)) return;
        throw ScanError(ErrorKind::Damaged, in.path(), FilePlace{{}, offset},
                        "the file ends inside a block");
    }

    /// What no reader takes for a point is not passed on.
    void lookAt(const Part& part, std::size_t records, std::size_t recordSize) {
        double sum = 0;  // 0, or not a number
        CellPoint p;
        for (const std::uint8_t* in = m_buffer.data(); records > 0; --records, in += recordSize) {
            p.x = loadF64(in + cl3_record::kX);
            p.y = loadF64(in + cl3_record::kY);
            p.z = loadF64(in + cl3_record::kZ);
            const double intensity = static_cast<double>(loadF32(in + cl3_record::kIntensity));
            sum += (p.x - p.x) + (p.y - p.y) + (p.z - p.z) + (intensity - intensity);
            m_box.add(p);
        }
        if (sum == 0) return;
        throw ScanError(ErrorKind::Damaged, part.path, "a record is not finite in all its numbers",
                        kRepairAdvice);
    }

    void copyIndex(const StagedScan& staged, TaskProgress& progress) {
        NamedOutput out(staged.companion(".ij"), companionOf(m_options.output, ".ij"));
        std::uint8_t bytes[ij_header::kSize];
        encodeIJHeader(
            {static_cast<std::uint32_t>(m_tiles), m_target.columns, m_target.rows, kTileSize},
            bytes);
        out.write(bytes, sizeof bytes);
        constexpr std::uint64_t kTileBytes = ijTileBytes(kTileSize);
        m_buffer.resize(std::max<std::size_t>(kBuffer, kTileBytes));
        std::uint32_t columnTile = 0;  // of the part's first one
        for (const Part& part : m_parts) {
            InputFile in(part.index().path);
            for (std::uint64_t tile = 0; tile < part.index().tiles; ++tile) {
                take(in, ij_header::kSize + tile * kTileBytes, kTileBytes);
                IJTile place = decodeIJTile(m_buffer.data());
                place.columnTile += columnTile;
                encodeIJTile(place, m_buffer.data());
                out.write(m_buffer.data(), kTileBytes);
                progress.advanceTo(m_points);
            }
            columnTile += part.layout.columns / kTileSize;
        }
        out.close();
    }

    /// Reads the output back. Where it is not sound, a band may be at fault.
    void check() {
        try {
            checkIndexedCL3(m_target, m_points);
        } catch (const ScanError& error) {
            if (error.kind() != ErrorKind::NotWritten) throw;
            for (const Part& part : m_parts) {
                const auto finding =
                    firstTileFinding(part.path, part.index().path, m_options.progress);
                if (finding) throw ScanError::damage(*finding, kRepairAdvice);
            }
            throw;
        }
    }

    static constexpr std::size_t kBuffer = std::size_t{1} << 20;

    const JoinOptions& m_options;
    std::vector<Part> m_parts;
    OutputTarget m_target;
    std::uint64_t m_tiles = 0;
    std::uint64_t m_points = 0;
    std::uint64_t m_bytes = 0;  // of all bands with their indexes
    PointBox m_box;
    std::vector<std::uint8_t> m_buffer;
};

}  // namespace

JoinResult joinBands(const JoinOptions& options) {
    if (options.inputs.empty()) throw ScanError(ErrorKind::Request, {}, "there is no band to join");
    if (!hasExtension(options.output, ".cl3")) {
        throw ScanError(ErrorKind::Request, options.output, "bands become an indexed .cl3");
    }
    for (const std::string& input : options.inputs)
        requireDistinct(input, options.output);
    requireNew(options.output, options.overwrite);
    return Join(options).run();
}

}  // namespace brisko::scan
