#include "scan/integrity/block_walk.h"

#include "layouts/records.h"
#include "scan/formats/native/native_layout.h"

#include <brisko_scan/repair.h>
#include <brisko_scan/text.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::size_t kBatch = 1 << 15;  // points handed out at a time
constexpr std::uint64_t kNone = std::numeric_limits<std::uint64_t>::max();

/// Whether a number could be a coordinate in metres. Bytes read from the wrong place give exponents
/// of all sizes.
bool isLikely(double metres) {
    const double size = std::abs(metres);
    return size == 0 || (size > 1e-9 && size < 1e6);
}

bool isTiny(double metres) {
    return std::abs(metres) <= 1e-9;
}

}  // namespace

BlockWalk::BlockWalk(ByteStream& stream, const std::string& path, CL3PointFormat format,
                     Salvage& salvage, Sink sink)
    : m_stream(stream),
      m_path(path),
      m_format(format),
      m_recordSize(recordSizeOf(format)),
      m_salvage(salvage),
      m_sink(std::move(sink)) {
}

void BlockWalk::run(std::uint32_t announcedBlocks) {
    m_next = cl3_header::kSize;
    bool more = true;
    while (more && m_next < m_stream.size()) {
        const bool isExpected = m_block < announcedBlocks;
        const std::uint64_t left = m_stream.size() - m_next;
        // After the last block a plain writer may leave the header of an empty one.
        if (!isExpected && left <= cl3_block::kHeaderSize) break;
        std::uint32_t count = 0;
        const bool fits = headerFits(m_next, count) && !isUnclosed(m_next);
        if (fits && (isBlock(m_next) || (isExpected && count == 0))) {
            takeBlock(m_next);
        } else {
            more = takeRemains(m_next);
        }
        ++m_block;
    }
    emit(true);
    if (m_block < announcedBlocks) {
        lose("block", m_stream.size(),
             countOf(announcedBlocks - m_block, "announced block") + " not found");
    }
}

void BlockWalk::lose(const char* kind, std::uint64_t offset, const std::string& text) {
    m_salvage.losses.add({kind, m_path, m_block, offset, text});
}

bool BlockWalk::headerFits(std::uint64_t offset, std::uint32_t& count) {
    m_stream.seek(offset);
    const std::uint8_t* const header = m_stream.peek(cl3_block::kHeaderSize);
    if (!header) return false;
    count = loadU32(header);
    return count * m_recordSize <= m_stream.left() - cl3_block::kHeaderSize;
}

bool BlockWalk::isRecord(std::uint64_t offset) {
    m_stream.seek(offset);
    const std::uint8_t* const bytes = m_stream.peek(m_recordSize);
    if (!bytes) return false;
    const CellPoint p = decodeCellPoint(bytes, m_format);
    const int tiny = isTiny(p.x) + isTiny(p.y) + isTiny(p.z);
    const int likely = isLikely(p.x) + isLikely(p.y) + isLikely(p.z);
    // A direction along an axis may leave rounding errors in the other coordinates.
    return isFinite(p) && tiny < 3 && likely >= 2 && std::abs(p.intensity) < 1e6F;
}

/// Whether a block with records begins there.
bool BlockWalk::isBlock(std::uint64_t offset) {
    std::uint32_t count = 0;
    if (!headerFits(offset, count) || count == 0) return false;
    const std::uint64_t first = offset + cl3_block::kHeaderSize;
    return isRecord(first) || isRecord(first + (count - 1) * m_recordSize);
}

/// A writer that was never closed leaves a count of 0 before its last records.
bool BlockWalk::isUnclosed(std::uint64_t offset) {
    std::uint32_t count = 0;
    const std::uint64_t first = offset + cl3_block::kHeaderSize;
    return headerFits(offset, count) && count == 0 && isRecord(first) && !isBlock(first);
}

/// Where records go on after a block header that makes no sense: after it, or, when the block
/// before it announced too few, in its place.
std::uint64_t BlockWalk::startOfRecords(std::uint64_t offset) {
    if (isRecord(offset + cl3_block::kHeaderSize)) return offset + cl3_block::kHeaderSize;
    return m_block > 0 && isRecord(offset) ? offset : kNone;
}

void BlockWalk::takeBlock(std::uint64_t offset) {
    std::uint32_t count = 0;
    headerFits(offset, count);
    const std::uint64_t first = offset + cl3_block::kHeaderSize;
    const std::uint64_t taken = takeRecords(first, count, true);
    if (taken < count) {
        lose("block", offset,
             "it announces " + countOf(count, "record") + ", another block begins after " +
                 std::to_string(taken));
    }
    m_next = first + taken * m_recordSize;
}

/// Handles what is there instead of a whole block. False when nothing after it can be found.
bool BlockWalk::takeRemains(std::uint64_t offset) {
    const std::uint64_t start = startOfRecords(offset);
    if (start == kNone) {
        lose("block", offset,
             "neither a block nor a record begins here; " +
                 countOf(m_stream.size() - offset, "byte") + " left out");
        return false;
    }
    std::uint32_t announced = 0;
    headerFits(offset, announced);
    const std::uint64_t taken = takeRecords(start, kNone, false);
    m_next = start + taken * m_recordSize;
    const bool atEnd = m_stream.size() - m_next < m_recordSize;
    std::string text = "its announced number of records does not fit the file; " +
                       countOf(taken, "record") + " taken";
    if (atEnd && announced > taken) {
        text = "the file ends inside it, after " + std::to_string(taken) + " of " +
               countOf(announced, "record");
        m_salvage.lostRecords += announced - taken;
    }
    lose("block", offset, text);
    if (atEnd || isBlock(m_next)) return !atEnd;
    ++m_block;
    lose("block", m_next,
         "no record follows; " + countOf(m_stream.size() - m_next, "byte") + " left out");
    return false;
}

/// Takes records up to a number of them, or to where something else follows.
///   isWhole  the block says that they are records: one that does not look like one is left out
///            alone, unless a block begins in its place
std::uint64_t BlockWalk::takeRecords(std::uint64_t begin, std::uint64_t most, bool isWhole) {
    std::uint64_t taken = 0;
    for (; taken < most; ++taken) {
        const std::uint64_t offset = begin + taken * m_recordSize;
        m_stream.seek(offset);
        const std::uint8_t* const bytes = m_stream.peek(m_recordSize);
        if (!bytes) break;
        const CellPoint point = decodeCellPoint(bytes, m_format);
        if (!isRecord(offset)) {
            if (isMeasured(point) && isBlock(offset)) break;
            if (!isWhole) break;
        }
        if (!isMeasured(point)) continue;
        if (isFinite(point)) {
            m_points.push_back(point);
            emit(false);
        } else {
            ++m_salvage.lostRecords;
            lose("record", offset, "record " + std::to_string(taken) + " has no finite numbers");
        }
    }
    return taken;
}

void BlockWalk::emit(bool force) {
    if (m_points.empty() || (!force && m_points.size() < kBatch)) return;
    m_sink(m_points);
    m_points.clear();
}

}  // namespace brisko::scan
