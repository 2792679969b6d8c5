#include "scan/files/input_file.h"
#include "scan/formats/e57/crc32c.h"
#include "scan/formats/e57/e57_file.h"
#include "scan/formats/e57/record_points.h"
#include "scan/formats/e57/scan_survey.h"
#include "scan/integrity/scan_check.h"

#include <brisko_scan/scan_error.h>
#include <brisko_scan/text.h>

#include <algorithm>

namespace brisko::scan {
namespace {

/// Looks at all pages, then reads each scan as conversions do.
class E57Check {
public:
    E57Check(ScanCheck& check, const ProgressFunction& progress)
        : m_check(check), m_progressOf(progress) {}

    void run() {
        checkPages();
        try {
            e57::File file(m_check.path);
            for (const e57::Scan& scan : file.scans())
                checkScan(file, scan);
            checkImages(file);
        } catch (const ScanError& error) {
            add(error);
        }
    }

private:
    void checkPages() {
        constexpr std::size_t kPages = 1024;  // of one read
        InputFile file(m_check.path);
        TaskProgress progress(m_progressOf, "check", file.size(), "bytes");
        std::vector<std::uint8_t> bytes((kPages + 3) * e57::kPage);
        for (std::uint64_t at = 0;; at += kPages * e57::kPage) {
            const std::size_t size = file.read(bytes.data(), kPages * e57::kPage);
            const std::size_t pages = size / e57::kPage;
            for (std::size_t page = 0; page < pages; page += 4)
                checkFour(bytes.data(), at, page, pages);
            if (size % e57::kPage != 0) {
                m_check.findings.add({"page",
                                      m_check.path,
                                      {},
                                      at + pages * e57::kPage,
                                      "the file ends inside this page"});
            }
            progress.advanceTo(std::min(at + size, file.size()));
            if (size < kPages * e57::kPage) break;
        }
    }

    void checkFour(const std::uint8_t* bytes, std::uint64_t start, std::size_t page,
                   std::size_t end) {
        std::uint32_t sums[4];
        crc32cOfFour(bytes + page * e57::kPage, e57::kContent, e57::kPage, sums);
        for (std::size_t k = 0; k < 4 && page + k < end; ++k) {
            const std::uint64_t place = (page + k) * e57::kPage;
            if (sums[k] == e57::loadChecksum(bytes + place)) continue;
            m_check.findings.add({"page",
                                  m_check.path,
                                  {},
                                  start + place,
                                  "the page's checksum does not fit its bytes"});
        }
    }

    void checkScan(e57::File& file, const e57::Scan& scan) {
        TaskProgress progress(m_progressOf, "check", scan.records, "records");
        try {
            e57::RecordPoints points(file.pages(), scan,
                                     e57::ruleOf(e57::surveyScan(file.pages(), scan)));
            std::vector<CellPoint> batch;
            do {
                points.read(batch);
                m_check.points += batch.size();
                progress.advanceTo(points.recordsDone());
            } while (!batch.empty());
            m_check.records += points.recordsDone();
            if (points.notFinite() > 0) {
                m_check.notes.push_back(countOf(points.notFinite(), "record") +
                                        " without finite numbers");
            }
        } catch (const ScanError& error) {
            if (error.kind() == ErrorKind::Cancelled) throw;
            add(error);
        }
    }

    void checkImages(e57::File& file) {
        for (const e57::Image& image : file.images()) {
            const std::uint64_t start =
                e57::isOffset(image.blob) ? e57::logicalOf(image.blob) : file.pages().size();
            if (start < file.pages().size() && image.bytes <= file.pages().size() - start) continue;
            m_check.findings.add({"image",
                                  m_check.path,
                                  {},
                                  {},
                                  "image \"" + image.name + "\" does not lie inside the file"});
        }
    }

    /// A page that is known to be bad is not reported again by what cannot be read for it.
    void add(const ScanError& error) {
        if (error.kind() == ErrorKind::Cancelled) throw error;
        if (!m_check.findings.empty() && m_check.findings.kept().front().kind == "page") return;
        m_check.findings.add(
            {"structure", m_check.path, error.place().block, error.place().offset, error.reason()});
    }

    ScanCheck& m_check;
    const ProgressFunction& m_progressOf;
};

}  // namespace

void checkE57Scan(ScanCheck& check, const ProgressFunction& progress) {
    E57Check(check, progress).run();
}

}  // namespace brisko::scan
