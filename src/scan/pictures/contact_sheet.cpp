#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"
#include "scan/jobs/input_files.h"
#include "scan/pictures/canvas.h"
#include "scan/pictures/picture_file.h"

#include <brisko_scan/panorama.h>
#include <brisko_scan/scan_error.h>
#include <brisko_scan/staged_scan.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace brisko::scan {
namespace {

constexpr PictureColour kPaper = {250, 250, 250}, kInk = {45, 45, 45}, kPale = {225, 225, 225};
constexpr std::uint32_t kMostAcross = 64;
constexpr std::uint64_t kMostPixels = 1 << 26;
constexpr double kHeightShare = 0.5;  // of a picture's place, to its width

/// One scan of the sheet.
struct Entry {
    std::string path, scan;
    std::string label;
    std::string problem;  // why its file cannot be looked at
};

void addEntries(const std::string& path, std::vector<Entry>& entries) {
    const std::string name = lastPartOf(path);
    try {
        const std::vector<std::string> choices = scanChoicesOf(path);
        entries.reserve(entries.size() + choices.size());
        for (const std::string& scan : choices)
            entries.push_back({path, scan, scan.empty() ? name : name + "  " + scan, {}});
    } catch (const ScanError& error) {
        entries.push_back({path, {}, name, error.reason()});
    }
}

std::vector<Entry> entriesOf(const std::vector<std::string>& inputs) {
    std::vector<Entry> entries;
    for (const std::string& input : inputs) {
        for (const std::string& path : filesOf(input))
            addEntries(path, entries);
    }
    return entries;
}

/// The places of the pictures.
struct Layout {
    std::uint32_t across, down;
    std::uint32_t gap, letters;                 // pixels; letters: height of a capital
    std::uint32_t pictureWidth, pictureHeight;  // at most

    std::uint32_t cellHeight() const { return pictureHeight + 3 * letters + gap; }
};

Layout layoutOf(const ContactSheetOptions& options, std::size_t entries) {
    Layout layout{};
    const auto count = static_cast<std::uint32_t>(entries);
    const auto balanced = static_cast<std::uint32_t>(std::ceil(std::sqrt(count)));
    layout.across = std::clamp(options.across > 0 ? options.across : balanced, 1U, kMostAcross);
    layout.down = (count + layout.across - 1) / layout.across;
    layout.gap = std::max(options.width / 100, 4U);
    layout.pictureWidth = (options.width - layout.gap) / layout.across - layout.gap;
    layout.pictureHeight =
        static_cast<std::uint32_t>(std::lround(layout.pictureWidth * kHeightShare));
    layout.letters = std::clamp(layout.pictureWidth / 50, 7U, 18U);
    return layout;
}

struct Thumbnail {
    std::uint32_t width = 0, height = 0;
    std::vector<std::uint8_t> pixels;  // red, green, blue
    std::string problem;               // why there is none
};

Thumbnail thumbnailOf(const Entry& entry, const ContactSheetOptions& options,
                      const Layout& layout) {
    Thumbnail thumbnail;
    thumbnail.problem = entry.problem;
    if (!entry.problem.empty()) return thumbnail;
    PanoramaOptions picture = options.picture;
    picture.input = entry.path;
    picture.scan = entry.scan;
    picture.width = layout.pictureWidth;
    picture.height = 0;
    picture.legend = false;
    picture.progress = options.progress;
    try {
        PanoramaResult result = paintPanorama(picture, thumbnail.pixels);
        if (result.height > layout.pictureHeight) {
            picture.width =
                std::max(1U, static_cast<std::uint32_t>(std::uint64_t{result.width} *
                                                        layout.pictureHeight / result.height));
            picture.height = layout.pictureHeight;
            result = paintPanorama(picture, thumbnail.pixels);
        }
        thumbnail.width = result.width;
        thumbnail.height = result.height;
    } catch (const ScanError& error) {
        if (error.kind() == ErrorKind::Cancelled) throw;
        thumbnail.problem = error.reason();
    }
    return thumbnail;
}

/// A picture at the lower edge of its place in a row of the sheet, with the scan's name below.
void place(Canvas& row, const Thumbnail& thumbnail, const std::string& name, std::uint32_t index,
           const Layout& layout) {
    const std::uint32_t left = layout.gap + index * (layout.pictureWidth + layout.gap);
    const std::uint32_t indent = (layout.pictureWidth - thumbnail.width) / 2;
    const std::uint32_t drop = layout.pictureHeight - thumbnail.height;
    for (std::uint32_t y = 0; y < thumbnail.height; ++y) {
        std::copy_n(thumbnail.pixels.data() + std::size_t{3} * y * thumbnail.width,
                    std::size_t{3} * thumbnail.width,
                    row.row(drop + y) + std::size_t{3} * (left + indent));
    }
    const double size = layout.letters;
    const auto room = static_cast<std::size_t>(layout.pictureWidth / Canvas::textWidth("0", size));
    if (thumbnail.pixels.empty()) {
        for (std::uint32_t y = 0; y < layout.pictureHeight; ++y) {
            for (std::uint32_t x = 0; x < layout.pictureWidth; ++x)
                row.blend(left + x, y, kPale, 1);
        }
        row.text(left + size, layout.pictureHeight / 2.0, size,
                 shownText(thumbnail.problem, room > 2 ? room - 2 : 0), kInk);
    }
    row.text(left, layout.pictureHeight + size, size, shownText(name, room), kInk);
}

}  // namespace

