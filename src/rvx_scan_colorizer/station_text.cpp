#include "rvx_scan_colorizer/station_text.h"

#include "base/file.h"
#include "base/text.h"
#include "rvx_scan_colorizer/calibration_files.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string_view>
#include <vector>

namespace brisko {

namespace {

/// The beginning of a file; these files have a few short lines.
std::string readText(const std::string& path) {
    constexpr std::size_t kMost = 4096;
    const FilePtr file = openFile(path.c_str(), "rb");
    if (!file) throw FileFailure(path);
    std::string text(kMost, '\0');
    text.resize(readAt(file.get(), 0, text.data(), text.size()));
    return text;
}

std::string firstLineOf(const std::string& text) {
    std::string line = text.substr(0, text.find('\n'));
    if (line.ends_with('\r')) line.pop_back();
    return line;
}

/// The numbers of a text up to what is none.
std::vector<double> numbersOf(const char* text) {
    std::vector<double> numbers;
    const char* end = nullptr;
    for (double value = parseDouble(text, &end); end != text; value = parseDouble(text, &end)) {
        numbers.push_back(value);
        text = end;
    }
    return numbers;
}

}  // namespace

std::optional<std::string> readFirstLine(const std::string& path) {
    const std::string text = readText(path);
    if (text.empty()) return std::nullopt;
    return firstLineOf(text);
}

int readCameraStep(const std::string& path) {
    // Exact: a blank behind it makes it another text.
    return readFirstLine(path) == "WCAMSTEP=30STEP" ? 30 : 60;
}

CameraModel readCameraText(const std::string& path) {
    const std::string text = readText(path);
    const std::vector<double> size = numbersOf(firstLineOf(text).c_str());
    if (size.empty() || !std::isfinite(size.front())) throw FileFailure(path);
    const std::size_t secondLine = std::min(text.find('\n'), text.size());
    std::vector<double> numbers = numbersOf(text.c_str() + secondLine);
    numbers.resize(3 + Coefficients().size());
    CameraModel camera;
    camera.modelCode = 1;
    camera.pixelSize = size.front() / 1000;
    camera.pitchX = camera.pitchY = camera.pixelSize / 1000;
    camera.principalDistance = numbers[0] / 1000;
    camera.principalX = numbers[1] / 1000;
    camera.principalY = numbers[2] / 1000;
    std::copy(numbers.begin() + 3, numbers.end(), camera.coefficients.begin());
    return camera;
}

CameraPose readExteriorText(const std::string& path) {
    std::vector<double> numbers = numbersOf(readText(path).c_str());
    numbers.resize(6);
    constexpr double kRadian = std::numbers::pi / 180;
    const Vector3 millimetres = {numbers[0] * 1000, numbers[1] * 1000, numbers[2] * 1000};
    return CameraPose().inside(
        millimetres,
        axesFromAngles(numbers[3] * kRadian, numbers[4] * kRadian, numbers[5] * kRadian));
}

}  // namespace brisko
