#include "layouts/records.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/native_layout.h"
#include "scan/integrity/native_scan_check.h"
#include "scan/integrity/tile_check.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace brisko::scan {
namespace {

/// With the tiles of blocks that begin in it.
struct CL3Part : NativePart {
    using NativePart::NativePart;
    std::optional<TileCheck> tiles;
};

/// Goes through blocks and tiles in step: the k-th tile describes the k-th block.
class CL3Check : private NativeScanCheck<CL3FileHeader> {
public:
    using NativeScanCheck::NativeScanCheck;

    void run() {
        if (!checkHeader()) return;
        std::error_code ignored;
        if (std::filesystem::exists(m_indexPath, ignored)) m_tiles.emplace(m_check, m_indexPath);
        beginBlocks(cl3_header::kSize, m_tiles ? m_tiles->size() : 0);
        walkBlocks();
        while (m_tiles && m_tiles->next()) {
            if (m_whole) m_tiles->compareWithoutBlock();
            m_progress->advanceTo(m_stream.offset() + m_tiles->offset());
        }
        finish();
    }

private:
    bool checkHeader() {
        if (!hasWholeHeader(cl3_header::kSize)) return false;
        if (!isKnown(formatOf(m_header))) {
            addUnknownFormat(cl3_header::kSize - 1, "CL3 (0 or 1)");
            return false;
        }
        m_recordSize = recordSizeOf(formatOf(m_header));
        checkHeaderAngles(m_check, m_header);
        return true;
    }

    void walkBlocks() {
        const auto make = [this] {
            auto part = std::make_unique<CL3Part>(m_check, m_header);
            if (m_tiles) part->tiles.emplace(part->check, m_indexPath);
            return part;
        };
        checkParts(
            make, [this](CL3Part&) { return nextStretch(); },
            [this](CL3Part& part) { look(part); });
        if (m_tiles) m_tiles->continueAt(m_blocks);
        if (m_isBlockMissing) addMissingBlock(m_blocks, m_stream.offset());
        if (m_whole) checkEnd();
    }

    bool nextStretch() {
        Stretch& stretch = m_stretch;
        if (stretch.isLast()) {
            if (!nextBlock()) return false;
        } else {
            stretch.offset += stretch.count * m_recordSize;
            stretch.first = stretch.end();
        }
        stretch.count = std::min(stretch.there - stretch.first, kShowEvery);
        stretch.bytes = stretch.count * m_recordSize;
        if (m_tiles && stretch.isFirst()) stretch.bytes += m_tiles->tileBytes();
        return true;
    }

    bool nextBlock() {
        if (!m_whole || m_blocks == m_header.GetBlockCount()) return false;
        const std::uint64_t begin = m_stream.offset();
        m_stream.readUpTo(begin + kHeaderWindow);
        const std::uint8_t* const header = m_stream.take(cl3_block::kHeaderSize);
        if (!header) {
            m_isBlockMissing = true;
            m_whole = false;
            return false;
        }
        const std::uint64_t announced = loadU32(header);
        const std::uint64_t there = std::min(announced, m_stream.left() / m_recordSize);
        m_stretch = {.block = m_blocks++,
                     .begin = begin,
                     .announced = announced,
                     .there = there,
                     .offset = m_stream.offset()};
        m_stream.seek(m_stream.offset() + there * m_recordSize);
        m_whole = there == announced;
        return true;
    }

    void look(CL3Part& part) const {
        const Stretch& last = part.stretches.back();
        part.stream.readUpTo(last.offset + last.count * m_recordSize);
        if (part.tiles) part.tiles->readUpTo(last.block + 1);
        for (const Stretch& stretch : part.stretches) {
            if (stretch.isFirst()) checkStart(part, stretch);
            checkRecords(part, stretch);
            addSteps(part, stretch);
            if (stretch.isLast()) part.check.blocks += stretch.there == stretch.announced;
        }
    }

    static void checkStart(CL3Part& part, const Stretch& stretch) {
        if (stretch.there < stretch.announced) {
            part.check.findings.add({"block", part.check.path, stretch.block, stretch.begin,
                                     "it announces " + countOf(stretch.announced, "record") +
                                         ", the file ends after " + std::to_string(stretch.there)});
        }
        if (!part.tiles) return;
        part.tiles->continueAt(stretch.block);
        if (part.tiles->next()) {
            part.tiles->compareWithBlock(static_cast<std::uint32_t>(stretch.announced));
        }
    }

    void checkRecords(CL3Part& part, const Stretch& stretch) const {
        const CL3PointFormat format = formatOf(m_header);
        part.takeRecords(stretch, m_recordSize,
                         [&](const std::uint8_t* in, std::uint64_t number, std::uint64_t offset) {
                             const CellPoint point = decodeCellPoint(in, format);
                             if (isMeasured(point))
                                 part.points.add(point, stretch.block, number, offset);
                         });
        part.check.records += stretch.count;
    }

    /// After one record of each stretch, and at the end of a block.
    void addSteps(CL3Part& part, const Stretch& stretch) const {
        if (part.tiles) part.tiles->continueAt(stretch.block + 1);
        const std::uint64_t begin = stretch.offset + (part.tiles ? part.tiles->offset() : 0);
        if (stretch.count > 0) part.steps.push_back(begin + m_recordSize);
        if (stretch.isLast()) part.steps.push_back(begin + stretch.count * m_recordSize);
    }

    /// A plain writer leaves one empty block header after a last block that is full.
    void checkEnd() {
        if (m_tiles) m_tiles->compareCount(m_header.GetBlockCount());
        const std::uint64_t left = m_stream.left();
        const std::uint8_t* const rest =
            m_stream.peek(std::min(left, std::uint64_t{cl3_block::kHeaderSize}));
        if (left == 0 || cl3::isEmptyBlockHeader(rest, left)) return;
        add("block", {}, m_stream.offset(),
            countOf(m_stream.left(), "byte") + " after the last of " +
                countOf(m_header.GetBlockCount(), "announced block"));
    }

    /// What is read at once to find the next block: more than one, where they are small.
    static constexpr std::uint64_t kHeaderWindow = 1 << 14;

    const std::string m_indexPath = companionOf(m_check.path, ".ij");
    std::uint64_t m_recordSize = 0;
    std::optional<TileCheck> m_tiles;  // goes through those that have no block
    std::uint64_t m_blocks = 0;        // that begin in the file
    bool m_isBlockMissing = false;     // of the next one nothing is there
    bool m_whole = true;               // no block was cut or missing so far
};

}  // namespace

void checkCL3Scan(ScanCheck& check, const ProgressFunction& progress) {
    CL3Check(check, progress).run();
}

}  // namespace brisko::scan
