#include "layouts/records.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/native_layout.h"
#include "scan/integrity/native_scan_check.h"
#include "scan/integrity/tile_check.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

namespace brisko::scan {
namespace {

/// Goes through blocks and tiles in step: the k-th tile describes the k-th block.
class CL3Check : private NativeScanCheck<CL3FileHeader> {
public:
    using NativeScanCheck::NativeScanCheck;

    void run() {
        if (!checkHeader()) return;
        const std::string indexPath = companionOf(m_check.path, ".ij");
        std::error_code ignored;
        if (std::filesystem::exists(indexPath, ignored)) {
            m_tiles = std::make_unique<TileCheck>(m_check, indexPath);
        }
        beginBlocks(cl3_header::kSize, m_tiles ? m_tiles->size() : 0);
        walkBlocks();
        while (m_tiles && m_tiles->next()) {
            if (m_whole) m_tiles->compareWithoutBlock();
            showProgress();
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
        const std::uint32_t announced = m_header.GetBlockCount();
        std::uint64_t block = 0;
        while (block < announced && m_whole)
            checkBlock(block++);
        if (m_whole) checkEnd();
    }

    void checkBlock(std::uint64_t block) {
        const std::uint64_t begin = m_stream.offset();
        const std::uint8_t* const header = m_stream.take(cl3_block::kHeaderSize);
        if (!header) {
            m_whole = false;
            addMissingBlock(block, begin);
            return;
        }
        const std::uint32_t announced = loadU32(header);
        const std::uint64_t there =
            std::min<std::uint64_t>(announced, m_stream.left() / m_recordSize);
        if (there < announced) {
            m_whole = false;
            add("block", block, begin,
                "it announces " + countOf(announced, "record") + ", the file ends after " +
                    std::to_string(there));
        }
        if (m_tiles && m_tiles->next()) m_tiles->compareWithBlock(announced);
        checkRecords(block, there);
        if (m_whole) ++m_check.blocks;
    }

    void checkRecords(std::uint64_t block, std::uint64_t count) {
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::uint64_t offset = m_stream.offset();
            const CellPoint point =
                decodeCellPoint(m_stream.take(m_recordSize), formatOf(m_header));
            if (isMeasured(point)) m_points->add(point, block, i, offset);
            if (i % kShowEvery == 0) showProgress();
        }
        m_check.records += count;
        showProgress();
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

    void showProgress() {
        m_progress->advanceTo(m_stream.offset() + (m_tiles ? m_tiles->offset() : 0));
    }

    std::uint64_t m_recordSize = 0;
    std::unique_ptr<TileCheck> m_tiles;
    bool m_whole = true;  // no block was cut so far
};

}  // namespace

void checkCL3Scan(ScanCheck& check, const ProgressFunction& progress) {
    CL3Check(check, progress).run();
}

}  // namespace brisko::scan
