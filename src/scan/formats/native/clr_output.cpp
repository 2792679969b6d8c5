#include "scan/formats/native/native_check.h"
#include "scan/formats/scan_output.h"

#include <brisko_codec/writers.h>
#include <brisko_scan/scan_error.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

constexpr std::uint32_t kBand = 256;  // columns that the writer keeps at a time
constexpr double kUnits = 10000;      // a metre
constexpr std::uint8_t kOpaque = 255;

/// The coordinate to give to the writer so that it stores the nearest unit. The writer adds one half
/// and cuts the fraction, which lifts negative numbers by a unit: what it was given once would creep
/// upwards with every conversion.
double forNearestUnit(double metres) {
    const double units = std::round(metres * kUnits);
    return (units < 0 ? units - 1 : units) / kUnits;
}

/// A record without intensity is an empty cell, so the weakest return counts 1.
float forMeasuredPoint(float intensity) {
    return intensity >= 0.5f ? intensity : 1.0f;
}

bool isFinite(const CellPoint& p) {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

bool fits(double metres) {
    constexpr double kMost = std::numeric_limits<std::int32_t>::max() - 1;
    return std::abs(metres) <= kMost / kUnits;
}

/// scan.clr, and scan.alg where there is an alignment to keep.
class CLROutput : public ScanOutput {
public:
    explicit CLROutput(const OutputTarget& target) : m_target(target) {
        if (!m_writer.Open(m_target.path.c_str(), &m_target.header) || m_writer.HasWriteError()) {
            failToWrite(m_target.shownPath);
        }
    }

    void write(std::span<const CellPoint> points) override {
        for (const CellPoint& p : points)
            writePoint(p);
        // What is complete goes out, so that a tall grid does not wait in memory.
        if (m_target.inColumnOrder && !points.empty()) {
            m_writer.FinishColumns(std::min(points.back().column, m_target.columns));
        }
        if (m_writer.HasWriteError()) failToWrite(m_target.shownPath);
    }

    void finish() override {
        if (!m_writer.Close() || m_writer.HasWriteError()) failToWrite(m_target.shownPath);
        writeAlignmentBeside(m_target, m_box);
        checkCLR(m_target);
    }

private:
    void writePoint(const CellPoint& p) {
        if (p.column >= m_target.columns || p.row >= m_target.rows) {
            ++m_leftOut.outsideGrid;
            return;
        }
        if (!isFinite(p)) {
            ++m_leftOut.notFinite;
            return;
        }
        if (!fits(p.x) || !fits(p.y) || !fits(p.z)) failTooFar(p);
        m_order.require(p.column);
        m_writer.WritePoint(forNearestUnit(p.x), forNearestUnit(p.y), forNearestUnit(p.z),
                            forMeasuredPoint(p.intensity), 0, 0, 0, kOpaque, p.column, p.row);
        m_box.add(p);
        ++m_points;
    }

    [[noreturn]] void failTooFar(const CellPoint& p) const {
        throw ScanError(ErrorKind::NotWritten, m_target.shownPath,
                        "the point in column " + std::to_string(p.column) + ", row " +
                            std::to_string(p.row) +
                            " is more than 214 km away, beyond what CLR can hold",
                        "write .cl3 instead");
    }

    OutputTarget m_target;
    PointBox m_box;
    BandOrder m_order{kBand, m_target.shownPath};
    CLRWriterGridCodec m_writer;
};

}  // namespace

std::unique_ptr<ScanOutput> createCLROutput(const OutputTarget& target) {
    return std::make_unique<CLROutput>(target);
}

}  // namespace brisko::scan
