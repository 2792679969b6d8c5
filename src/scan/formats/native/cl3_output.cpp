#include "scan/formats/native/native_check.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/threads.h>
#include <brisko_codec/writers.h>
#include <brisko_scan/scan_error.h>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kTile = 256;
constexpr std::uint8_t kOpaque = 255;

std::uint64_t wholeTiles(std::uint32_t cells) {
    return (std::uint64_t{cells} + kTile - 1) / kTile * kTile;
}

/// scan.cl3 with scan.ij and scan.alg.
class IndexedCL3Output : public ScanOutput {
public:
    explicit IndexedCL3Output(const OutputTarget& target)
        : m_target(target),
          m_endColumn(wholeTiles(target.columns)),
          m_endRow(wholeTiles(target.rows)) {
        if (!m_writer.Open(m_target.path.c_str(), &m_target.header) || m_writer.HasWriteError()) {
            failToWrite(m_target.shownPath);
        }
        m_writer.SetMatrixTransform(m_target.matrix.data());
        if (jobThreads() > 1) m_writer.WriteInBackground();
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& p : points) {
            // The padding of the last tiles can hold points, and scans do have some there.
            if (p.column >= m_endColumn || p.row >= m_endRow) {
                ++m_leftOut.outsideGrid;
                continue;
            }
            m_order.require(p.column);
            m_writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, kOpaque,
                                p.column, p.row);
            count(p);
        }
        if (m_writer.HasWriteError()) failToWrite(m_target.shownPath);
    }

    void finish() override {
        if (!m_writer.Close() || m_writer.HasWriteError()) failToWrite(m_target.shownPath);
        checkIndexedCL3(m_target, m_points);
    }

private:
    OutputTarget m_target;
    std::uint64_t m_endColumn;
    std::uint64_t m_endRow;
    BandOrder m_order{kTile, m_target.shownPath};
    CL3IJWriterGridCodec m_writer;
};

/// scan.cl3 alone, and scan.alg where there is an alignment to keep.
class PlainCL3Output : public ScanOutput {
public:
    explicit PlainCL3Output(const OutputTarget& target) : m_target(target) {
        if (!m_writer.Open(m_target.path.c_str(), &m_target.header)) {
            failToWrite(m_target.shownPath);
        }
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& p : points) {
            m_writer.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, kOpaque);
            m_box.add(p);
            count(p);
        }
        if (m_writer.HasWriteError()) failToWrite(m_target.shownPath);
    }

    void finish() override {
        if (!m_writer.Close() || m_writer.HasWriteError()) failToWrite(m_target.shownPath);
        writeAlignmentBeside(m_target, m_box);
        checkPlainCL3(m_target, m_points);
    }

private:
    OutputTarget m_target;
    PointBox m_box;
    CL3WriterCodec m_writer;
};

}  // namespace

std::unique_ptr<ScanOutput> createCL3Output(const OutputTarget& target) {
    if (target.indexed) return std::make_unique<IndexedCL3Output>(target);
    return std::make_unique<PlainCL3Output>(target);
}

}  // namespace brisko::scan
