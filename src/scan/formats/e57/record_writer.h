#pragma once

#include "scan/formats/e57/e57_file.h"
#include "scan/formats/e57/page_writer.h"

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// What the records of a scan hold besides coordinates and intensity.
struct RecordChoice {
    bool hasGrid = false;
    std::uint32_t columns = 0, rows = 0;
    bool hasColour = false;
    double precision = 0;  // metres; 0: exact coordinates
};

/// The fields of such records, in the order of their streams.
std::vector<Field> chooseFields(const RecordChoice& choice);

/// Some packets of records, on their way into the file.
struct RecordPackets {
    std::uint64_t place = 0;            // logical, of the first
    std::vector<std::uint64_t> starts;  // logical, of each
    std::vector<std::uint8_t> content;
    PageLayout layout;
};

/// Writes the section of a scan's points: packets of data, then the index that finds them.
class RecordWriter {
public:
    /// Begins the section where the pages stand.
    RecordWriter(PageWriter& pages, const RecordChoice& choice, const std::string& shownPath);

    /// All packets but the last one of a section hold so many.
    std::size_t packetRecords() const { return m_packetRecords; }
    /// The place of the next records, which end a packet. What was given no place yet has none.
    std::uint64_t giveOut(std::size_t records);
    /// Makes packets of points. May be called by several threads at once. Throws ScanError(NotWritten) for a
    /// coordinate that the precision leaves no room for.
    void encode(std::span<const CellPoint> points, RecordPackets& packets) const;
    /// Writes packets in the order of their places. Throws ScanError(NotWritten).
    ///   records  in them
    void write(const RecordPackets& packets, std::size_t records);
    /// Completes the section.
    void finish();

    const std::vector<Field>& fields() const { return m_fields; }
    std::uint64_t section() const { return m_section; }  // logical
    std::uint64_t records() const { return m_records; }

private:
    /// A packet, as an index lists it.
    struct Entry {
        std::uint64_t record;
        std::uint64_t offset;  // physical
    };

    std::size_t packetBytes(std::size_t records) const;
    void encodePacket(std::span<const CellPoint> points, std::uint8_t* packet) const;
    std::uint8_t* encode(const Field& field, std::span<const CellPoint> points,
                         std::uint8_t* out) const;
    std::uint8_t* encodeCoordinate(const Field& field, double CellPoint::*axis,
                                   std::span<const CellPoint> points, std::uint8_t* out) const;
    void writeIndex();
    void writeIndexLevel(const std::vector<Entry>& entries, std::uint8_t level);

    PageWriter& m_pages;
    std::string m_shownPath;
    std::vector<Field> m_fields;
    std::uint64_t m_section;
    std::uint64_t m_indexOffset = 0;
    std::size_t m_packetRecords;  // a multiple of 8, so that streams of bits end with a byte
    std::uint64_t m_next = 0;     // logical, of the packet that is given out next
    std::vector<Entry> m_entries;
    std::uint64_t m_records = 0;
};

}  // namespace brisko::scan::e57
