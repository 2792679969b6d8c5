#pragma once

#include "base/bytes.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

/// The binary parts of an E57 file. It is a run of pages: 1020 bytes of content, then their checksum, which
/// alone is stored with its highest byte first. Offsets in the content are called logical, those in the
/// file physical.
namespace brisko::scan::e57 {

inline constexpr std::uint64_t kPage = 1024;
inline constexpr std::uint64_t kContent = 1020;

inline constexpr std::uint64_t physicalOf(std::uint64_t logical) {
    return logical / kContent * kPage + logical % kContent;
}
/// Only of an offset that isOffset() approves.
inline constexpr std::uint64_t logicalOf(std::uint64_t physical) {
    return physical / kPage * kContent + physical % kPage;
}
/// Whether a physical offset is one of content, not of a checksum.
inline constexpr bool isOffset(std::uint64_t physical) {
    return physical % kPage < kContent;
}

inline std::uint32_t loadChecksum(const std::uint8_t* page) {
    return __builtin_bswap32(loadU32(page + kContent));
}
inline void storeChecksum(std::uint8_t* page, std::uint32_t sum) {
    storeU32(page + kContent, __builtin_bswap32(sum));
}

/// The first bytes of the file.
struct FileHeader {
    static constexpr std::size_t kSize = 48;
    static constexpr char kSignature[8] = {'A', 'S', 'T', 'M', '-', 'E', '5', '7'};
    static constexpr std::uint32_t kMajor = 1;

    bool isSigned = true;
    std::uint32_t major = kMajor;
    std::uint32_t minor = 0;
    std::uint64_t fileBytes = 0;
    std::uint64_t xmlOffset = 0;  // physical
    std::uint64_t xmlBytes = 0;
    std::uint64_t pageBytes = kPage;

    static FileHeader decode(const std::uint8_t* in) {
        FileHeader header;
        header.isSigned = std::memcmp(in, kSignature, sizeof kSignature) == 0;
        header.major = loadU32(in + 8);
        header.minor = loadU32(in + 12);
        header.fileBytes = load<std::uint64_t>(in + 16);
        header.xmlOffset = load<std::uint64_t>(in + 24);
        header.xmlBytes = load<std::uint64_t>(in + 32);
        header.pageBytes = load<std::uint64_t>(in + 40);
        return header;
    }
    void encode(std::uint8_t* out) const {
        std::memcpy(out, kSignature, sizeof kSignature);
        storeU32(out + 8, major);
        storeU32(out + 12, minor);
        store(out + 16, fileBytes);
        store(out + 24, xmlOffset);
        store(out + 32, xmlBytes);
        store(out + 40, pageBytes);
    }
};

/// Begins the section of a blob; its bytes follow.
struct BlobHeader {
    static constexpr std::size_t kSize = 16;
    std::uint64_t sectionBytes = 0;  // with this header

    void encode(std::uint8_t* out) const {
        std::memset(out, 0, kSize);
        store(out + 8, sectionBytes);
    }
};

/// Begins the section of a scan's points; packets follow.
struct VectorHeader {
    static constexpr std::size_t kSize = 32;
    static constexpr std::uint8_t kId = 1;

    std::uint8_t id = kId;
    std::uint64_t sectionBytes = 0;  // with this header
    std::uint64_t dataOffset = 0;    // physical, of the first data packet
    std::uint64_t indexOffset = 0;   // physical, of the first index packet; 0: none

    static VectorHeader decode(const std::uint8_t* in) {
        return {in[0], load<std::uint64_t>(in + 8), load<std::uint64_t>(in + 16),
                load<std::uint64_t>(in + 24)};
    }
    void encode(std::uint8_t* out) const {
        std::memset(out, 0, kSize);
        out[0] = id;
        store(out + 8, sectionBytes);
        store(out + 16, dataOffset);
        store(out + 24, indexOffset);
    }
};

enum class PacketType : std::uint8_t { Index = 0, Data = 1, Ignored = 2 };

/// Begins every packet. After that of data comes the length of each stream (2 bytes), then the streams.
struct PacketHeader {
    static constexpr std::size_t kSize = 6;
    static constexpr std::size_t kMost = 65536;  // bytes of a packet

    PacketType type = PacketType::Data;
    std::uint8_t flags = 0;
    std::uint32_t bytes = 0;    // with this header, a multiple of 4
    std::uint16_t entries = 0;  // streams of a data packet

    static PacketHeader decode(const std::uint8_t* in) {
        return {static_cast<PacketType>(in[0]), in[1], load<std::uint16_t>(in + 2) + 1u,
                load<std::uint16_t>(in + 4)};
    }
    void encode(std::uint8_t* out) const {
        out[0] = static_cast<std::uint8_t>(type);
        out[1] = flags;
        store(out + 2, static_cast<std::uint16_t>(bytes - 1));
        store(out + 4, entries);
    }
};

/// An index packet: level 0 lists data packets, the others index packets of the level below.
struct IndexPacket {
    static constexpr std::size_t kHeader = 16;
    static constexpr std::size_t kEntry = 16;
    static constexpr std::size_t kMostEntries = 2048;

    static void encodeHeader(std::uint8_t* out, std::size_t entries, std::uint8_t level) {
        std::memset(out, 0, kHeader);
        PacketHeader{PacketType::Index, 0, static_cast<std::uint32_t>(kHeader + entries * kEntry),
                     static_cast<std::uint16_t>(entries)}
            .encode(out);
        out[6] = level;
    }
    static void encodeEntry(std::uint8_t* out, std::uint64_t record, std::uint64_t offset) {
        store(out, record);
        store(out + 8, offset);
    }
};

}  // namespace brisko::scan::e57
