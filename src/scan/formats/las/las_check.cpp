#include "base/text.h"
#include "scan/formats/las/las_input.h"

#include <brisko_scan/text.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace brisko::scan {
namespace {

/// Reads every point record and compares it with what the header says of all of them.
class LasCheck {
public:
    LasCheck(const LasFile& file, ScanCheck& check) : m_file(file), m_check(check) {
        m_min.fill(std::numeric_limits<std::int32_t>::max());
        m_max.fill(std::numeric_limits<std::int32_t>::min());
        if (!file.scanRecord()) return;
        m_columnEnd = wholeLasBands(file.scanRecord()->columns);
        m_rowEnd = wholeLasBands(file.scanRecord()->rows);
    }

    void readAll(const ProgressFunction& function) {
        TaskProgress progress(function, "check", m_file.header().count, "points");
        LasRecords all(m_file);
        const std::uint8_t* records = nullptr;
        constexpr std::uint64_t kBatch = 1 << 16;  // points
        while (const std::size_t count = all.next(records, kBatch)) {
            for (std::size_t i = 0; i < count; ++i, records += m_file.header().pointSize)
                add(records);
            progress.advanceTo(all.done());
        }
        m_check.records = m_check.points = all.done();
    }

    void note() {
        if (m_check.points > 0) noteBounds();
        noteReturns();
        noteRecords();
        if (m_outside == 0) return;
        m_check.findings.add({"cell",
                              m_check.path,
                              {},
                              {},
                              countOf(m_outside, "point") + " outside the grid of " +
                                  std::to_string(m_file.scanRecord()->columns) + " x " +
                                  std::to_string(m_file.scanRecord()->rows) + " cells"});
    }

private:
    void add(const std::uint8_t* record) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::int32_t value = loadI32(record + las_point::kX + 4 * axis);
            m_min[axis] = std::min(m_min[axis], value);
            m_max[axis] = std::max(m_max[axis], value);
        }
        const bool isWide = m_file.header().pointFormat >= kFirstWideFormat;
        const unsigned number = record[las_point::kReturns] & (isWide ? 15U : 7U);
        if (number > 0) ++m_returns[number - 1];
        if (m_columnEnd > 0 && m_file.columnField()) addCell(record);
    }

    void addCell(const std::uint8_t* record) {
        m_outside += m_column.of(record) >= m_columnEnd || m_row.of(record) >= m_rowEnd;
    }

    void noteBounds() {
        const LasHeader& h = m_file.header();
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double a = m_min[axis] * h.scale[axis] + h.offset[axis];
            const double b = m_max[axis] * h.scale[axis] + h.offset[axis];
            const double slack = std::abs(h.scale[axis]);
            const bool holds =
                h.min[axis] <= std::min(a, b) + slack && h.max[axis] >= std::max(a, b) - slack;
            if (holds) continue;
            m_check.notes.push_back(formatText(
                "the header has %c from %.12g to %.12g, the points are from %.12g to %.12g",
                "xyz"[axis], h.min[axis], h.max[axis], std::min(a, b), std::max(a, b)));
        }
    }

    void noteReturns() {
        const auto& said = m_file.header().returns;
        const std::size_t last = said.size();
        for (std::size_t i = 0; i < last; ++i) {
            // Up to 1.3 there are five numbers.
            if (said[i] == m_returns[i] || (i >= 5 && m_file.header().minor < 4)) continue;
            m_check.notes.push_back("the header counts " + countOf(said[i], "point") +
                                    " of return " + std::to_string(i + 1) + ", there are " +
                                    std::to_string(m_returns[i]));
        }
    }

    void noteRecords() {
        if (m_file.recordsMissing() == 0) return;
        m_check.notes.push_back(countOf(m_file.recordsMissing(), "record") +
                                " of variable length announced that the file has no room for");
    }

    const LasFile& m_file;
    ScanCheck& m_check;
    LasCellNumber m_column{m_file.columnField()}, m_row{m_file.rowField()};
    std::array<std::int32_t, 3> m_min{}, m_max{};
    std::array<std::uint64_t, 15> m_returns{};
    std::uint64_t m_columnEnd = 0, m_rowEnd = 0, m_outside = 0;
};

}  // namespace

void checkLas(ScanCheck& check, const ProgressFunction& progress) {
    const LasFile file(check.path);
    if (!file.problem().empty()) {
        check.records = check.points = file.pointsThere();
        check.findings.add({"structure",
                            check.path,
                            {},
                            {},
                            file.problem() + (file.advice().empty() ? "" : "; " + file.advice())});
        return;
    }
    LasCheck points(file, check);
    points.readAll(progress);
    points.note();
}

}  // namespace brisko::scan
