#include "support/e57_bytes.h"

#include "base/bytes.h"

#include <algorithm>

namespace brisko::test {
namespace {

void append(Bytes& to, const Bytes& bytes) {
    to.insert(to.end(), bytes.begin(), bytes.end());
}

template <class Number>
void appendNumber(Bytes& to, Number number) {
    append(to, e57Numbers(std::vector<Number>{number}));
}

/// The definition of the checksum, bit by bit.
std::uint32_t checksum(const Bytes& bytes) {
    std::uint32_t sum = 0xffffffff;
    for (const std::uint8_t byte : bytes) {
        sum ^= byte;
        for (int bit = 0; bit < 8; ++bit)
            sum = (sum >> 1) ^ ((sum & 1) != 0 ? 0x82F63B78 : 0);
    }
    return ~sum;
}

constexpr std::size_t kContent = 1020;

}  // namespace

Bytes e57Pages(const Bytes& content) {
    Bytes file;
    for (std::size_t at = 0; at < content.size(); at += kContent) {
        Bytes page(
            content.begin() + static_cast<std::ptrdiff_t>(at),
            content.begin() + static_cast<std::ptrdiff_t>(std::min(at + kContent, content.size())));
        page.resize(kContent);
        const std::uint32_t sum = checksum(page);
        append(file, page);
        for (const int shift : {24, 16, 8, 0})
            file.push_back(static_cast<std::uint8_t>(sum >> shift));
    }
    return file;
}

Bytes e57File(const Bytes& sections, const std::string& xml) {
    Bytes content = {'A', 'S', 'T', 'M', '-', 'E', '5', '7'};
    const std::size_t xmlAt = 48 + sections.size();
    const std::size_t pages = (xmlAt + xml.size() + kContent - 1) / kContent;
    appendNumber<std::uint32_t>(content, 1);
    appendNumber<std::uint32_t>(content, 0);
    appendNumber<std::uint64_t>(content, pages * 1024);
    appendNumber<std::uint64_t>(content, xmlAt / kContent * 1024 + xmlAt % kContent);
    appendNumber<std::uint64_t>(content, xml.size());
    appendNumber<std::uint64_t>(content, 1024);
    append(content, sections);
    content.insert(content.end(), xml.begin(), xml.end());
    return e57Pages(content);
}

Bytes e57Packet(const std::vector<Bytes>& streams) {
    Bytes packet = {1, 0, 0, 0};
    appendNumber(packet, static_cast<std::uint16_t>(streams.size()));
    for (const Bytes& stream : streams)
        appendNumber(packet, static_cast<std::uint16_t>(stream.size()));
    for (const Bytes& stream : streams)
        append(packet, stream);
    packet.resize((packet.size() + 3) / 4 * 4);
    store(packet.data() + 2, static_cast<std::uint16_t>(packet.size() - 1));
    return packet;
}

Bytes e57Section(const std::vector<Bytes>& packets) {
    const Bytes data = joined(packets);
    Bytes section = {1, 0, 0, 0, 0, 0, 0, 0};
    appendNumber<std::uint64_t>(section, 32 + data.size());
    appendNumber<std::uint64_t>(section, 48 + 32);
    appendNumber<std::uint64_t>(section, 0);
    append(section, data);
    return section;
}

Bytes e57Bits(const std::vector<std::uint64_t>& numbers, unsigned bits) {
    Bytes stream((numbers.size() * bits + 7) / 8);
    for (std::size_t i = 0; i < numbers.size() * bits; ++i) {
        const std::uint64_t bit = numbers[i / bits] >> (i % bits) & 1;
        stream[i / 8] = static_cast<std::uint8_t>(stream[i / 8] | bit << (i % 8));
    }
    return stream;
}

Bytes joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts)
        append(all, part);
    return all;
}

std::string e57Xml(std::uint64_t records, const std::string& fields, const std::string& more) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
           "<e57Root type=\"Structure\" xmlns=\"http://www.astm.org/COMMIT/E57/2010-e57-v1.0\">"
           "<data3D type=\"Vector\"><vectorChild type=\"Structure\"><name "
           "type=\"String\">a</name>" +
           more + "<points type=\"CompressedVector\" fileOffset=\"48\" recordCount=\"" +
           std::to_string(records) + "\"><prototype type=\"Structure\">" + fields +
           "</prototype></points></vectorChild></data3D></e57Root>";
}

}  // namespace brisko::test
