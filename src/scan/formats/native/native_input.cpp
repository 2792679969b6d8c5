#include "scan/formats/native/native_input.h"

#include "base/checked.h"
#include "base/staged_output.h"
#include "scan/files/scan_path.h"
#include "scan/integrity/scan_check.h"

#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/clr_codec.h>
#include <brisko_codec/color_codec.h>
#include <brisko_codec/threads.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <exception>
#include <span>

namespace brisko::scan {
namespace {

/// Codecs that colour on four threads while points are written.
BriskoCodec* createColouringCodec(const ScanInfo& info) {
    if (!info.recordsArePoints) return ColorCodecCreator::CreateCLRGridCodec();
    if (info.hasGrid) return ColorCodecCreator::CreateCL3GridCodec();
    return ColorCodecCreator::CreateCL3Codec();
}

}  // namespace

NativeInput::NativeInput(const std::string& path, const ReadOptions& options,
                         const std::vector<std::string>& later)
    : m_options(options), m_later(later) {
    if (options.tiles && !hasExtension(path, ".cl3")) {
        throw ScanError(ErrorKind::Request, path, "only indexed .cl3 scans have tiles");
    }
    ScanLayout layout = options.tiles ? inspectCL3(path, options.tiles.get()) : inspectNative(path);
    requireSound(layout);
    takeFacts(std::move(layout));
    for (const std::string& file : m_later) {
        const ScanLayout next = inspectCLR(file);
        requireSound(next);
        m_info.records += next.records;
    }
    constexpr std::uint64_t kWorthwhile = 200'000;  // records or cells
    m_threads = m_records < kWorthwhile ? 1 : jobThreads();
    if (options.columns && m_info.hasGrid) chooseColumns(*options.columns, options.tiles.get());
    openCodec();
}

void NativeInput::chooseColumns(const GridRange& columns, const TileTable* table) {
    const std::uint32_t end = std::min(columns.end.value_or(m_info.columns), m_info.columns);
    const ColumnRange chosen{std::min(columns.first, end), end};
    if (chosen.first == 0 && chosen.end == m_info.columns) return;
    m_range = chosen;
    if (!m_info.recordsArePoints) {
        m_steps = chosen.end - chosen.first;
        return;
    }
    m_tiles = table ? table->tiles() : findTiles(m_info.path);
    const std::uint32_t edge = m_info.bandColumns;
    const std::uint64_t tilesDown = divideRoundingUp(m_info.rows, edge);
    const auto tiles = std::span(m_tiles->tiles());
    m_info.records = 0;
    for (const CL3TileTable::Tile& tile :
         tiles.subspan(chosen.first / edge * tilesDown,
                       (divideRoundingUp(chosen.end, edge) - chosen.first / edge) * tilesDown)) {
        m_info.records += tile.points;
    }
    m_steps = m_info.records;
}

BriskoCodec* NativeInput::createCodec() const {
    if (m_options.colourFromPhotos) return createColouringCodec(m_info);
    if (!m_later.empty()) return createCLRSeriesCodec(m_later);
    if (!m_info.recordsArePoints) return CLRGridCodec::Create();
    if (m_info.hasGrid) return CL3GridCodec::Create();
    return CL3Codec::Create();
}

void NativeInput::takeFacts(ScanLayout layout) {
    m_info.path = layout.path;
    m_info.format = formatOf(layout.path);
    m_info.recordsArePoints = layout.isCL3;
    m_info.hasGrid = !layout.isCL3 || layout.index;
    m_info.columns = layout.columns;
    m_info.rows = layout.rows;
    if (layout.index) m_info.bandColumns = layout.index->tileSize;
    m_info.storesColour = hasColour(layout);
    m_info.isColoured = m_options.colourFromPhotos;
    m_info.storesColour = m_info.storesColour || m_info.isColoured;
    m_info.records = m_records = layout.records;
    m_info.header = std::move(layout.header);
    m_steps = !m_info.recordsArePoints ? m_info.columns : m_info.records;
}

/// Opens a codec that colours points. Throws what the host's progress throws, or a cancellation.
bool NativeInput::openWithPhotos() {
    setPhotoOutlines(*m_codec, PhotoOutlines::Whole);
    setPhotoOcclusion(*m_codec, m_options.hideOccluded);
    std::optional<TaskProgress> pass;
    std::exception_ptr stopped;
    setColourOpenProgress(*m_codec, [&](std::uint64_t points) {
        try {
            if (points == 0) {
                requireGoingOn(m_options.progress);
                return true;
            }
            if (!pass)
                pass.emplace(m_options.progress, "look for what photos cannot see", m_records);
            pass->advanceTo(points);
            return true;
        } catch (...) {
            stopped = std::current_exception();
            return false;
        }
    });
    const bool isOpen = m_codec->Open(m_info.path.c_str());
    setColourOpenProgress(*m_codec, {});  // what it refers to goes now
    if (stopped) std::rethrow_exception(stopped);
    return isOpen;
}

void NativeInput::openCodec() {
    m_ahead.reset();
    m_reader.reset();
    m_codec.reset(createCodec());
    if (!m_codec) throw std::bad_alloc();
    if (m_range) setColumnRange(*m_codec, *m_range, m_tiles);
    const bool isOpen =
        m_options.colourFromPhotos ? openWithPhotos() : m_codec->Open(m_info.path.c_str());
    if (!isOpen) failToOpen();
    setFrame(*m_codec, Frame::Scanner);
    m_info.alignment = getAlignment(*m_codec);
    if (m_info.alignment.source == AlignmentSource::Unreadable) {
        const std::string path = companionOf(m_info.path, ".alg");
        throw ScanError(ErrorKind::Damaged, {},
                        path + (isReplacementMark(path)
                                    ? ": the scan was not replaced to its end; write it again"
                                    : ": cannot be read as an alignment; move it away to read the "
                                      "scan without one"));
    }
    m_reader = std::make_unique<PointBatchReader>(*m_codec);
}

/// Names the photo that keeps a scan from being coloured, if it is one: a scan that got here is sound.
void NativeInput::failToOpen() const {
    if (m_options.colourFromPhotos)
        requireUsable(decodeStationPhotos(m_info.path, m_options.progress));
    throw ScanError(ErrorKind::Damaged, m_info.path, "cannot be opened as a scan");
}

void NativeInput::rewind() {
    m_ahead.reset();
    m_batch = nullptr;
    m_started = false;
    m_read = m_done = 0;
    // Points that are coloured ahead come in one pass.
    if (m_options.colourFromPhotos) openCodec();
}

const char* NativeInput::stepUnit() const {
    return !m_info.recordsArePoints ? "columns" : "points";
}

NativeInput::Batch::Batch(std::size_t capacity)
    : positions(3 * capacity),
      intensities(capacity),
      colours(3 * capacity),
      columns(capacity),
      rows(capacity) {
}

PointArrays NativeInput::Batch::arrays() {
    return {positions.data(), intensities.data(), colours.data(), columns.data(), rows.data()};
}

/// One after another, by any thread.
std::size_t NativeInput::readBatch(const PointArrays& arrays, std::size_t capacity) {
    const bool isFirst = !m_started;
    m_started = true;
    const std::size_t count =
        isFirst ? m_reader->readFirst(arrays, capacity) : m_reader->readNext(arrays, capacity);
    if (count == 0) requireWholePass();
    m_read = stepsAfter(arrays, count);
    return count;
}

bool NativeInput::readArrays(Batch& batch, std::size_t capacity) {
    if (batch.positions.empty()) batch = Batch(capacity);
    batch.count = readBatch(batch.arrays(), capacity);
    return batch.count > 0;
}

/// By way of arrays that stay in the caches.
bool NativeInput::readPoints(Batch& batch, std::size_t capacity) {
    if (m_own.positions.empty()) m_own = Batch(kBatch);
    batch.points.resize(capacity);
    batch.count = 0;
    while (batch.count + kBatch <= capacity) {
        m_own.count = readBatch(m_own.arrays(), kBatch);
        if (m_own.count == 0) break;
        requireFinite(m_own.arrays(), m_own.count);
        m_own.copyTo(batch.points.data() + batch.count);
        batch.count += m_own.count;
    }
    if (batch.count < capacity) batch.points.resize(batch.count);
    return batch.count > 0;
}

/// The next batch, or what is left of the one at hand; null at the end. While the caller works on a batch, another
/// thread reads the next ones.
///   asPoints  CellPoints are wanted, not arrays
const NativeInput::Batch* NativeInput::nextBatch(bool asPoints) {
    if (m_batch && m_taken < m_batch->count) return m_batch;
    if (!m_ahead) {
        // Large ones between threads, small ones that stay in the caches without.
        const std::size_t capacity = m_threads > 1 ? (asPoints ? 2 : 4) * kBatch : kBatch;
        const auto fetch = [this, capacity, asPoints](Batch& batch) {
            const bool hasMore =
                asPoints ? readPoints(batch, capacity) : readArrays(batch, capacity);
            batch.stepsDone = m_read;
            return hasMore;
        };
        const auto work = [this, asPoints](Batch& batch) {
            if (!asPoints) requireFinite(batch.arrays(), batch.count);
        };
        constexpr std::size_t kWaiting = 64;
        const PieceCounts counts{.pieces = m_hasPauses && m_threads > 1 ? kWaiting : 0};
        m_ahead = std::make_unique<PiecesAhead<Batch>>(m_threads, fetch, work, counts);
    }
    m_batch = m_ahead->next();
    m_taken = 0;
    m_done = m_batch ? m_batch->stepsDone : m_steps;
    return m_batch;
}

std::size_t NativeInput::readInto(const PointArrays& arrays, std::size_t capacity) {
    if (m_threads < 2) return readStraight(arrays, std::min(capacity, kBatch));
    if (!nextBatch(false)) return 0;
    const std::size_t count = std::min(capacity, m_batch->count - m_taken);
    const auto copy = [&](auto* to, const auto& from, std::size_t values) {
        if (to) std::copy_n(from.data() + values * m_taken, values * count, to);
    };
    copy(arrays.positions, m_batch->positions, 3);
    copy(arrays.intensities, m_batch->intensities, 1);
    copy(arrays.colours, m_batch->colours, 3);
    copy(arrays.columns, m_batch->columns, 1);
    copy(arrays.rows, m_batch->rows, 1);
    m_taken += count;
    return count;
}

/// Without another thread, and without a copy.
std::size_t NativeInput::readStraight(const PointArrays& arrays, std::size_t capacity) {
    if (m_own.positions.empty()) m_own = Batch(kBatch);
    PointArrays wanted = arrays;
    if (!wanted.positions) wanted.positions = m_own.positions.data();
    if (!wanted.intensities) wanted.intensities = m_own.intensities.data();
    if (!wanted.columns) wanted.columns = m_own.columns.data();
    const std::size_t count = readBatch(wanted, capacity);
    requireFinite(wanted, count);
    m_done = m_read;
    return count;
}

void NativeInput::Batch::copyTo(CellPoint* to) const {
    for (std::size_t i = 0; i < count; ++i) {
        CellPoint& point = to[i];
        point.x = positions[3 * i];
        point.y = positions[3 * i + 1];
        point.z = positions[3 * i + 2];
        point.intensity = intensities[i];
        point.red = colours[3 * i];
        point.green = colours[3 * i + 1];
        point.blue = colours[3 * i + 2];
        point.column = columns[i];
        point.row = rows[i];
    }
}

void NativeInput::read(std::vector<CellPoint>& points) {
    if (!nextBatch(true)) return points.clear();
    points.swap(m_batch->points);
    m_taken = m_batch->count;
}

/// The library hands out what can be had of a damaged scan; here that is an error.
void NativeInput::requireWholePass() const {
    const ReadProblem problem = getReadProblem(*m_codec);
    if (!problem && !m_reader->hasReadError()) return;
    failDamaged(problem.file.ends_with(".ij") || problem.file.empty() ? m_info.path : problem.file,
                problem.file.empty() ? m_info.path + ": cannot be read to its end"
                                     : problem.file + ": byte " + std::to_string(problem.offset) +
                                           ": " + problem.text);
}

void NativeInput::requireFinite(const PointArrays& arrays, std::size_t count) const {
    double sum = 0;  // 0, or not a number
    for (const double* p = arrays.positions; p != arrays.positions + 3 * count; p += 3)
        sum += (p[0] - p[0]) + (p[1] - p[1]) + (p[2] - p[2]);
    for (const float* i = arrays.intensities; i != arrays.intensities + count; ++i)
        sum += static_cast<double>(*i - *i);
    if (sum == 0) return;
    failDamaged(m_info.path, m_info.path + ": a record is not finite in all its numbers");
}

/// For the progress, after a batch.
std::uint64_t NativeInput::stepsAfter(const PointArrays& arrays, std::size_t count) const {
    if (count == 0) return m_steps;
    if (m_info.recordsArePoints) return m_read + count;
    return arrays.columns[count - 1] - (m_range ? m_range->first : 0);
}

}  // namespace brisko::scan
