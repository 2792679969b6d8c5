#include "scan/formats/e57/record_source.h"

#include "scan/formats/e57/crc32c.h"
#include "scan/formats/point_pieces.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <limits>

namespace brisko::scan::e57 {
namespace {

/// Streams of a file lie a few records apart; these many bytes of one wait for another.
constexpr std::size_t kMostWaiting = std::size_t{64} << 20;

}  // namespace

RecordSource::RecordSource(PageReader& pages, const Scan& scan,
                           const std::vector<std::size_t>& fields)
    : m_pages(pages), m_scan(scan) {
    for (const std::size_t field : fields) {
        m_streams.push_back({&scan.fields[field], field, {}});
        m_hasBits |= scan.fields[field].bits > 0;
    }
    if (scan.records > 0) openSection();
}

void RecordSource::fail(std::uint64_t logical, const std::string& reason) const {
    throw ScanError(ErrorKind::Damaged, m_pages.path(), FilePlace{{}, physicalOf(logical)}, reason);
}

void RecordSource::openSection() {
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
void RecordSource::requireRoom(std::uint64_t sectionBytes) const {
    std::uint64_t bits = 0;
    for (const Field& field : m_scan.fields)
        bits += field.bits;
    const auto needed = static_cast<unsigned __int128>(bits) * m_scan.records;
    const bool fits = needed <= static_cast<unsigned __int128>(sectionBytes) * 8;
    if (fits && (bits > 0 || m_scan.records == 1)) return;
    fail(logicalOf(m_scan.section), "the section is too short for the " +
                                        std::to_string(m_scan.records) + " records announced");
}

bool RecordSource::fetch(RecordPiece& piece) {
    piece.m_packetCount = piece.m_count = piece.m_pages = 0;
    piece.m_firstPage = m_at / kContent;
    m_verified = 0;
    while (m_done < m_scan.records && piece.m_count < kPiecePoints) {
        try {
            takePacket(piece);
        } catch (const ScanError&) {
            if (piece.m_count == 0) throw;
            break;  // the records before it come first, then it is met again
        }
    }
    piece.m_done = m_done;
    return piece.m_count > 0;
}

/// Goes to the next packet of data.
void RecordSource::takePacket(RecordPiece& piece) {
    const std::uint64_t left = m_scan.records - m_done;
    if (!m_hasBits) {
        handOut(piece, static_cast<std::size_t>(std::min<std::uint64_t>(left, kPiecePoints)));
        return;
    }
    const std::uint64_t bytesLeft = m_end - m_at;
    std::uint8_t start[PacketHeader::kSize];
    if (bytesLeft < sizeof start || !copyVerified(piece, m_at, sizeof start, start)) {
        fail(m_at, "the points end here, after record " + std::to_string(m_done) + " of " +
                       std::to_string(m_scan.records));
    }
    const PacketHeader header = PacketHeader::decode(start);
    if (header.type > PacketType::Ignored || header.bytes % 4 != 0 || header.bytes > bytesLeft) {
        fail(m_at, "no packet of the section begins here");
    }
    if (header.type == PacketType::Data) {
        if (!bring(piece, m_at + header.bytes))
            fail(m_at, "the packet does not lie inside the file");
        findStreams(piece, header);
    }
    m_at += header.bytes;
    if (header.type != PacketType::Data) return;
    std::uint64_t count = left;
    for (const Stream& stream : m_streams) {
        if (stream.field->bits > 0) count = std::min(count, stream.bits() / stream.field->bits);
    }
    if (count > 0) {
        handOut(piece, static_cast<std::size_t>(count));
    } else {
        keepAll(piece);
    }
    for (const Stream& waiting : m_streams) {
        if (waiting.remainder.size() > kMostWaiting) {
            fail(m_at - header.bytes, "the streams lie too far apart");
        }
    }
}

/// Finds out where the wanted streams lie in the packet.
void RecordSource::findStreams(RecordPiece& piece, const PacketHeader& header) {
    const std::size_t streams = m_scan.fields.size();
    if (header.entries != streams) {
        fail(m_at, "the packet has " + std::to_string(header.entries) + " streams; the scan has " +
                       std::to_string(streams) + " fields");
    }
    std::size_t place = PacketHeader::kSize + 2 * streams;
    std::vector<std::uint8_t> sizes(2 * streams);
    if (place <= header.bytes) {
        copyVerified(piece, m_at + PacketHeader::kSize, sizes.size(), sizes.data());
    }
    std::vector<std::size_t> starts = {place};
    for (std::size_t stream = 0; stream < streams && place <= header.bytes; ++stream) {
        place += load<std::uint16_t>(sizes.data() + 2 * stream);
        starts.push_back(place);
    }
    if (place > header.bytes) fail(m_at, "the streams of the packet are longer than it");
    for (Stream& stream : m_streams) {
        stream.logical = m_at + starts[stream.number];
        stream.size =
            stream.field->bits > 0 ? starts[stream.number + 1] - starts[stream.number] : 0;
    }
}

/// No record is complete with the packet.
void RecordSource::keepAll(const RecordPiece& piece) {
    for (Stream& stream : m_streams)
        append(piece, stream.logical, stream.size, stream.remainder);
}

/// Gives records into the piece; what follows them in the packet remains.
void RecordSource::handOut(RecordPiece& piece, std::size_t count) {
    if (piece.m_packets.size() == piece.m_packetCount) piece.m_packets.emplace_back();
    RecordPiece::Packet& packet = piece.m_packets[piece.m_packetCount++];
    packet.count = count;
    packet.parts.resize(m_streams.size());
    for (std::size_t i = 0; i < m_streams.size(); ++i) {
        Stream& stream = m_streams[i];
        RecordPiece::Part& part = packet.parts[i];
        part.before.swap(stream.remainder);
        stream.remainder.clear();
        part.bit = stream.bit;
        part.logical = stream.logical;
        part.size = stream.size;
        const std::uint64_t end = stream.bit + std::uint64_t{count} * stream.field->bits;
        const std::size_t before = part.before.size(), all = before + part.size;
        const auto passed = static_cast<std::size_t>(std::min<std::uint64_t>(end / 8, all));
        if (passed < before) {
            stream.remainder.assign(part.before.begin() + static_cast<std::ptrdiff_t>(passed),
                                    part.before.end());
        }
        const std::size_t taken = std::max(passed, before) - before;  // of the packet
        append(piece, part.logical + taken, part.size - taken, stream.remainder);
        stream.bit = passed < all ? end % 8 : 0;
        stream.size = 0;
    }
    piece.m_count += count;
    m_done += count;
}

/// Reads pages up to a logical offset. False where the file ends before it.
bool RecordSource::bring(RecordPiece& piece, std::uint64_t end) {
    if (end > m_pages.size()) return false;
    const auto wanted =
        static_cast<std::size_t>((end + kContent - 1) / kContent - piece.m_firstPage);
    if (wanted <= piece.m_pages) return true;
    const std::size_t room = (wanted + 3) / 4 * 4 * kPage;
    if (piece.m_raw.size() < room) piece.m_raw.resize(room);
    m_pages.readPages(piece.m_firstPage + piece.m_pages, wanted - piece.m_pages,
                      piece.m_raw.data() + piece.m_pages * kPage);
    piece.m_pages = wanted;
    return true;
}

/// A few bytes of a packet, which decide what is done with the others. False where the file ends before them.
bool RecordSource::copyVerified(RecordPiece& piece, std::uint64_t logical, std::size_t size,
                                std::uint8_t* out) {
    if (!bring(piece, logical + size)) return false;
    for (std::uint64_t page = logical / kContent; page <= (logical + size - 1) / kContent; ++page) {
        if (page < m_verified) continue;
        const std::uint8_t* const raw = piece.m_raw.data() + (page - piece.m_firstPage) * kPage;
        if (crc32c(raw, kContent) != loadChecksum(raw)) m_pages.failChecksum(page);
        m_verified = page + 1;
    }
    std::vector<std::uint8_t> bytes;
    append(piece, logical, size, bytes);
    std::copy(bytes.begin(), bytes.end(), out);
    return true;
}

/// Adds bytes of content to others.
void RecordSource::append(const RecordPiece& piece, std::uint64_t logical, std::size_t size,
                          std::vector<std::uint8_t>& out) {
    while (size > 0) {
        const std::uint64_t place = logical % kContent;
        const std::size_t some = std::min<std::size_t>(size, kContent - place);
        const std::uint8_t* const from =
            piece.m_raw.data() + (logical / kContent - piece.m_firstPage) * kPage + place;
        out.insert(out.end(), from, from + some);
        logical += some;
        size -= some;
    }
}

void RecordSource::open(RecordPiece& piece) const {
    const std::size_t room = piece.m_pages * kContent + PageReader::kSlack;
    if (piece.m_content.size() < room) piece.m_content.resize(room);
    for (std::size_t page = 0; page < piece.m_pages; page += 4) {
        const std::uint8_t* const raw = piece.m_raw.data() + page * kPage;
        std::uint32_t sums[4];
        // After the last pages older bytes lie; their sums are not looked at.
        crc32cOfFour(raw, kContent, kPage, sums);
        for (std::size_t k = 0; k < std::min<std::size_t>(4, piece.m_pages - page); ++k) {
            if (sums[k] != loadChecksum(raw + k * kPage)) {
                m_pages.failChecksum(piece.m_firstPage + page + k);
            }
            std::memcpy(piece.m_content.data() + (page + k) * kContent, raw + k * kPage, kContent);
        }
    }
    piece.m_columns.resize(piece.m_packetCount);
    for (std::size_t i = 0; i < piece.m_packetCount; ++i) {
        RecordPiece::Packet& packet = piece.m_packets[i];
        RecordColumns& columns = piece.m_columns[i];
        columns.begin(packet.count);
        for (std::size_t k = 0; k < packet.parts.size(); ++k) {
            RecordPiece::Part& part = packet.parts[k];
            const std::uint8_t* data = piece.m_content.data();
            if (part.size > 0) data += part.logical - piece.m_firstPage * kContent;
            if (!part.before.empty()) {
                part.joined.assign(part.before.begin(), part.before.end());
                part.joined.insert(part.joined.end(), data, data + part.size + PageReader::kSlack);
                data = part.joined.data();
            }
            columns.add({m_streams[k].field, data, part.bit});
        }
    }
}

}  // namespace brisko::scan::e57
