#include <brisko_scan/tile_table.h>

#include "base/bytes.h"
#include "scan/files/scan_path.h"
#include "scan/formats/e57/crc32c.h"
#include "scan/formats/native/scan_layout.h"

#include <brisko_scan/scan_error.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace brisko::scan {
namespace {

namespace saved {                                 // size  meaning
constexpr std::size_t kTag = 0;                   //    4  "BST1": kind and version
constexpr std::size_t kChecksum = 4;              //    4  CRC-32C of all that follows
constexpr std::size_t kScanBytes = 8;             //    8  of scan.cl3
constexpr std::size_t kScanTime = 16;             //    8  nanoseconds since 1970
constexpr std::size_t kIndexBytes = 24;           //    8  of scan.ij
constexpr std::size_t kIndexTime = 32;            //    8
constexpr std::size_t kHeaderSize = 40;           //       then the codec library's table
constexpr std::uint32_t kTagValue = 0x31545342U;  // "BST1"
}  // namespace saved

std::uint32_t checksumOf(const std::uint8_t* bytes, std::size_t size) {
    return crc32c(bytes + saved::kScanBytes, size - saved::kScanBytes);
}

}  // namespace

std::shared_ptr<const CL3TileTable> findTiles(const std::string& path) {
    auto tiles = std::make_shared<CL3TileTable>();
    CL3CellReader reader;
    if (!reader.open(path.c_str()) || !reader.findTiles(*tiles)) {
        throw ScanError(ErrorKind::Damaged, path, "cannot be opened with its index");
    }
    return tiles;
}

TileTable::FileState TileTable::stateOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        throw ScanError(ErrorKind::Damaged, path,
                        std::string("cannot be read: ") + std::strerror(errno));
    }
    constexpr std::int64_t kSecond = 1'000'000'000;
    return {static_cast<std::uint64_t>(status.st_size),
            std::int64_t{status.st_mtim.tv_sec} * kSecond + status.st_mtim.tv_nsec};
}

TileTable TileTable::of(const std::string& path) {
    if (!hasExtension(path, ".cl3")) {
        throw ScanError(ErrorKind::Request, path, "only indexed .cl3 scans have tiles");
    }
    TileTable table;
    table.m_scan = stateOf(path);
    const ScanLayout layout = inspectCL3(path);
    requireSound(layout);
    if (!layout.index) {
        throw ScanError(ErrorKind::Request, path,
                        "the scan has no index (" + companionOf(path, ".ij") + ")");
    }
    table.m_index = stateOf(layout.index->path);
    table.m_tiles = findTiles(path);
    table.requireFit(path);  // nobody has written to the files meanwhile
    return table;
}

void TileTable::requireFit(const std::string& path) const {
    for (const auto& [file, state] :
         {std::pair{path, m_scan}, {companionOf(path, ".ij"), m_index}}) {
        if (stateOf(file) == state) continue;
        throw ScanError(ErrorKind::Request, file,
                        "the file is not as it was when its table of tiles was made",
                        "make the table again");
    }
}

std::vector<std::uint8_t> TileTable::toBytes() const {
    const std::vector<std::uint8_t> tiles = m_tiles->toBytes();
    std::vector<std::uint8_t> bytes(saved::kHeaderSize + tiles.size());
    std::uint8_t* const out = bytes.data();
    storeU32(out + saved::kTag, saved::kTagValue);
    store(out + saved::kScanBytes, m_scan.bytes);
    store(out + saved::kScanTime, m_scan.time);
    store(out + saved::kIndexBytes, m_index.bytes);
    store(out + saved::kIndexTime, m_index.time);
    std::memcpy(out + saved::kHeaderSize, tiles.data(), tiles.size());
    storeU32(out + saved::kChecksum, checksumOf(out, bytes.size()));
    return bytes;
}

TileTable TileTable::fromBytes(const std::uint8_t* bytes, std::size_t size) {
    const bool isSound = bytes && size > saved::kHeaderSize &&
                         loadU32(bytes + saved::kTag) == saved::kTagValue &&
                         loadU32(bytes + saved::kChecksum) == checksumOf(bytes, size);
    TileTable table;
    auto tiles = std::make_shared<CL3TileTable>();
    if (!isSound || !tiles->fromBytes(bytes + saved::kHeaderSize, size - saved::kHeaderSize)) {
        throw ScanError(ErrorKind::Request, {}, "these bytes are no table of tiles",
                        "make the table again");
    }
    table.m_scan = {load<std::uint64_t>(bytes + saved::kScanBytes),
                    load<std::int64_t>(bytes + saved::kScanTime)};
    table.m_index = {load<std::uint64_t>(bytes + saved::kIndexBytes),
                     load<std::int64_t>(bytes + saved::kIndexTime)};
    table.m_tiles = std::move(tiles);
    return table;
}

}  // namespace brisko::scan
