#include <brisko_codec/writers.h>

#include <brisko_codec/block_header.h>

#include "base/output_file.h"
#include "layouts/records.h"
#include "writers/header_output.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <vector>

using namespace brisko;

namespace {

constexpr std::uint32_t kBandColumns = 256;

/// Without a scan header of ours the grid covers a quarter of the sphere.
CLRFileHeader fileHeader(const GridFileHeader* source, std::uint32_t columns, std::uint32_t rows) {
    CLRFileHeader header;
    if (const auto* const scan = dynamic_cast<const CLFileHeader*>(source)) {
        static_cast<CLFileHeader&>(header) = *scan;
    } else {
        header.SetStopAzimuthAngle(90.0F);
        header.SetStopZenithAngle(90.0F);
    }
    header.SetAzimuthResolution(static_cast<int>(columns));
    header.SetZenithResolution(static_cast<int>(rows));
    header.SetPointFormat(static_cast<std::uint8_t>(CLRPointFormat::Plain));
    header.SetBlockCount(1);
    return header;
}

}  // namespace

/// The open file, shared by the copies of a writer.
class CLRWriterGridCodec::State {
public:
    void open(const char* path, const GridFileHeader* header);
    bool isOpen() const { return m_open; }
    bool failed() const { return m_failed || m_file.failed(); }
    void write(double x, double y, double z, float intensity, std::uint32_t column,
               std::uint32_t row);
    void finishColumns(std::uint32_t end);
    void close();
    const DroppedPoints& dropped() const { return m_dropped; }

private:
    using Column = std::vector<RawRecord>;  // empty until its first point comes

    bool moveToBandOf(std::uint32_t column);
    void writeBandsBefore(std::uint64_t band);
    void writeColumns(std::uint64_t count);
    void writeBand(std::uint64_t count);
    void store(const RawRecord& record, std::uint32_t column, std::uint32_t storedRow);
    static void drop(std::uint64_t& reason) { ++reason; }

    bool m_open = false;
    bool m_failed = false;
    OutputFile m_file;
    std::uint32_t m_columns = 0;
    std::uint32_t m_rows = 0;
    std::uint64_t m_bandIndex = 0;
    std::int32_t m_written = 0;      // columns of the band that are on disk
    std::int64_t m_lastColumn = -1;  // of the last point passed in
    std::array<Column, kBandColumns> m_band;
    DroppedPoints m_dropped;
};

void CLRWriterGridCodec::State::open(const char* path, const GridFileHeader* header) {
    m_open = true;
    if (!m_file.create(path)) m_failed = true;
    m_columns = header ? gridResolution(header->GetAzimuthResolution()) : 0;
    m_rows = header ? gridResolution(header->GetZenithResolution()) : 0;
    writeScanHeader(m_file, fileHeader(header, m_columns, m_rows), clr_header::kSize);
    const std::array<std::uint8_t, clr_block::kHeaderSize> flag{};
    if (m_file.isOpen()) m_file.append(flag);
}

inline void CLRWriterGridCodec::State::write(double x, double y, double z, float intensity,
                                             std::uint32_t column, std::uint32_t row) {
    if (!m_open) return;
    // A point that is dropped moves nothing on: the file must not grow for it.
    // Odd columns are stored from their last row up, as the scanner records them.
    const std::uint32_t storedRow = (column & 1) != 0 ? m_rows - row - 1 : row;
    if (storedRow >= m_rows) [[unlikely]]
        return drop(m_dropped.outsideGrid);
    if (!std::isfinite(x) || !std::isfinite(y) || !std::isfinite(z) || !std::isfinite(intensity))
        [[unlikely]] {
        return drop(m_dropped.notFinite);
    }
    auto offset =
        static_cast<std::int32_t>(column - kBandColumns * static_cast<std::uint32_t>(m_bandIndex));
    if (offset < m_written || offset >= static_cast<std::int32_t>(kBandColumns)) [[unlikely]] {
        if (offset < m_written) return drop(m_dropped.bandPassed);
        if (!moveToBandOf(column)) return;  // the file failed
        offset = static_cast<std::int32_t>(column % kBandColumns);
    }
    m_lastColumn = column;
    // Deliberate: written all the same, though the header speaks of fewer columns.
    if (column >= m_columns) [[unlikely]]
        ++m_dropped.outsideGrid;
    store(
        {toStoredLength(x), toStoredLength(y), toStoredLength(z), 0, toStoredIntensity(intensity)},
        static_cast<std::uint32_t>(offset), storedRow);
}

