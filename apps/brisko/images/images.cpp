#include "commands.h"
#include "common/json.h"
#include "common/message.h"
#include "common/options.h"

#include <brisko_scan/formats.h>
#include <brisko_scan/images.h>
#include <brisko_scan/photos.h>
#include <brisko_scan/scan_error.h>

#include <iostream>
#include <memory>

namespace brisko::tool {
namespace {

constexpr const char* kSchema = "brisko.images/1";

struct Line {
    std::string file;
    std::string folder;
    bool overwrite = false;
    bool json = false;
};

using Json = nlohmann::ordered_json;

Json imageJson(const scan::EmbeddedImage& image) {
    return {{"name", image.name},
            {"representation", image.representation},
            {"fileName", image.fileName},
            {"bytes", image.bytes}};
}

/// The photos beside a native scan: they are files already.
ExitCode listPhotos(const Line& line) {
    if (!line.folder.empty()) {
        throw ScanError(ErrorKind::Request, line.file,
                        "its photos are files beside it; there is nothing to extract");
    }
    const scan::StationPhotos photos = scan::findStationPhotos(line.file);
    if (line.json) {
        printDocument({{"schema", kSchema}, {"scan", line.file}, {"photos", photosJson(photos)}});
        return ExitCode::Done;
    }
    for (const ScanPhoto& photo : photos.photos)
        std::cout << printable(scan::photoText(photos, photo)) << "\n";
    std::cout << printable(line.file) << ": " << countOf(photos.photos.size(), "photo")
              << " beside it\n";
    return ExitCode::Done;
}

ExitCode run(const Line& line, ProgressStyle style) {
    const scan::Format* const format = scan::formatOf(line.file);
    if (format && format->isNative) return listPhotos(line);
    const std::vector<scan::EmbeddedImage> images = scan::imagesIn(line.file);
    std::vector<std::string> outputs;
    if (!line.folder.empty()) {
        ProgressDisplay display(style);
        outputs = scan::extractImages(line.file, line.folder, line.overwrite, display.function());
    }
    if (line.json) {
        Json list = Json::array();
        for (const scan::EmbeddedImage& image : images)
            list.push_back(imageJson(image));
        printDocument(
            {{"schema", kSchema}, {"scan", line.file}, {"images", list}, {"outputs", outputs}});
        return ExitCode::Done;
    }
    for (const scan::EmbeddedImage& image : images) {
        std::cout << printable(image.fileName) << ": " << image.representation << ", "
                  << countOf(image.bytes, "byte") << "\n";
    }
    std::cout << printable(line.file) << ": " << countOf(images.size(), "image")
              << (outputs.empty() ? "" : ", written to " + printable(line.folder)) << "\n";
    return ExitCode::Done;
}

}  // namespace

Command addImages(CLI::App& tool, const CommonOptions& common) {
    CLI::App* app = tool.add_subcommand("images", "List the pictures of a scan, or extract them");
    app->footer(
        "An .e57 file holds pictures itself; -o writes them into a folder, byte by byte as they "
        "are.\n"
        "Of a native scan the photos beside it are listed.");
    const auto line = std::make_shared<Line>();
    app->add_option("FILE", line->file, "Scan (.e57, .cl3 or .clr)")->required();
    app->add_option("-o,--output", line->folder, "Folder to write the pictures of an .e57 file to")
        ->option_text("DIR");
    addOverwrite(*app, line->overwrite);
    app->add_flag("--json", line->json, "Print JSON, schema " + std::string(kSchema));
    return {app, [line, &common] { return run(*line, common.progress); }};
}

}  // namespace brisko::tool
