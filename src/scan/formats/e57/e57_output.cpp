#include "scan/files/input_file.h"
#include "scan/formats/e57/digest.h"
#include "scan/formats/e57/record_writer.h"
#include "scan/formats/e57/xml_text.h"
#include "scan/formats/point_pieces.h"
#include "scan/formats/scan_output.h"

#include "layouts/records.h"

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

namespace brisko::scan {
namespace {

e57::RecordChoice choiceOf(const OutputTarget& target) {
    e57::RecordChoice choice;
    // Several stations share their cells.
    choice.hasGrid = target.station == 0 && target.columns > 0 && target.rows > 0;
    choice.columns = target.columns;
    choice.rows = target.rows;
    choice.hasColour = target.withColour;
    choice.precision = target.precision;
    return choice;
}

/// What a scan's text has to say of some of its points.
struct Tally {
    std::array<double, 3> min{}, max{};  // metres
    ColumnBands order;

    Tally() {
        min.fill(std::numeric_limits<double>::infinity());
        max.fill(-std::numeric_limits<double>::infinity());
    }
    void add(const CellPoint& p) {
        const double place[3] = {p.x, p.y, p.z};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            min[axis] = std::min(min[axis], place[axis]);
            max[axis] = std::max(max[axis], place[axis]);
        }
        order.add(p.column);
    }
    void append(const Tally& later, std::uint32_t firstColumn) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            min[axis] = std::min(min[axis], later.min[axis]);
            max[axis] = std::max(max[axis], later.max[axis]);
        }
        order.append(later.order, firstColumn);
    }
};

struct Piece : PointPiece<Tally> {
    e57::RecordPackets packets;
};

/// A file of scans, one after the other. A matrix that is no pose moves the points.
class E57Output : public ScanOutput {
public:
    explicit E57Output(const OutputTarget& target)
        : m_pages(target.path, target.shownPath),
          m_pieces(
              0, [this](Piece& piece) { encode(piece); },
              [this](const Piece& piece) { deliver(piece); }) {
        m_pages.hold(e57::FileHeader::kSize);
        begin(target);
    }

    void nextScan(const OutputTarget& target) override {
        if (target.station > 0) return;  // more of the same cloud
        completeScan();
        begin(target);
    }

    void write(std::span<const CellPoint> points) override {
        while (!points.empty()) {
            std::vector<CellPoint>& own = m_pieces.open().own;
            const std::size_t part = std::min(points.size(), m_pieceRecords - own.size());
            for (const CellPoint& point : points.first(part)) {
                if (!canStore(point)) continue;
                count(point);
                own.push_back(point);
            }
            if (own.size() == m_pieceRecords) give();
            points = points.subspan(part);
        }
    }

    void finish() override {
        completeScan();
        m_pages.align();
        const std::uint64_t start = m_pages.position();
        const std::uint64_t digest = m_pages.digest();
        for (e57::ScanText& scan : m_scans) {
            if (scan.guid.empty()) scan.guid = e57::makeGuid(e57::mixed(digest, scan.name));
        }
        std::string xml = e57::makeXml(m_scans, m_images, digest);
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
    void begin(const OutputTarget& target) {
        m_target = target;
        m_isPose = e57::isRigid(target.matrix);
        if (!m_isPose) {
            m_remark =
                "a matrix is no rigid motion, which a pose has no place for; the points are "
                "aligned";
        }
        m_matrix = AlignmentMatrix(target.matrix);
        m_choice = choiceOf(target);
        m_tally = {};
        m_records.emplace(m_pages, m_choice, target.shownPath);
        m_pieceRecords = m_records->packetRecords() * (jobThreads() > 1 ? kPackets : 1);
    }

    /// The records at hand end a packet.
    void give() {
        Piece& piece = m_pieces.open();
        piece.packets.place = m_records->giveOut(piece.own.size());
        m_pieces.give();
    }

    void encode(Piece& piece) const {
        for (CellPoint& point : piece.own) {
            if (!m_isPose) m_matrix.apply(point.x, point.y, point.z);
            piece.tally.add(point);
        }
        m_records->encode(piece.points, piece.packets);
    }

    void deliver(const Piece& piece) {
        m_records->write(piece.packets, piece.points.size());
        m_tally.append(piece.tally, piece.points.front().column);
    }

    void completeScan() {
        give();
        m_pieces.finish();
        m_records->finish();
        m_scans.push_back(scanText());
        for (const PinholeCamera& photo : m_target.photos)
            store(photo);
    }

    /// Scans in one folder have the same photos; each is stored once.
    void store(const PinholeCamera& photo) {
        const auto isSame = [&](const e57::ImageText& image) {
            return image.camera.photo == photo.photo;
        };
        if (std::any_of(m_images.begin(), m_images.end(), isSame)) return;
        ByteStream file(photo.photo);
        m_pages.align();
        m_images.push_back({photo, m_scans.size() - 1, m_pages.position(), file.size()});
        std::uint8_t header[e57::BlobHeader::kSize];
        e57::BlobHeader{(e57::BlobHeader::kSize + file.size() + 3) / 4 * 4}.encode(header);
        m_pages.write(header, sizeof header);
        while (file.left() > 0) {
            const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(kPart, file.left()));
            const std::uint8_t* const bytes = file.take(part);
            if (!bytes) throw ScanError(ErrorKind::Damaged, photo.photo, "became shorter");
            m_pages.write(bytes, part);
        }
        m_pages.align();
    }

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

    /// A scan without a guid gets one when all is written: it comes from the content.
    e57::ScanText scanText() const {
        e57::ScanText text;
        text.name = m_target.name.empty() ? "Scan 1" : m_target.name;
        text.guid = isTaken(m_target.guid) ? "" : m_target.guid;
        text.header = m_target.header;
        if (m_isPose) text.matrix = m_target.matrix;
        text.hasGrid = m_choice.hasGrid;
        text.columns = m_target.columns;
        text.rows = m_target.rows;
        if (m_choice.hasGrid) text.bandColumns = m_tally.order.bandColumns();
        if (m_records->records() > 0) {
            std::copy(m_tally.min.begin(), m_tally.min.end(), text.min);
            std::copy(m_tally.max.begin(), m_tally.max.end(), text.max);
        }
        text.fields = m_records->fields();
        text.section = m_records->section();
        text.records = m_records->records();
        return text;
    }

    bool isTaken(const std::string& guid) const {
        return std::any_of(m_scans.begin(), m_scans.end(),
                           [&](const e57::ScanText& scan) { return scan.guid == guid; });
    }

    static constexpr std::size_t kPackets = 4;                 // of a piece
    static constexpr std::uint64_t kPart = ByteStream::kMost;  // of a photo, bytes

    e57::PageWriter m_pages;
    std::vector<e57::ScanText> m_scans;  // that are complete
    std::vector<e57::ImageText> m_images;
    // Of the scan at hand.
    OutputTarget m_target;
    bool m_isPose = true;
    AlignmentMatrix m_matrix;
    e57::RecordChoice m_choice;
    Tally m_tally;
    std::optional<e57::RecordWriter> m_records;
    std::size_t m_pieceRecords = 0;
    PointPieces<Piece> m_pieces;
};

}  // namespace

std::unique_ptr<ScanOutput> createE57Output(const OutputTarget& target) {
    return std::make_unique<E57Output>(target);
}

}  // namespace brisko::scan
