#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/formats/native/native_layout.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/integrity/block_walk.h"
#include "scan/integrity/repair.h"
#include "scan/integrity/tile_walk.h"
#include "scan/jobs/column_order.h"
#include "scan/jobs/header_angles.h"

#include <filesystem>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the indexed writer keeps at a time

class CL3Repair {
public:
    explicit CL3Repair(const RepairOptions& options)
        : m_options(options), m_salvage(options.most), m_stream(options.input) {
        readHeader(m_header, options.input);
        requireWholeHeader(options, m_stream.size(), cl3_header::kSize);
        if (isKnown(formatOf(m_header))) return;
        refuseFormat(options, cl3_header::kSize - 1, m_header, "CL3 (0 or 1)");
    }

    Salvage run() {
        writeRepaired(m_options, m_salvage, m_header, [this](OutputTarget& target) {
            const CLFileHeader& common = m_header;
            static_cast<CLFileHeader&>(target.header) = common;
            openIndex();
            if (m_tiles) {
                writeIndexed(target);
            } else {
                writePlain(target);
            }
        });
        return std::move(m_salvage);
    }

private:
    void openIndex() {
        const std::string path = companionOf(m_options.input, ".ij");
        std::error_code ignored;
        if (m_options.plain || !std::filesystem::exists(path, ignored)) return;
        m_tiles = std::make_unique<TileWalk>(m_options.input, formatOf(m_header), path);
        if (m_tiles->problem().empty()) return;
        m_salvage.losses.add({"index",
                              path,
                              {},
                              {},
                              m_tiles->problem() + "; the points are kept, without their cells"});
        m_tiles.reset();
    }

    void writeIndexed(OutputTarget& target) {
        target.columns = m_tiles->columns();
        target.rows = m_tiles->rows();
        target.indexed = true;
        requireReasonableSize(m_options.input, m_options.output,
                              leastIndexedBytes(target.columns, target.rows),
                              m_stream.size() + bytesOf(companionOf(m_options.input, ".ij")));
        m_salvage.columns = target.columns;
        m_salvage.rows = target.rows;
        target.header.SetAzimuthResolution(static_cast<int>(target.columns));
        target.header.SetZenithResolution(static_cast<int>(target.rows));
        const std::unique_ptr<ScanOutput> output = createCL3Output(target);
        ColumnOrder order(m_tiles->tileSize(), m_options.input, m_options.output,
                          [&](std::span<const CellPoint> points) { output->write(points); });
        const bool inBands = m_tiles->tileSize() == kBand;
        TaskProgress progress(m_options.progress, "repair", m_tiles->bytes(), "bytes");
        m_tiles->run(m_salvage, progress, [&](const std::vector<CellPoint>& points) {
            if (inBands) {
                output->write(points);
            } else {
                order.add(points);
            }
        });
        if (!inBands) order.finish();
        complete(*output, target);
    }

    void writePlain(OutputTarget& target) {
        const std::unique_ptr<ScanOutput> output = createCL3Output(target);
        TaskProgress progress(m_options.progress, "repair", m_stream.size(), "bytes");
        const auto write = [&](const std::vector<CellPoint>& points) {
            output->write(points);
            progress.advanceTo(m_stream.offset());
        };
        BlockWalk(m_stream, m_options.input, formatOf(m_header), m_salvage, write)
            .run(m_header.GetBlockCount());
        complete(*output, target);
    }

    void complete(ScanOutput& output, const OutputTarget& target) {
        output.finish();
        patchSteps(target, m_header);
        m_salvage.points = output.points();
    }

    const RepairOptions& m_options;
    Salvage m_salvage;
    ByteStream m_stream;
    CL3FileHeader m_header;
    std::unique_ptr<TileWalk> m_tiles;
};

}  // namespace

Salvage repairCL3(const RepairOptions& options) {
    return CL3Repair(options).run();
}

}  // namespace brisko::scan
