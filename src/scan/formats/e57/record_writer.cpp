#include "scan/formats/e57/record_writer.h"

#include "base/text.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace brisko::scan::e57 {
namespace {

/// What an accumulator of bits may write beyond the end of a stream.
constexpr std::size_t kSlack = 8;

Field integerField(const char* name, std::int64_t maximum) {
    Field field;
    field.name = name;
    field.kind = Field::Kind::Integer;
    field.maximum = maximum;
    field.bits = static_cast<unsigned>(std::bit_width(static_cast<std::uint64_t>(maximum)));
    return field;
}

Field coordinateField(const char* name, double precision) {
    Field field;
    field.name = name;
    field.kind = Field::Kind::Double;
    field.bits = 64;
    if (precision > 0) {
        field.kind = Field::Kind::ScaledInteger;
        field.minimum = std::numeric_limits<std::int32_t>::min();
        field.maximum = std::numeric_limits<std::int32_t>::max();
        field.bits = 32;
        field.scale = precision;
    }
    return field;
}

std::size_t bytesOf(const Field& field, std::size_t records) {
    return (field.bits * records + 7) / 8;
}

/// Numbers of `bits` bits (at most 32) one after the other, the first in the lowest bits.
template <class Get>
std::uint8_t* putBits(std::uint8_t* out, unsigned bits, std::size_t count, const Get& get) {
    std::uint8_t* const end = out + (bits * count + 7) / 8;
    std::uint64_t waiting = 0;
    unsigned filled = 0;
    for (std::size_t i = 0; i < count; ++i) {
        waiting |= std::uint64_t{get(i)} << filled;
        filled += bits;
        if (filled < 32) continue;
        storeU32(out, static_cast<std::uint32_t>(waiting));
        out += 4;
        waiting >>= 32;
        filled -= 32;
    }
    store(out, waiting);
    return end;
}

}  // namespace

std::vector<Field> chooseFields(const RecordChoice& choice) {
    std::vector<Field> fields = {coordinateField("cartesianX", choice.precision),
                                 coordinateField("cartesianY", choice.precision),
                                 coordinateField("cartesianZ", choice.precision)};
    if (choice.hasGrid) {
        fields.push_back(integerField("rowIndex", std::int64_t{choice.rows} - 1));
        fields.push_back(integerField("columnIndex", std::int64_t{choice.columns} - 1));
    }
    Field intensity;
    intensity.name = "intensity";
    intensity.kind = Field::Kind::Float;
    intensity.bits = 32;
    fields.push_back(intensity);
    if (choice.hasColour) {
        for (const char* const name : {"colorRed", "colorGreen", "colorBlue"})
            fields.push_back(integerField(name, 255));
    }
    return fields;
}

RecordWriter::RecordWriter(PageWriter& pages, const RecordChoice& choice,
                           const std::string& shownPath)
    : m_pages(pages), m_shownPath(shownPath), m_fields(chooseFields(choice)) {
    pages.align();
    m_section = pages.hold(VectorHeader::kSize);
    std::size_t bits = 0;
    for (const Field& field : m_fields)
        bits += field.bits;
    const std::size_t room = PacketHeader::kMost - PacketHeader::kSize - 2 * m_fields.size() - 3;
    m_packetRecords = room * 8 / std::max<std::size_t>(bits, 1) / 8 * 8;
    m_next = pages.position();
}

std::size_t RecordWriter::packetBytes(std::size_t records) const {
    std::size_t bytes = PacketHeader::kSize + 2 * m_fields.size();
    for (const Field& field : m_fields)
        bytes += bytesOf(field, records);
    return (bytes + 3) / 4 * 4;
}

std::uint64_t RecordWriter::giveOut(std::size_t records) {
    const std::uint64_t place = m_next;
    m_next += records / m_packetRecords * packetBytes(m_packetRecords);
    if (const std::size_t rest = records % m_packetRecords; rest > 0) m_next += packetBytes(rest);
    return place;
}

void RecordWriter::encode(std::span<const CellPoint> points, RecordPackets& packets) const {
    const std::size_t most = packetBytes(m_packetRecords);
    const std::size_t room = (points.size() / m_packetRecords + 1) * most + kSlack;
    if (packets.content.size() < room) packets.content.resize(room);
    packets.starts.clear();
    std::size_t size = 0;
    while (!points.empty()) {
        const auto part = points.first(std::min(points.size(), m_packetRecords));
        encodePacket(part, packets.content.data() + size);
        packets.starts.push_back(packets.place + size);
        size += packetBytes(part.size());
        points = points.subspan(part.size());
    }
    packets.layout.lay(packets.place, std::span(packets.content).first(size));
}

void RecordWriter::write(const RecordPackets& packets, std::size_t records) {
    for (std::size_t i = 0; i < packets.starts.size(); ++i)
        m_entries.push_back({m_records + i * m_packetRecords, physicalOf(packets.starts[i])});
    m_pages.write(packets.layout);
    m_records += records;
}

void RecordWriter::encodePacket(std::span<const CellPoint> points, std::uint8_t* packet) const {
    std::uint8_t* const lengths = packet + PacketHeader::kSize;
    std::uint8_t* out = lengths + 2 * m_fields.size();
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        store(lengths + 2 * i, static_cast<std::uint16_t>(bytesOf(m_fields[i], points.size())));
        out = encode(m_fields[i], points, out);
    }
    while ((out - packet) % 4 != 0)
        *out++ = 0;
    PacketHeader{PacketType::Data, 0, static_cast<std::uint32_t>(out - packet),
                 static_cast<std::uint16_t>(m_fields.size())}
        .encode(packet);
}

