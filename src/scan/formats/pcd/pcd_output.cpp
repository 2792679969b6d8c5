#include "base/bytes.h"
#include "base/file.h"
#include "base/text.h"
#include "scan/files/named_output.h"
#include "scan/formats/encoded_output.h"
#include "scan/formats/pcd/pcd_header.h"
#include "scan/formats/pcd/viewpoint.h"

#include <brisko_codec/alignment.h>
#include <brisko_codec/version.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

namespace brisko::scan {
namespace {

/// A point: coordinates, then intensity and, where there are colours, these packed into the bits of a
/// float, as other programs expect them.
template <class Coordinate, bool kColour>
struct Record {
    static constexpr std::size_t kIntensity = 3 * sizeof(Coordinate);
    static constexpr std::size_t kColourAt = kIntensity + 4;
    static constexpr std::size_t kSize = kColourAt + (kColour ? 4 : 0);

    static void encode(const CellPoint& p, std::uint8_t* out) {
        // One by one: three in an array would be copied before they are stored.
        store(out, static_cast<Coordinate>(p.x));
        store(out + sizeof(Coordinate), static_cast<Coordinate>(p.y));
        store(out + 2 * sizeof(Coordinate), static_cast<Coordinate>(p.z));
        storeF32(out + kIntensity, p.intensity);
        if constexpr (kColour) {
            storeU32(out + kColourAt,
                     std::uint32_t{p.red} << 16 | std::uint32_t{p.green} << 8 | p.blue);
        }
    }
    /// A cell without a point.
    static std::array<std::uint8_t, kSize> empty() {
        std::array<std::uint8_t, kSize> bytes{};
        for (std::size_t axis = 0; axis < 3; ++axis)
            store(bytes.data() + axis * sizeof(Coordinate),
                  std::numeric_limits<Coordinate>::quiet_NaN());
        return bytes;
    }
    static bool isEmpty(const std::uint8_t* record) { return std::isnan(load<Coordinate>(record)); }
};

PcdHeader headerOf(const OutputTarget& target) {
    const std::uint32_t coordinate = target.precision > 0 ? 4 : 8;
    PcdHeader header;
    for (const char* axis : {"x", "y", "z"})
        header.fields.push_back({.name = axis, .size = coordinate});
    header.fields.push_back({.name = "intensity"});
    if (target.withColour) header.fields.push_back({.name = "rgb"});
    header.data = PcdData::Binary;
    return header;
}

/// What both kinds of output have in common: which points they store, and the pose.
class PcdFrame {
public:
    explicit PcdFrame(const OutputTarget& target)
        : m_shownPath(target.shownPath), m_matrix(target.matrix) {
        if (target.precision > 0) {
            // A float of this size is at most half of the precision away.
            m_mostMetres = target.precision * (1 << std::numeric_limits<float>::digits);
        }
        std::copy(std::begin(target.matrix), std::end(target.matrix), m_pose.begin());
        if (target.matrix != kIdentityMatrix) m_viewpoint = viewpointOf(m_pose, kPoseTolerance);
        m_moves = target.matrix != kIdentityMatrix && !m_viewpoint;
    }

    /// A viewpoint is a rigid motion; our own comment keeps the matrix to the last digit.
    void describeIn(PcdHeader& header) const {
        if (!m_viewpoint) return;
        header.viewpoint = *m_viewpoint;
        header.matrix = m_pose;
    }
    /// Whether points are moved, by the matrix.
    bool moves() const { return m_moves; }
    void place(CellPoint& point) const { m_matrix.apply(point.x, point.y, point.z); }
    std::string remark() const {
        if (!m_moves) return {};
        return "the matrix is no rigid motion, which VIEWPOINT has no place for; the points are "
               "aligned";
    }

    bool takes(const CellPoint& p, LeftOut& leftOut) const {
        const double most = std::max({std::abs(p.x), std::abs(p.y), std::abs(p.z)});
        const bool isFinite = std::isfinite(p.x + p.y + p.z) && std::isfinite(p.intensity);
        if (isFinite && most <= m_mostMetres) return true;
        if (isFinite) failPrecision(most);
        ++leftOut.notFinite;
        return false;
    }

private:
    [[noreturn]] void failPrecision(double metres) const {
        throw ScanError(ErrorKind::NotWritten, m_shownPath,
                        formatText("a coordinate of %.3f", metres) +
                            " m is too large for that precision in 32 bits",
                        "without --precision coordinates have 64 bits");
    }

