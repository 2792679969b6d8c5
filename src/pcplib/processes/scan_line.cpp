#include "pcplib/processes/scan_line.h"

#include "base/file.h"
#include "layouts/clr_record.h"

#include <algorithm>
#include <cmath>
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

}  // namespace QelPcpLib
