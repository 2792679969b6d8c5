#include "scan/formats/ptx/ptx_reader.h"
#include "scan/integrity/scan_check.h"

#include <brisko_codec/codec.h>
#include <brisko_scan/text.h>

#include <algorithm>

namespace brisko::scan {
namespace {

/// Reads a text scan as conversions do. A damaged cell does not keep the others from being looked at.
class PtxCheck {
public:
    PtxCheck(ScanCheck& check, const ProgressFunction& progress)
        : m_check(check), m_progressOf(progress) {}

    void run() {
        try {
            PtxReader reader(m_check.path);
            m_check.columns = reader.header().columns;
            m_check.rows = reader.header().rows;
            TaskProgress progress(m_progressOf, "check", reader.bytes(), "bytes");
            for (bool isFirst = true; isFirst || nextScan(reader); isFirst = false) {
                while (readSome(reader))
                    progress.advanceTo(reader.bytesRead());
            }
        } catch (const PtxDamage& damage) {
            add(damage);
        }
        noteIntensities();
    }

private:
    bool nextScan(PtxReader& reader) {
        if (!reader.isNextScan()) return false;
        m_check.columns = m_check.rows = 0;  // each has its own
        m_cells = 0;
        return reader.nextScan();
    }

    /// False at the end of the scan.
    bool readSome(PtxReader& reader) {
        constexpr std::size_t kBatch = 1 << 15;  // points
        bool isEnd = false;
        try {
            reader.read(m_points, kBatch);
            isEnd = m_points.empty();
        } catch (const PtxDamage& damage) {
            if (!damage.isCell()) {
                count(reader);
                throw;
            }
            add(damage);
            --m_check.records;  // passed, but not there
        }
        count(reader);
        return !isEnd;
    }

    void count(const PtxReader& reader) {
        m_check.records += reader.cells() - m_cells;
        m_cells = reader.cells();
        m_check.points += m_points.size();
        m_foreign += static_cast<std::uint64_t>(
            std::count_if(m_points.begin(), m_points.end(), [](const CellPoint& p) {
                return p.intensity < 0 || p.intensity > BriskoCodec::i_range;
            }));
        m_points.clear();
    }

    void add(const PtxDamage& damage) {
        const std::string place =
            damage.line() > 0 ? "line " + std::to_string(damage.line()) + ": " : "";
        m_check.findings.add({damage.isCell() ? "cell" : "structure",
                              m_check.path,
                              {},
                              {},
                              place + damage.reason()});
    }

    void noteIntensities() {
        if (m_foreign == 0) return;
        m_check.notes.push_back(countOf(m_foreign, "point") + " of " +
                                std::to_string(m_check.points) +
                                " with an intensity that is not from 0 to 1");
    }

    ScanCheck& m_check;
    const ProgressFunction& m_progressOf;
    std::vector<CellPoint> m_points;
    std::uint64_t m_cells = 0;
    std::uint64_t m_foreign = 0;
};

}  // namespace

void checkPtxScan(ScanCheck& check, const ProgressFunction& progress) {
    PtxCheck(check, progress).run();
}

}  // namespace brisko::scan
