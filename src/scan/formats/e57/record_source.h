#pragma once

#include "scan/formats/e57/page_reader.h"
#include "scan/formats/e57/record_columns.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan::e57 {

/// Some packets of a scan, as they lie in the file.
class RecordPiece {
public:
    /// What can be read after it was opened: the records that are complete with one packet, and so on.
    const std::vector<RecordColumns>& columns() const { return m_columns; }
    /// Records in it, and in the scan up to its end.
    std::size_t count() const { return m_count; }
    std::uint64_t done() const { return m_done; }

private:
    friend class RecordSource;

    /// A stream in a packet.
    struct Part {
        std::vector<std::uint8_t> before;  // what remained of earlier packets
        std::uint64_t bit = 0;             // where the records begin, in `before` or in the packet
        std::uint64_t logical = 0;         // of the bytes in the packet
        std::size_t size = 0;
        std::vector<std::uint8_t> joined;
    };
    struct Packet {
        std::size_t count = 0;  // records that are complete with it
        std::vector<Part> parts;
    };

    std::uint64_t m_firstPage = 0;
    std::size_t m_pages = 0;
    std::vector<std::uint8_t> m_raw;      // the pages
    std::vector<std::uint8_t> m_content;  // of them
    std::vector<Packet> m_packets;        // kept for their memory
    std::size_t m_packetCount = 0;
    std::vector<RecordColumns> m_columns;
    std::size_t m_count = 0;
    std::uint64_t m_done = 0;
};

/// The records of a scan, some packets at a time: fields come in streams whose pieces lie in packets, and a value
/// may begin in one packet and end in the next.
class RecordSource {
public:
    /// fields: the numbers of those that are wanted, among the scan's; a column for each. The others are
    ///         passed over.
    /// Throws ScanError(Damaged) for a section that cannot hold the records that are announced.
    RecordSource(PageReader& pages, const Scan& scan, const std::vector<std::size_t>& fields);

    /// Takes the next packets. False after the last record. Throws ScanError(Damaged).
    bool fetch(RecordPiece& piece);
    /// Verifies the pages and brings the columns to hand. May be called by several threads at once, for pieces
    /// of their own. Throws ScanError(Damaged).
    void open(RecordPiece& piece) const;

private:
    /// A wanted stream.
    struct Stream {
        const Field* field;
        std::size_t number;                   // in a packet
        std::vector<std::uint8_t> remainder;  // of the packets so far
        std::uint64_t bit = 0;                // in it
        std::uint64_t logical = 0;            // of its part of the packet at hand
        std::size_t size = 0;

        std::uint64_t bits() const { return 8 * (remainder.size() + size) - bit; }
    };

    void openSection();
    void requireRoom(std::uint64_t sectionBytes) const;
    void takePacket(RecordPiece& piece);
    void findStreams(RecordPiece& piece, const PacketHeader& header);
    void keepAll(const RecordPiece& piece);
    void handOut(RecordPiece& piece, std::size_t count);
    bool bring(RecordPiece& piece, std::uint64_t end);
    bool copyVerified(RecordPiece& piece, std::uint64_t logical, std::size_t size,
                      std::uint8_t* out);
    static void append(const RecordPiece& piece, std::uint64_t logical, std::size_t size,
                       std::vector<std::uint8_t>& out);
    [[noreturn]] void fail(std::uint64_t logical, const std::string& reason) const;

    PageReader& m_pages;
    const Scan& m_scan;
    std::vector<Stream> m_streams;
    bool m_hasBits = false;        // in any of them
    std::uint64_t m_at = 0;        // logical, of the next packet
    std::uint64_t m_end = 0;       // of the section
    std::uint64_t m_done = 0;      // records
    std::uint64_t m_verified = 0;  // the page that was verified last, + 1
};

}  // namespace brisko::scan::e57
