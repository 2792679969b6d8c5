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
    m_points.reserve(m_packetRecords);
    m_packet.resize(PacketHeader::kMost + kSlack);
}

void RecordWriter::write(std::span<const CellPoint> points) {
    while (!points.empty()) {
        const std::size_t part = std::min(points.size(), m_packetRecords - m_points.size());
        m_points.insert(m_points.end(), points.begin(),
                        points.begin() + static_cast<std::ptrdiff_t>(part));
        points = points.subspan(part);
        if (m_points.size() == m_packetRecords) writePacket();
    }
}

void RecordWriter::writePacket() {
    std::uint8_t* const lengths = m_packet.data() + PacketHeader::kSize;
    std::uint8_t* out = lengths + 2 * m_fields.size();
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        store(lengths + 2 * i, static_cast<std::uint16_t>(bytesOf(m_fields[i], m_points.size())));
        out = encode(m_fields[i], out);
    }
    while ((out - m_packet.data()) % 4 != 0)
        *out++ = 0;
    const auto bytes = static_cast<std::size_t>(out - m_packet.data());
    PacketHeader{PacketType::Data, 0, static_cast<std::uint32_t>(bytes),
                 static_cast<std::uint16_t>(m_fields.size())}
        .encode(m_packet.data());
    m_entries.push_back({m_records, physicalOf(m_pages.position())});
    m_pages.write(m_packet.data(), bytes);
    m_records += m_points.size();
    m_points.clear();
}

std::uint8_t* RecordWriter::encode(const Field& field, std::uint8_t* out) const {
    const CellPoint* const points = m_points.data();
    const std::size_t count = m_points.size();
    if (field.name == "cartesianX") return encodeCoordinate(field, &CellPoint::x, out);
    if (field.name == "cartesianY") return encodeCoordinate(field, &CellPoint::y, out);
    if (field.name == "cartesianZ") return encodeCoordinate(field, &CellPoint::z, out);
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
                                             std::uint8_t* out) const {
    const CellPoint* const points = m_points.data();
    const std::size_t count = m_points.size();
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
        IndexPacket::encodeHeader(m_packet.data(), count, level);
        std::uint8_t* out = m_packet.data() + IndexPacket::kHeader;
        for (std::size_t k = i; k < i + count; ++k, out += IndexPacket::kEntry)
            IndexPacket::encodeEntry(out, entries[k].record, entries[k].offset);
        m_pages.write(m_packet.data(), static_cast<std::size_t>(out - m_packet.data()));
    }
}

void RecordWriter::finish() {
    const std::uint64_t data = m_section + VectorHeader::kSize;
    if (!m_points.empty()) writePacket();
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