    std::string m_shownPath;
    AlignmentMatrix m_matrix;
    PoseMatrix m_pose{};
    std::optional<Viewpoint> m_viewpoint;
    double m_mostMetres = std::numeric_limits<double>::max();
    bool m_moves = false;
};

std::string headerText(const PcdHeader& header) {
    return pcdHeaderText(header, "brisko " + briskoCodecVersion());
}

/// Points one after the other.
template <class Layout>
class PcdListEncoder : public PcdFrame {
public:
    static constexpr std::size_t kLongest = Layout::kSize;

    explicit PcdListEncoder(const OutputTarget& target)
        : PcdFrame(target), m_header(headerOf(target)) {
        describeIn(m_header);
    }

    static void setStation(std::uint16_t) {}
    std::string head(std::uint64_t points) const {
        PcdHeader header = m_header;
        header.width = header.points = points;
        return headerText(header);
    }
    static std::uint8_t* put(const CellPoint& point, std::uint8_t* out) {
        Layout::encode(point, out);
        return out + Layout::kSize;
    }

private:
    PcdHeader m_header;
};

constexpr std::size_t kBandBytes = std::size_t{96} << 20;
constexpr std::uint32_t kBand = 256;  // columns

/// The grid row by row, although its points come by columns: cells of a band of columns are gathered, and
/// their rows written to where they belong.
template <class Layout>
class PcdGridOutput : public ScanOutput {
public:
    explicit PcdGridOutput(const OutputTarget& target)
        : m_target(target),
          m_header(headerOf(target)),
          m_frame(target),
          m_width(bandWidth(target)),
          m_cells(std::size_t{m_width} * target.rows * Layout::kSize),
          m_rowBytes(m_width * Layout::kSize + kRowGap),
          m_rows(kRowsAtOnce * m_rowBytes) {
        for (std::size_t at = 0; at < m_cells.size(); at += Layout::kSize)
            std::memcpy(m_cells.data() + at, m_empty.data(), Layout::kSize);
        m_remark = m_frame.remark();
        m_frame.describeIn(m_header);
        m_header.isOurGrid = true;
        m_header.width = target.columns;
        m_header.height = target.rows;
        m_header.points = std::uint64_t{target.columns} * target.rows;
        const std::string header = headerText(m_header);
        m_dataOffset = header.size();
        m_file = openFile(target.path.c_str(), "wb");
        if (!m_file) fail();
        writeBytes(0, reinterpret_cast<const std::uint8_t*>(header.data()), header.size());
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& point : inFrame(points)) {
            if (point.column >= m_target.columns || point.row >= m_target.rows) {
                ++m_leftOut.outsideGrid;
                continue;
            }
            if (!m_frame.takes(point, m_leftOut)) continue;
            if (point.column - m_firstColumn >= m_width) goTo(point.column);
            std::uint8_t* const cell =
                m_cells.data() +
                (std::size_t{point.column - m_firstColumn} * m_target.rows + point.row) *
                    Layout::kSize;
            if (!Layout::isEmpty(cell)) failTwice(point);
            Layout::encode(point, cell);
            count(point);
        }
    }

    void finish() override {
        while (m_firstColumn < m_target.columns)
            writeBand();
        if (!closeFile(std::move(m_file))) fail();
        const std::uint64_t bytes = m_dataOffset + m_header.points * Layout::kSize;
        if (bytesOf(m_target.path) == bytes) return;
        throw ScanError(ErrorKind::NotWritten, m_target.shownPath,
                        "cannot be written: its length on the disk is not what was written");
    }

private:
    static constexpr std::size_t kRowsAtOnce = 16;
    static constexpr std::size_t kRowGap =
        64;  // bytes; rows do not push each other out of the cache

    std::span<const CellPoint> inFrame(std::span<const CellPoint> points) {
        if (!m_frame.moves()) return points;
        m_moved.assign(points.begin(), points.end());
        for (CellPoint& point : m_moved)
            m_frame.place(point);
        return m_moved;
    }

