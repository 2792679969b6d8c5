#include "scan/formats/e57/digest.h"
#include "scan/formats/e57/record_writer.h"
#include "scan/formats/e57/xml_text.h"
#include "scan/formats/scan_output.h"

#include "layouts/records.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace brisko::scan {
namespace {

e57::RecordChoice choiceOf(const OutputTarget& target) {
    e57::RecordChoice choice;
    choice.hasGrid = target.columns > 0 && target.rows > 0;
    choice.columns = target.columns;
    choice.rows = target.rows;
    choice.hasColour = target.withColour;
    choice.precision = target.precision;
    return choice;
}

/// A file of one scan. A matrix that is no pose moves the points.
class E57Output : public ScanOutput {
public:
    explicit E57Output(const OutputTarget& target)
        : m_target(target),
          m_isPose(e57::isRigid(target.matrix)),
          m_matrix(target.matrix),
          m_choice(choiceOf(target)),
          m_pages(target.path, target.shownPath) {
        m_pages.hold(e57::FileHeader::kSize);
        m_records.emplace(m_pages, m_choice, target.shownPath);
    }

    void write(std::span<const CellPoint> points) override {
        m_kept.clear();
        for (const CellPoint& point : points) {
            if (canStore(point)) m_kept.push_back(point);
        }
        for (CellPoint& point : m_kept) {
            if (!m_isPose) m_matrix.apply(point.x, point.y, point.z);
            widenBox(point);
            count(point);
        }
        m_records->write(m_kept);
    }

    void finish() override {
        m_records->finish();
        m_pages.align();
        const std::uint64_t start = m_pages.position();
        const std::uint64_t digest = m_pages.digest();
        std::string xml = e57::makeXml({scanText(digest)}, digest);
        xml.resize((xml.size() + 3) / 4 * 4, '\n');
        m_pages.write(xml.data(), xml.size());
        e57::FileHeader header;
        header.fileBytes = m_pages.fileBytes();
        header.xmlOffset = e57::physicalOf(start);
        header.xmlBytes = xml.size();
        std::uint8_t bytes[e57::FileHeader::kSize];
        header.encode(bytes);
        m_pages.replace(0, bytes, sizeof bytes);
        m_pages.close();
    }

private:
    bool canStore(const CellPoint& p) {
        if (m_choice.hasGrid && (p.column >= m_target.columns || p.row >= m_target.rows)) {
            ++m_leftOut.outsideGrid;
            return false;
        }
        if (!isFinite(p)) {
            ++m_leftOut.notFinite;
            return false;
        }
        return true;
    }

    void widenBox(const CellPoint& p) {
        const double place[3] = {p.x, p.y, p.z};
        for (int axis = 0; axis < 3; ++axis) {
            m_min[axis] = m_points == 0 ? place[axis] : std::min(m_min[axis], place[axis]);
            m_max[axis] = m_points == 0 ? place[axis] : std::max(m_max[axis], place[axis]);
        }
    }

    e57::ScanText scanText(std::uint64_t digest) const {
        e57::ScanText text;
        text.name = m_target.name.empty() ? "Scan 1" : m_target.name;
        text.guid =
            m_target.guid.empty() ? e57::makeGuid(e57::mixed(digest, text.name)) : m_target.guid;
        text.header = m_target.header;
        if (m_isPose) text.matrix = m_target.matrix;
        text.hasGrid = m_choice.hasGrid;
        text.columns = m_target.columns;
        text.rows = m_target.rows;
        std::copy(std::begin(m_min), std::end(m_min), text.min);
        std::copy(std::begin(m_max), std::end(m_max), text.max);
        text.fields = m_records->fields();
        text.section = m_records->section();
        text.records = m_records->records();
        return text;
    }

    OutputTarget m_target;
    bool m_isPose;
    AlignmentMatrix m_matrix;
    e57::RecordChoice m_choice;
    e57::PageWriter m_pages;
    std::optional<e57::RecordWriter> m_records;
    std::vector<CellPoint> m_kept;  // of the points at hand
    double m_min[3] = {0, 0, 0}, m_max[3] = {0, 0, 0};
};

}  // namespace

std::unique_ptr<ScanOutput> createE57Output(const OutputTarget& target) {
    return std::make_unique<E57Output>(target);
}

}  // namespace brisko::scan
