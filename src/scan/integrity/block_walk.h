#pragma once

#include "layouts/layout.h"
#include "scan/files/input_file.h"

#include <brisko_codec/cell_reader.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace brisko::scan {

struct Salvage;

/// Finds the records of a damaged CL3 file without an index. Whole blocks are taken as they are; where
/// a block header makes no sense the records are followed for as long as they look like ones, up to
/// the next place that looks like a block.
class BlockWalk {
public:
    using Sink = std::function<void(const std::vector<CellPoint>&)>;

    BlockWalk(ByteStream& stream, const std::string& path, CL3PointFormat format, Salvage& salvage,
              Sink sink);

    void run(std::uint32_t announcedBlocks);

private:
    bool headerFits(std::uint64_t offset, std::uint32_t& count);
    bool isRecord(std::uint64_t offset);
    bool isBlock(std::uint64_t offset);
    bool isUnclosed(std::uint64_t offset);
    std::uint64_t startOfRecords(std::uint64_t offset);
    void takeBlock(std::uint64_t offset);
    bool takeRemains(std::uint64_t offset);
    std::uint64_t takeRecords(std::uint64_t begin, std::uint64_t most, bool isWhole);
    void emit(bool force);
    void lose(const char* kind, std::uint64_t offset, const std::string& text);

    ByteStream& m_stream;
    std::string m_path;
    CL3PointFormat m_format;
    std::uint64_t m_recordSize;
    Salvage& m_salvage;
    Sink m_sink;
    std::uint64_t m_block = 0;
    std::uint64_t m_next = 0;  // where the next block is expected
    std::vector<CellPoint> m_points;
};

}  // namespace brisko::scan
