#include "scan/view/scene_text.h"

#include "base/text.h"
#include "scan/files/named_output.h"
#include "scan/files/scan_path.h"

#include <brisko_scan/scan_error.h>

#include <filesystem>

namespace brisko::scan {
namespace {

std::string matrixOf(const Alignment& alignment) {
    std::string text;
    for (const double element : alignment.matrix)
        text += (text.empty() ? "[" : ",") + formatText("%.17g", element);
    return text + "]";
}

/// By its length the page knows a file again, so it has to be known here.
std::string lengthOf(const std::string& path) {
    const std::uint64_t bytes = bytesOf(path);
    if (bytes == 0) throw ScanError(ErrorKind::Damaged, path, "cannot be read");
    return std::to_string(bytes);
}

/// An indexed CL3 scan can be read by cells, so the page can open its files.
std::string filesOf(const ScanInfo& info) {
    if (!hasExtension(info.path, ".cl3") || !info.hasGrid) return "null";
    return "{\"bytes\":" + lengthOf(info.path) +
           ",\"indexBytes\":" + lengthOf(companionOf(info.path, ".ij")) + "}";
}

}  // namespace

std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == '"' || byte == '\\' || byte == '<') {
            json += formatText("\\u%04x", byte);
        } else {
            json += character;
        }
    }
    return json + "\"";
}

std::string sceneScan(const ViewedScan& viewed, const ScanInfo& info, const ViewPoints& points) {
    const std::string file = std::filesystem::path(viewed.input).filename().string();
    return "{\"name\":" + quoted(viewed.name) + ",\"file\":" + quoted(file) +
           ",\"points\":" + std::to_string(viewed.points) +
           ",\"read\":" + std::to_string(viewed.read) + "," + points.members() +
           "\"files\":" + filesOf(info) + ",\"matrix\":" + matrixOf(info.alignment) + "}";
}

namespace {

std::string arrayOf(const std::vector<std::string>& elements) {
    std::string text = "[";
    for (const std::string& element : elements)
        text += (text.size() > 1 ? ",\n" : "\n") + element;
    return text + "]";
}

}  // namespace

std::string sceneText(const std::string& title, bool full, const std::vector<std::string>& scans,
                      const std::vector<std::string>& photos) {
    return "{\"title\":" + quoted(title) +
           formatText(",\"lengthUnit\":%.17g,\"angleUnit\":%.17g", kViewLength, kViewAngle) +
           ",\"full\":" + (full ? "true" : "false") + ",\"photos\":" + arrayOf(photos) +
           ",\"scans\":" + arrayOf(scans) + "}";
}

}  // namespace brisko::scan