inline void CLRWriterGridCodec::State::store(const RawRecord& record, std::uint32_t column,
                                             std::uint32_t storedRow) {
    Column& cells = m_band[column];
    if (cells.empty()) [[unlikely]] {
        try {
            cells.resize(m_rows);
        } catch (const std::bad_alloc&) {
            m_failed = true;
            return;
        }
    }
    RawRecord& cell = cells[storedRow];
    if (cell.intensity > 0) ++m_dropped.replaced;
    if (record.intensity <= 0) ++m_dropped.wouldReadAsEmpty;
    cell = record;
}

/// Writes out every band before the column's; columns beyond the grid are written too. Returns false
/// when the file cannot take them.
bool CLRWriterGridCodec::State::moveToBandOf(std::uint32_t column) {
    writeBandsBefore(column / kBandColumns);
    return m_bandIndex == column / kBandColumns;
}

void CLRWriterGridCodec::State::writeBandsBefore(std::uint64_t band) {
    // Columns without rows take no bytes, however many there are.
    if (m_rows == 0) m_bandIndex = std::max(m_bandIndex, band);
    while (m_bandIndex < band && m_file.isOpen() && !m_file.failed())
        writeBand(kBandColumns);
}

/// Writes out the first columns of the band, as far as they are not on disk.
void CLRWriterGridCodec::State::writeColumns(std::uint64_t count) {
    for (auto i = static_cast<std::uint64_t>(m_written); i < count && m_file.isOpen(); ++i) {
        Column& cells = m_band[i];
        if (cells.empty()) {
            m_file.appendZeros(std::uint64_t{m_rows} * clr_record::kSize);
        } else {
            m_file.append({reinterpret_cast<const std::uint8_t*>(cells.data()),
                           cells.size() * clr_record::kSize});
        }
    }
}

/// Writes out the first columns of the band and moves on to the next band.
void CLRWriterGridCodec::State::writeBand(std::uint64_t count) {
    writeColumns(count);
    m_written = 0;
    for (Column& cells : m_band)
        std::fill(cells.begin(), cells.end(), RawRecord{});
    ++m_bandIndex;
}

void CLRWriterGridCodec::State::finishColumns(std::uint32_t end) {
    if (!m_open) return;
    writeBandsBefore(end / kBandColumns);
    const auto count = static_cast<std::int32_t>(end % kBandColumns);
    if (m_bandIndex != end / kBandColumns || count <= m_written) return;
    writeColumns(static_cast<std::uint64_t>(count));
    for (std::int32_t i = m_written; i < count; ++i)
        Column().swap(m_band[static_cast<std::size_t>(i)]);
    m_written = count;
}

void CLRWriterGridCodec::State::close() {
    const std::uint64_t lastBand = m_columns > 0 ? (m_columns - 1) / kBandColumns : 0;
    writeBandsBefore(lastBand);
    const auto columns = std::max<std::int64_t>(m_columns, m_lastColumn + 1);
    const std::int64_t left = columns - static_cast<std::int64_t>(kBandColumns * m_bandIndex);
    const auto count = static_cast<std::size_t>(std::clamp<std::int64_t>(left, 0, kBandColumns));
    writeBand(count);
    if (m_file.isOpen() && !m_file.close()) m_failed = true;
    m_open = false;
    m_band = {};
}

CLRWriterGridCodec::CLRWriterGridCodec() = default;
CLRWriterGridCodec::CLRWriterGridCodec(const CLRWriterGridCodec&) = default;
CLRWriterGridCodec& CLRWriterGridCodec::operator=(const CLRWriterGridCodec&) = default;
CLRWriterGridCodec::~CLRWriterGridCodec() = default;

bool CLRWriterGridCodec::Open(const char* path, GridFileHeader* header) {
    Close();
    try {
        m_state = std::make_shared<State>();
        m_state->open(path, header);
        return true;
    } catch (const std::bad_alloc&) {
        m_state.reset();
        return false;
    }
}

bool CLRWriterGridCodec::Close() {
    if (!m_state || !m_state->isOpen()) return false;
    m_state->close();
    return true;
}

void CLRWriterGridCodec::WritePoint(double x, double y, double z, float intensity, std::uint8_t,
                                    std::uint8_t, std::uint8_t, std::uint8_t, std::uint32_t column,
                                    std::uint32_t row) {
    if (m_state) m_state->write(x, y, z, intensity, column, row);
}

void CLRWriterGridCodec::FinishColumns(std::uint32_t end) {
    if (m_state) m_state->finishColumns(end);
}

bool CLRWriterGridCodec::HasWriteError() const {
    return m_state && m_state->failed();
}

DroppedPoints CLRWriterGridCodec::GetDroppedPoints() const {
    return m_state ? m_state->dropped() : DroppedPoints{};
}
