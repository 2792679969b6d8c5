#include "scan/formats/e57/record_stream.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>

namespace brisko::scan::e57 {
namespace {

/// Streams of a file lie a few records apart; these many bytes of one wait for another.
constexpr std::size_t kMostWaiting = std::size_t{64} << 20;

}  // namespace

RecordStream::RecordStream(PageReader& pages, const Scan& scan,
                           const std::vector<std::size_t>& fields)
    : m_pages(pages), m_scan(scan) {
    for (const std::size_t field : fields)
        m_columns.push_back({scan.fields[field], field, nullptr, 0, 0, {}});
    if (scan.records > 0) openSection();
}

void RecordStream::fail(std::uint64_t logical, const std::string& reason) const {
    throw ScanError(ErrorKind::Damaged, m_pages.path(), FilePlace{{}, physicalOf(logical)}, reason);
}

void RecordStream::openSection() {
    const std::uint64_t start = isOffset(m_scan.section) ? logicalOf(m_scan.section) : 0;
    const std::uint8_t* const bytes =
        start > 0 ? m_pages.view(start, VectorHeader::kSize) : nullptr;
    if (!bytes) {
        throw ScanError(ErrorKind::Damaged, m_pages.path(),
                        "the points of scan \"" + m_scan.name + "\" do not lie inside the file");
    }
    const VectorHeader header = VectorHeader::decode(bytes);
    if (header.id != VectorHeader::kId) fail(start, "no section of points begins here");
    const std::uint64_t left = m_pages.size() - start;
    if (header.sectionBytes > left || header.sectionBytes < VectorHeader::kSize) {
        fail(start, "the section of points is said to have " + std::to_string(header.sectionBytes) +
                        " bytes; " + std::to_string(left) + " are left in the file");
    }
    m_end = start + header.sectionBytes;
    m_at = isOffset(header.dataOffset) ? logicalOf(header.dataOffset) : 0;
    if (m_at < start + VectorHeader::kSize || m_at > m_end) {
        fail(start, "the first packet does not lie inside its section");
    }
    requireRoom(header.sectionBytes);
}

/// A field of no bits takes no bytes: a count of records is believed as far as the others bear it out.
void RecordStream::requireRoom(std::uint64_t sectionBytes) const {
    std::uint64_t bits = 0;
    for (const Field& field : m_scan.fields)
        bits += field.bits;
    const auto needed = static_cast<unsigned __int128>(bits) * m_scan.records;
    const bool fits = needed <= static_cast<unsigned __int128>(sectionBytes) * 8;
    if (fits && (bits > 0 || m_scan.records == 1)) return;
    fail(logicalOf(m_scan.section), "the section is too short for the " +
                                        std::to_string(m_scan.records) + " records announced");
}

std::size_t RecordStream::available(std::uint64_t most) const {
    for (const Column& column : m_columns) {
        if (column.field.bits == 0) continue;
        most = std::min(most, (column.size * 8 - column.bit) / column.field.bits);
    }
    return static_cast<std::size_t>(most);
}

std::size_t RecordStream::next(std::size_t most) {
    for (Column& column : m_columns)
        column.bit += m_atHand * column.field.bits;
    m_atHand = 0;
    const std::uint64_t wanted = std::min<std::uint64_t>(most, m_scan.records - m_done);
    if (wanted == 0) return 0;
    for (m_atHand = available(wanted); m_atHand == 0; m_atHand = available(wanted))
        loadPacket();
    m_done += m_atHand;
    return m_atHand;
}

/// The view of the pages changes with the next packet: what is not read yet moves out of it.
void RecordStream::keepRemainders() {
    for (Column& column : m_columns) {
        const std::size_t passed = std::min(static_cast<std::size_t>(column.bit / 8), column.size);
        const std::uint8_t* const rest = column.data + passed;
        const std::size_t size = column.size - passed;
        if (size == 0) {
            column.own.clear();
        } else if (column.data == column.own.data()) {
            column.own.erase(column.own.begin(),
                             column.own.begin() + static_cast<std::ptrdiff_t>(passed));
        } else {
            column.own.assign(rest, rest + size + PageReader::kSlack);
        }
        column.data = column.own.data();
        column.size = size;
        column.bit = size == 0 ? 0 : column.bit % 8;
    }
}

/// Goes to the next packet of data.
void RecordStream::loadPacket() {
    keepRemainders();
    for (;;) {
        const std::uint64_t left = m_end - m_at;
        const std::uint8_t* const start =
            left >= PacketHeader::kSize ? m_pages.view(m_at, PacketHeader::kSize) : nullptr;
        if (!start) {
            fail(m_at, "the points end here, after record " + std::to_string(m_done) + " of " +
                           std::to_string(m_scan.records));
        }
        const PacketHeader header = PacketHeader::decode(start);
        if (header.type > PacketType::Ignored || header.bytes % 4 != 0 || header.bytes > left) {
            fail(m_at, "no packet of the section begins here");
        }
        const std::uint64_t at = m_at;
        m_at += header.bytes;
        if (header.type != PacketType::Data) continue;
        const std::uint8_t* const packet = m_pages.view(at, header.bytes);
        if (!packet) fail(at, "the packet does not lie inside the file");
        takeStreams(packet, header);
        return;
    }
}

void RecordStream::takeStreams(const std::uint8_t* packet, const PacketHeader& header) {
    const std::size_t streams = m_scan.fields.size();
    const std::uint64_t at = m_at - header.bytes;
    if (header.entries != streams) {
        fail(at, "the packet has " + std::to_string(header.entries) + " streams; the scan has " +
                     std::to_string(streams) + " fields");
    }
    std::size_t place = PacketHeader::kSize + 2 * streams;
    m_starts.assign(1, place);
    for (std::size_t stream = 0; stream < streams && place <= header.bytes; ++stream) {
        place += load<std::uint16_t>(packet + PacketHeader::kSize + 2 * stream);
        m_starts.push_back(place);
    }
    if (place > header.bytes) fail(at, "the streams of the packet are longer than it");
    for (Column& column : m_columns) {
        if (column.field.bits == 0) continue;
        const std::size_t start = m_starts[column.stream];
        append(column, packet + start, m_starts[column.stream + 1] - start);
    }
    for (const Column& waiting : m_columns) {
        if (waiting.own.size() > kMostWaiting) fail(at, "the streams lie too far apart");
    }
}

void RecordStream::append(Column& column, const std::uint8_t* bytes, std::size_t size) {
    if (column.size == 0) {
        column.own.clear();
        column.data = bytes;
        column.size = size;
        column.bit = 0;
        return;
    }
    column.own.resize(column.size);
    column.own.insert(column.own.end(), bytes, bytes + size + PageReader::kSlack);
    column.data = column.own.data();
    column.size += size;
}

}  // namespace brisko::scan::e57
