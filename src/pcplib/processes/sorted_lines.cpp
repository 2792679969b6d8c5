#include "pcplib/processes/sorted_lines.h"

#include "base/file.h"
#include "layouts/layout.h"
#include "layouts/records.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace QelPcpLib {

using brisko::RawRecord;
namespace clr_record = brisko::clr_record;

namespace {

/// The elevation in radians, seen from the scanner.
double elevation(const RawRecord& record) {
    const double x = record.x, y = record.y;
    return std::atan2(static_cast<double>(record.z), std::sqrt(x * x + y * y));
}

bool isMeasuredAt(const std::uint8_t* records, std::size_t index) {
    return brisko::loadI32(records + index * clr_record::kSize + clr_record::kIntensity) > 0;
}

/// A record without its numbers, which may lie at any address.
struct RecordBytes {
    std::uint8_t bytes[clr_record::kSize];
};
static_assert(alignof(RecordBytes) == 1);

}  // namespace

void LineEnds::look(const std::uint8_t* records, std::size_t count) {
    std::size_t first = 0;
    if (m_found == 0) {
        while (first < count && !isMeasuredAt(records, first))
            ++first;
        if (first == count) return;
        m_first = brisko::decodeRawRecord(records + first++ * clr_record::kSize);
        m_found = 1;
    }
    for (std::size_t last = count; last > first; --last) {
        if (!isMeasuredAt(records, last - 1)) continue;
        m_last = brisko::decodeRawRecord(records + (last - 1) * clr_record::kSize);
        m_found = 2;
        return;
    }
}

int LineEnds::direction() const {
    if (m_found < 2) return 0;
    return elevation(m_last) > elevation(m_first) ? 1 : -1;
}

int ClassifyLine(const std::uint8_t* line, std::size_t count) {
    LineEnds ends;
    ends.look(line, count);
    return ends.direction();
}

void ReverseLine(std::uint8_t* line, std::size_t count) {
    auto* const records = reinterpret_cast<RecordBytes*>(line);
    std::reverse(records, records + count);
}

bool reverseRecordsInFile(std::FILE* file, std::uint64_t offset, std::uint64_t count,
                          const std::function<void()>& between) {
    constexpr std::uint64_t kPart = 100'000;  // records of either end
    std::vector<RecordBytes> front, back;
    const auto read = [&](std::vector<RecordBytes>& part, std::uint64_t first, std::uint64_t size) {
        part.resize(static_cast<std::size_t>(size));
        const std::size_t bytes = part.size() * clr_record::kSize;
        return brisko::readAt(file, offset + first * clr_record::kSize, part.data(), bytes) ==
               bytes;
    };
    const auto writeReversed = [&](std::vector<RecordBytes>& part, std::uint64_t first) {
        std::reverse(part.begin(), part.end());
        const std::span bytes(reinterpret_cast<const std::uint8_t*>(part.data()),
                              part.size() * clr_record::kSize);
        return brisko::writeAt(file, offset + first * clr_record::kSize, bytes) == bytes.size();
    };
    std::uint64_t first = 0, end = count;
    while (first < end) {
        const std::uint64_t half = (end - first) / 2;
        const std::uint64_t part = half < kPart ? end - first : kPart;
        if (!read(front, first, part)) return false;
        if (part == end - first) return writeReversed(front, first);
        if (!read(back, end - part, part) || !writeReversed(back, first) ||
            !writeReversed(front, end - part)) {
            return false;
        }
        first += part;
        end -= part;
        between();
    }
    return true;
}

namespace clr_record = brisko::clr_record;

SortedLines::SortedLines(brisko::OutputFile& output, std::string path, std::uint64_t rows,
                         const ProcessProgress& progress)
    : m_output(output), m_path(std::move(path)), m_rows(rows), m_progress(progress) {
}

std::size_t SortedLines::held() const {
    return m_held.size() / clr_record::kSize;
}

std::size_t SortedLines::add(std::span<const std::uint8_t> bytes) {
    const std::uint64_t lacking = missing() * clr_record::kSize;
    if (bytes.size() > lacking) bytes = bytes.first(static_cast<std::size_t>(lacking));
    if (bytes.size() > clr_record::kSize) {
        bytes = bytes.first(bytes.size() - bytes.size() % clr_record::kSize);
    }
    if (m_held.size() + bytes.size() > kMostHeld * clr_record::kSize) spill();
    m_held.insert(m_held.end(), bytes.begin(), bytes.end());
    if (bytes.size() < clr_record::kSize) {
        m_held.resize(m_held.size() + clr_record::kSize - bytes.size());
    }
    return bytes.size();
}

void SortedLines::writeHeld() {
    m_output.append(m_held);
    m_held.clear();
}

void SortedLines::spill() {
    if (m_spilled == 0) m_lineStart = m_output.position();
    m_ends.look(m_held.data(), held());
    m_spilled += held();
    writeHeld();
    m_progress.poll();
}

bool SortedLines::finishLine(std::uint64_t k) {
    return m_rows <= kMostHeld ? finishHeldLine(k) : finishSpilledLine(k);
}

bool SortedLines::finishHeldLine(std::uint64_t k) {
    const auto rows = static_cast<std::size_t>(m_rows);
    m_held.resize(rows * clr_record::kSize);
    const bool turn = runsAgainstOrder(k, ClassifyLine(m_held.data(), rows));
    if (turn) ReverseLine(m_held.data(), rows);
    writeHeld();
    return turn;
}

bool SortedLines::finishSpilledLine(std::uint64_t k) {
    spill();
    m_output.appendZeros((m_rows - m_spilled) * clr_record::kSize);
    const bool turn = runsAgainstOrder(k, m_ends.direction());
    if (turn) m_good = turnInFile() && m_good;
    m_spilled = 0;
    m_ends = {};
    return turn;
}

bool SortedLines::turnInFile() {
    m_output.flush();
    if (m_output.failed()) return false;
    const brisko::FilePtr file = brisko::openFile(m_path.c_str(), "rb+");
    const auto between = [this] { m_progress.poll(); };
    return file && reverseRecordsInFile(file.get(), m_lineStart, m_rows, between);
}

}  // namespace QelPcpLib