    /// Columns that are gathered at a time.
    static std::uint32_t bandWidth(const OutputTarget& target) {
        const std::uint64_t column = std::uint64_t{target.rows} * Layout::kSize;
        if (column > kBandBytes) {
            throw ScanError(
                ErrorKind::Request, target.shownPath,
                "a column of " + std::to_string(target.rows) + " rows is too long for .pcd",
                "--rows chooses some");
        }
        const std::uint64_t fitting = target.inColumnOrder ? kBandBytes / column : kBand;
        return static_cast<std::uint32_t>(
            std::min({fitting, std::uint64_t{kBand}, std::uint64_t{target.columns}}));
    }

    void goTo(std::uint32_t column) {
        m_order.require(column);
        while (column - m_firstColumn >= m_width)
            writeBand();
    }

    [[noreturn]] void failTwice(const CellPoint& point) const {
        throw ScanError(ErrorKind::Damaged, m_target.shownPath,
                        "the input has two points in column " + std::to_string(point.column) +
                            ", row " + std::to_string(point.row));
    }

    /// Writes the cells of the band and leaves them empty for the next one.
    void writeBand() {
        const std::uint32_t columns = std::min(m_width, m_target.columns - m_firstColumn);
        for (std::size_t row = 0; row < m_target.rows; row += kRowsAtOnce) {
            const std::size_t rows = std::min(kRowsAtOnce, m_target.rows - row);
            takeRows(row, rows, columns);
            for (std::size_t i = 0; i < rows; ++i) {
                const std::uint64_t cell =
                    (row + i) * std::uint64_t{m_target.columns} + m_firstColumn;
                writeBytes(m_dataOffset + cell * Layout::kSize, m_rows.data() + i * m_rowBytes,
                           columns * Layout::kSize);
            }
        }
        m_firstColumn += columns;
    }

    void takeRows(std::size_t row, std::size_t rows, std::uint32_t columns) {
        for (std::size_t column = 0; column < columns; ++column) {
            std::uint8_t* from = m_cells.data() + (column * m_target.rows + row) * Layout::kSize;
            std::uint8_t* to = m_rows.data() + column * Layout::kSize;
            for (std::size_t i = 0; i < rows; ++i) {
                std::memcpy(to, from, Layout::kSize);
                std::memcpy(from, m_empty.data(), Layout::kSize);
                from += Layout::kSize;
                to += m_rowBytes;
            }
        }
    }

    void writeBytes(std::uint64_t offset, const std::uint8_t* bytes, std::size_t size) {
        if (writeAt(m_file.get(), offset, {bytes, size}) < size) fail();
    }

    [[noreturn]] void fail() const {
        throw ScanError(ErrorKind::NotWritten, m_target.shownPath,
                        std::string("cannot be written: ") + std::strerror(errno));
    }

    OutputTarget m_target;
    PcdHeader m_header;
    PcdFrame m_frame;
    std::vector<CellPoint> m_moved;
    const std::array<std::uint8_t, Layout::kSize> m_empty = Layout::empty();
    std::uint32_t m_width;
    BandOrder m_order{m_width, m_target.shownPath};
    std::vector<std::uint8_t> m_cells;  // of the band, column by column
    std::size_t m_rowBytes;
    std::vector<std::uint8_t> m_rows;  // of the band, on their way to the file
    FilePtr m_file;
    std::uint64_t m_dataOffset = 0;
    std::uint32_t m_firstColumn = 0;
};

template <class Layout>
std::unique_ptr<ScanOutput> create(const OutputTarget& target) {
    const bool isGrid = target.indexed && target.columns > 0 && target.rows > 0;
    if (isGrid) return std::make_unique<PcdGridOutput<Layout>>(target);
    using Encoder = PcdListEncoder<Layout>;
    return std::make_unique<EncodedOutput<Encoder>>(target, Encoder(target));
}

}  // namespace

std::unique_ptr<ScanOutput> createPcdOutput(const OutputTarget& target) {
    if (target.precision > 0) {
        return target.withColour ? create<Record<float, true>>(target)
                                 : create<Record<float, false>>(target);
    }
    return target.withColour ? create<Record<double, true>>(target)
                             : create<Record<double, false>>(target);
}

}  // namespace brisko::scan
