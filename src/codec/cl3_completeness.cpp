#include "codec/cl3_completeness.h"

#include <brisko_codec/file_header.h>
#include <brisko_codec/point_records.h>

#include "base/bytes.h"
#include "base/checked.h"
#include "base/file.h"
#include "layouts/ij_index.h"
#include "layouts/layout.h"

namespace brisko {

std::optional<std::uint64_t> findCompleteCL3(const std::string& path) {
    const FilePtr file = openFile(path.c_str(), "rb");
    if (!file || fileLength(file.get()) < cl3_header::kSize) return std::nullopt;
    CL3FileHeader header;
    header.Read(file.get());
    if (std::ferror(file.get()) != 0) return std::nullopt;
    const auto record = createCL3Point(header.GetPointFormat());
    if (!record) return std::nullopt;

    std::uint64_t records = 0;
    std::uint64_t offset = cl3_header::kSize;
    for (std::uint32_t block = 0; block < header.GetBlockCount(); ++block) {
        std::uint8_t bytes[cl3_block::kHeaderSize];
        if (readAt(file.get(), offset, bytes, sizeof bytes) < sizeof bytes) return std::nullopt;
        const std::uint64_t points = loadU32(bytes + cl3_block::kPointCount);
        records += points;
        offset += cl3_block::kHeaderSize + points * record->GetSize();
    }
    if (offset > fileLength(file.get())) return std::nullopt;
    return records;
}

bool isCompleteIndex(const std::string& path) {
    const FilePtr file = openFile(path.c_str(), "rb");
    if (!file) return false;
    const IJHeader header = readIJHeader(file.get());
    if (header.tileSize == 0 || header.tileSize > kLargestTileSize) return false;
    const auto tiles = checkedMultiply(header.columnTiles(), header.rowTiles());
    const auto bytes = tiles ? checkedMultiply(*tiles, ijTileBytes(header.tileSize)) : std::nullopt;
    const auto needed = bytes ? checkedAdd(*bytes, ij_header::kSize) : std::nullopt;
    return needed && fileLength(file.get()) >= *needed;
}

}  // namespace brisko