ContactSheetResult drawContactSheet(const ContactSheetOptions& options) {
    if (extensionOf(options.output) != ".png")
        throw ScanError(ErrorKind::Request, options.output, "a sheet of pictures is named .png");
    const std::vector<Entry> entries = entriesOf(options.inputs);
    if (entries.empty())
        throw ScanError(ErrorKind::Request, options.output, "there is no scan to draw");
    const Layout layout = layoutOf(options, entries.size());
    const std::uint64_t height = layout.gap + std::uint64_t{layout.down} * layout.cellHeight();
    if (layout.pictureWidth < 16 || layout.pictureWidth > options.width ||
        height * options.width > kMostPixels) {
        throw ScanError(ErrorKind::Request, options.output,
                        std::to_string(entries.size()) + " pictures do not fit on a sheet of " +
                            std::to_string(options.width) + " pixels");
    }
    requireNew(options.output, options.overwrite);
    StagedScan staged(options.output);
    const auto file = openPictureFile(staged.path(), options.output);
    ContactSheetResult result;
    result.width = options.width;
    result.height = static_cast<std::uint32_t>(height);
    file->begin({result.width, result.height, {}, {}});
    Canvas margin(options.width, layout.gap, kPaper);
    const auto write = [&](Canvas& rows) {
        for (std::uint32_t y = 0; y < rows.height(); ++y)
            file->writeRow(rows.row(y));
    };
    write(margin);
    for (std::uint32_t first = 0; first < entries.size(); first += layout.across) {
        Canvas row(options.width, layout.cellHeight(), kPaper);
        for (std::uint32_t i = 0; i < layout.across && first + i < entries.size(); ++i) {
            const Entry& entry = entries[first + i];
            const Thumbnail thumbnail = thumbnailOf(entry, options, layout);
            if (thumbnail.problem.empty()) {
                ++result.drawn;
            } else {
                result.failed.push_back(entry.label + ": " + thumbnail.problem);
            }
            place(row, thumbnail, entry.label, i, layout);
        }
        write(row);
    }
    file->close();
    if (result.drawn == 0) {
        throw ScanError(ErrorKind::Request, options.output,
                        "none of the scans can be drawn; " + result.failed.front());
    }
    staged.commit(options.progress);
    result.bytes = bytesOf(options.output);
    return result;
}

}  // namespace brisko::scan
