#pragma once

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// Where the tiles of an indexed CL3 scan lie, and the state of the files that it was found in. Whoever opens
/// the scan with it (ReadOptions::tiles) needs no walk over the headers of its blocks and tiles: it can be
/// saved, or handed to other processes and machines that see the same files.
class BRISKO_SCAN_EXPORT TileTable {
public:
    /// Looks at the header of every block and tile.
    /// Throws ScanError: Request for another scan than an indexed CL3 one, Damaged.
    static TileTable of(const std::string& path);

    /// 4 bytes for each tile and a few more, with a version and a checksum; the same on every machine.
    std::vector<std::uint8_t> toBytes() const;
    /// Throws ScanError(Request) for bytes that are no table, or a damaged one.
    static TileTable fromBytes(const std::uint8_t* bytes, std::size_t size);

    /// Throws ScanError(Request) where scan.cl3 or scan.ij has another length, or another time of its last
    /// change, than when the table was made.
    void requireFit(const std::string& path) const;

    const std::shared_ptr<const CL3TileTable>& tiles() const { return m_tiles; }

private:
    struct FileState {
        std::uint64_t bytes = 0;
        std::int64_t time = 0;  // of the last change, nanoseconds since 1970
        bool operator==(const FileState& other) const {
            return bytes == other.bytes && time == other.time;
        }
    };
    static FileState stateOf(const std::string& path);

    TileTable() = default;

    FileState m_scan, m_index;
    std::shared_ptr<const CL3TileTable> m_tiles;
};

}  // namespace brisko::scan
