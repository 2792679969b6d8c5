#include "scan/formats/las/las_file.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint8_t kLastFormat = std::size(kLasPointFormats) - 1;
constexpr std::uint8_t kLastMinor = 4;

bool isUsable(double scale, double offset) {
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    return scale != 0 && std::isfinite(scale * kMost + offset) &&
           std::isfinite(scale * -kMost + offset);
}

}  // namespace

LasFile::LasFile(const std::string& path) : m_path(path) {
    InputFile file(path);
    m_bytes = file.size();
    readHeader(file);
    findProblem();
    if (!m_problem.empty()) return;
    const std::uint64_t pointsEnd = m_header.pointOffset + m_header.count * m_header.pointSize;
    readRecords(file, m_header.headerSize, m_header.pointOffset, m_header.records, false);
    if (m_header.extendedAt >= pointsEnd) {
        readRecords(file, m_header.extendedAt, m_bytes, m_header.extended, true);
    }
    findCellFields();
}

void LasFile::readHeader(InputFile& file) {
    std::array<std::uint8_t, las_header::kSize14> bytes{};
    const std::size_t got = file.read(bytes.data(), bytes.size());
    if (got < las_header::kSize12 || std::memcmp(bytes.data(), "LASF", 4) != 0) {
        throw ScanError(ErrorKind::Damaged, m_path,
                        got < las_header::kSize12 ? "too short for the header of a LAS file"
                                                  : "not a LAS file: it does not begin with LASF");
    }
    m_header = decodeLasHeader({bytes.data(), got});
}

void LasFile::findProblem() {
    if ((m_header.pointFormat & kCompressedBit) != 0) {
        m_problem = "its points are compressed (LAZ), which is not read";
        m_advice = kLasUnpackAdvice;
        return;
    }
    m_problem = layoutProblem();
}

std::string LasFile::layoutProblem() {
    const LasHeader& h = m_header;
    const auto number = [](std::uint64_t n) { return std::to_string(n); };
    if (h.major != 1 || h.minor > kLastMinor) {
        return "version " + number(h.major) + "." + number(h.minor) + " of LAS is not known";
    }
    if (h.pointFormat > kLastFormat) {
        return "point format " + number(h.pointFormat) + " is not known";
    }
    const std::size_t leastHeader =
        h.minor == kLastMinor ? las_header::kSize14 : las_header::kSize12;
    if (h.headerSize < leastHeader) {
        return "a header of " + number(h.headerSize) + " bytes; " + number(leastHeader) +
               " are the least";
    }
    if (h.pointOffset < h.headerSize || h.pointOffset > m_bytes) {
        return "the points are said to begin at byte " + number(h.pointOffset) + " of " +
               number(m_bytes);
    }
    const std::size_t least = kLasPointFormats[h.pointFormat].size;
    if (h.pointSize < least) {
        return "point records of " + number(h.pointSize) + " bytes; format " +
               number(h.pointFormat) + " takes " + number(least);
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (!isUsable(h.scale[axis], h.offset[axis])) {
            return std::string("scale or offset of ") + "xyz"[axis] + " cannot be used";
        }
    }
    if (pointsThere() < h.count) {
        return number(h.count) + " points are announced, there is room for " +
               number(pointsThere());
    }
    return {};
}

void LasFile::requireReadable() const {
    if (!m_problem.empty()) throw ScanError(ErrorKind::Damaged, m_path, m_problem, m_advice);
}

std::uint64_t LasFile::pointsThere() const {
    if (m_header.pointOffset > m_bytes || m_header.pointSize == 0) return 0;
    return std::min(m_header.count, (m_bytes - m_header.pointOffset) / m_header.pointSize);
}

std::uint64_t LasFile::recordsMissing() const {
    const std::uint64_t announced = std::uint64_t{m_header.records} + m_header.extended;
    return announced > m_records ? announced - m_records : 0;
}

/// Walks as far as whole records lie before `end`: the announced number is often wrong.
void LasFile::readRecords(InputFile& file, std::uint64_t at, std::uint64_t end, std::uint64_t count,
                          bool isExtended) {
    const std::size_t size = isExtended ? las_record::kExtendedSize : las_record::kSize;
    std::array<std::uint8_t, las_record::kExtendedSize> head{};
    for (; count > 0 && at < end && end - at >= size && file.readAt(at, head.data(), size);
         --count) {
        const LasRecord record = decodeLasRecord(head.data(), isExtended);
        at += size;
        if (record.length > end - at) return;
        takeRecord(file, record, at);
        at += record.length;
        ++m_records;
    }
}

void LasFile::takeRecord(InputFile& file, const LasRecord& record, std::uint64_t at) {
    constexpr std::uint64_t kMost = 1 << 16;  // bytes; what we look at is smaller
    const bool isFields = record.user == kLasSpecUser && record.id == kLasExtraBytesId;
    const bool isScan = record.user == kLasScanUser && record.id == kLasScanId;
    m_hasCoordinateSystem |= record.user == "LASF_Projection";
    if ((!isFields && !isScan) || record.length == 0) return;
    std::vector<std::uint8_t> data(std::min(record.length, kMost));
    if (!file.readAt(at, data.data(), data.size())) return;
    if (isScan) {
        m_scan = decodeLasScan(data);
    } else if (m_fields.empty()) {
        m_fields =
            decodeLasFields(data, kLasPointFormats[m_header.pointFormat].size, m_header.pointSize);
    }
}

const LasField* LasFile::cellField(const char* name) const {
    const auto found = std::find_if(m_fields.begin(), m_fields.end(), [&](const LasField& field) {
        return field.name == name && !field.isScaled &&
               (field.type == kLasU16 || field.type == kLasU32);
    });
    return found == m_fields.end() ? nullptr : &*found;
}

void LasFile::findCellFields() {
    const LasField* const column = cellField("column");
    const LasField* const row = cellField("row");
    if (!column || !row) return;
    m_column = column;
    m_row = row;
}

}  // namespace brisko::scan
