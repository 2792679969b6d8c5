// E57 files: the input is the content of the pages. What is read is written again as a file that reads as
// the same; everything else is refused as damaged, and `check` finds something in it.

#include "same_points.h"
#include "scan_folder.h"

#include "scan/formats/e57/e57_input.h"
#include "support/e57_bytes.h"

#include <brisko_scan/check.h>
#include <brisko_scan/convert.h>
#include <brisko_scan/scan_error.h>

#include <optional>

namespace brisko::fuzz {

namespace {

using Points = std::vector<CellPoint>;

constexpr std::size_t kMost = 100'000;  // points; a few bytes can hold many

/// Nothing when the file is refused.
std::optional<Points> read(const std::string& path, const std::string& choice) {
    try {
        scan::ReadOptions options;
        options.scan = choice;
        const auto input = scan::openScan(path, options);
        Points points, some;
        for (input->read(some); !some.empty() && points.size() < kMost; input->read(some))
            points.insert(points.end(), some.begin(), some.end());
        return points;
    } catch (const scan::ScanError& error) {
        expect(error.kind() == scan::ErrorKind::Damaged);
        return std::nullopt;
    }
}

bool isSame(const CellPoint& a, const CellPoint& b) {
    return fuzz::isSame(a.x, b.x) && fuzz::isSame(a.y, b.y) && fuzz::isSame(a.z, b.z) &&
           fuzz::isSame(a.intensity, b.intensity) && a.red == b.red && a.column == b.column &&
           a.row == b.row;
}

/// The length that a header announces is set right: otherwise few inputs would get further.
test::Bytes toFile(ByteSpan input) {
    test::Bytes content = toBytes(input);
    if (content.size() < 48) return content;
    const std::uint64_t pages = (content.size() + 1019) / 1020;
    store(content.data() + 16, pages * 1024);
    return test::e57Pages(content);
}

void run(ByteSpan input) {
    static const ScanFolder folder;
    folder.clear();
    test::writeFile(folder / "a.e57", toFile(input));
    std::size_t scans = 0;
    try {
        scans = scan::listE57(folder / "a.e57").size();
    } catch (const scan::ScanError&) {
        expect(!scan::checkScan(folder / "a.e57", 3).findings.empty());
        return;
    }
    bool allRead = true;
    std::optional<Points> points;
    for (std::size_t i = 1; i <= scans; ++i) {
        points = read(folder / "a.e57", std::to_string(i));
        allRead = allRead && points;
    }
    // Pictures are not read here; a name can be the number of another scan.
    if (!allRead && scans == 1) expect(!scan::checkScan(folder / "a.e57", 3).findings.empty());
    if (scans != 1 || !points || points->size() >= kMost) return;
    scan::ConvertOptions options;
    options.input = folder / "a.e57";
    options.output = folder / "b.e57";
    try {
        scan::convertScan(options);
    } catch (const scan::ScanError& error) {
        expect(error.kind() != scan::ErrorKind::NotWritten);
        return;
    }
    const std::optional<Points> again = read(folder / "b.e57", "1");
    expect(again && again->size() == points->size());
    for (std::size_t i = 0; i < again->size(); ++i)
        expect(isSame((*points)[i], (*again)[i]));
}

Bytes contentOf(const std::vector<Bytes>& packets, const std::string& xml) {
    const Bytes file = test::e57File(test::e57Section(packets), xml);
    Bytes content;
    for (std::size_t at = 0; at < file.size(); at += 1024) {
        const auto page = file.begin() + static_cast<std::ptrdiff_t>(at);
        content.insert(content.end(), page, page + 1020);
    }
    return content;
}

std::vector<Bytes> seeds() {
    const Bytes place = test::e57Numbers<double>({1, 2, 3});
    const std::string xyz =
        "<cartesianX type=\"Float\"/><cartesianY type=\"Float\"/>"
        "<cartesianZ type=\"Float\"/>";
    const std::string whole =
        "<rowIndex type=\"Integer\" minimum=\"0\" maximum=\"5\"/>"
        "<columnIndex type=\"Integer\" minimum=\"1\" maximum=\"4\"/>"
        "<intensity type=\"ScaledInteger\" minimum=\"0\" maximum=\"9\" scale=\"0.5\"/>"
        "<colorRed type=\"Integer\" minimum=\"0\" maximum=\"255\"/>";
    return {contentOf({test::e57Packet({place, place, place})}, test::e57Xml(3, xyz)),
            contentOf({test::e57Packet({place,
                                        place,
                                        place,
                                        test::e57Bits({0, 1, 5}, 3),
                                        test::e57Bits({3, 1, 0}, 2),
                                        test::e57Bits({9, 3, 1}, 4),
                                        {1, 2, 3}})},
                      test::e57Xml(3, xyz + whole,
                                   "<pose type=\"Structure\"><translation type=\"Structure\">"
                                   "<x type=\"Float\">5</x></translation></pose>"))};
}

const Registered registered({"e57", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