std::uint8_t* RecordWriter::encode(const Field& field, std::span<const CellPoint> points,
                                   std::uint8_t* out) const {
    const std::size_t count = points.size();
    if (field.name == "cartesianX") return encodeCoordinate(field, &CellPoint::x, points, out);
    if (field.name == "cartesianY") return encodeCoordinate(field, &CellPoint::y, points, out);
    if (field.name == "cartesianZ") return encodeCoordinate(field, &CellPoint::z, points, out);
    if (field.name == "intensity") {
        for (std::size_t i = 0; i < count; ++i)
            storeF32(out + 4 * i, points[i].intensity);
        return out + 4 * count;
    }
    if (field.name == "rowIndex") {
        return putBits(out, field.bits, count, [=](std::size_t i) { return points[i].row; });
    }
    if (field.name == "columnIndex") {
        return putBits(out, field.bits, count, [=](std::size_t i) { return points[i].column; });
    }
    const auto colour = field.name == "colorRed"     ? &CellPoint::red
                        : field.name == "colorGreen" ? &CellPoint::green
                                                     : &CellPoint::blue;
    for (std::size_t i = 0; i < count; ++i)
        out[i] = points[i].*colour;
    return out + count;
}

std::uint8_t* RecordWriter::encodeCoordinate(const Field& field, double CellPoint::*axis,
                                             std::span<const CellPoint> points,
                                             std::uint8_t* out) const {
    const std::size_t count = points.size();
    if (field.kind == Field::Kind::Double) {
        for (std::size_t i = 0; i < count; ++i)
            storeF64(out + 8 * i, points[i].*axis);
        return out + 8 * count;
    }
    constexpr double kMost = std::numeric_limits<std::int32_t>::max();
    for (std::size_t i = 0; i < count; ++i) {
        const double steps = std::nearbyint(points[i].*axis / field.scale);
        if (!(std::abs(steps) <= kMost)) {
            throw ScanError(ErrorKind::NotWritten, m_shownPath,
                            "the precision leaves no room for a coordinate of " +
                                formatText("%.9g m", points[i].*axis),
                            "choose a coarser one, or none for exact coordinates");
        }
        storeU32(out + 4 * i,
                 static_cast<std::uint32_t>(static_cast<std::int64_t>(steps) - field.minimum));
    }
    return out + 4 * count;
}

/// One packet for each 2048 packets of the level below. The top of the index comes first: its place is the
/// one that the section names.
void RecordWriter::writeIndex() {
    std::vector<std::vector<Entry>> levels = {m_entries};
    while (levels.back().size() > IndexPacket::kMostEntries) {
        const std::vector<Entry>& below = levels.back();
        std::vector<Entry> level;
        for (std::size_t i = 0; i < below.size(); i += IndexPacket::kMostEntries)
            level.push_back({below[i].record, 0});
        levels.push_back(std::move(level));
    }
    std::uint64_t at = m_pages.position();
    m_indexOffset = physicalOf(at);
    for (std::size_t level = levels.size(); level-- > 0;) {
        for (std::size_t i = 0; i < levels[level].size(); i += IndexPacket::kMostEntries) {
            if (level + 1 < levels.size()) {
                levels[level + 1][i / IndexPacket::kMostEntries].offset = physicalOf(at);
            }
            const std::size_t entries =
                std::min(IndexPacket::kMostEntries, levels[level].size() - i);
            at += IndexPacket::kHeader + entries * IndexPacket::kEntry;
        }
    }
    for (std::size_t level = levels.size(); level-- > 0;)
        writeIndexLevel(levels[level], static_cast<std::uint8_t>(level));
}

void RecordWriter::writeIndexLevel(const std::vector<Entry>& entries, std::uint8_t level) {
    for (std::size_t i = 0; i < entries.size(); i += IndexPacket::kMostEntries) {
        const std::size_t count = std::min(IndexPacket::kMostEntries, entries.size() - i);
        std::vector<std::uint8_t> packet(IndexPacket::kHeader + count * IndexPacket::kEntry);
        IndexPacket::encodeHeader(packet.data(), count, level);
        std::uint8_t* out = packet.data() + IndexPacket::kHeader;
        for (std::size_t k = i; k < i + count; ++k, out += IndexPacket::kEntry)
            IndexPacket::encodeEntry(out, entries[k].record, entries[k].offset);
        m_pages.write(packet.data(), packet.size());
    }
}

void RecordWriter::finish() {
    const std::uint64_t data = m_section + VectorHeader::kSize;
    if (m_records > 0) {
        writeIndex();
    } else {
        std::uint8_t empty[8] = {};
        PacketHeader{PacketType::Data, 0, sizeof empty, 0}.encode(empty);
        m_pages.write(empty, sizeof empty);
    }
    VectorHeader header;
    header.sectionBytes = m_pages.position() - m_section;
    header.dataOffset = physicalOf(data);
    header.indexOffset = m_indexOffset;
    std::uint8_t bytes[VectorHeader::kSize];
    header.encode(bytes);
    m_pages.replace(m_section, bytes, sizeof bytes);
}

}  // namespace brisko::scan::e57
