#include "rvx_scan_colorizer/camera_fault.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace brisko {

namespace {

std::string numberText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

bool isRotation(const Matrix3& matrix) {
    // Far from exact: files round. What has no direction at all is what counts.
    constexpr double kShortest = 1e-6;
    return std::all_of(std::begin(matrix.rows), std::end(matrix.rows), [](const Vector3& row) {
        const double length = std::hypot(row[0], row[1], row[2]);
        return std::isfinite(length) && length > kShortest;
    });
}

/// The field of a model that cannot be; empty where all are well. Models keep metres.
std::string fieldFault(const CameraModel& model) {
    const struct {
        const char* field;
        double value;
    } lengths[] = {{"principal distance", model.principalDistance},
                   {"horizontal pixel pitch", model.pitchX},
                   {"vertical pixel pitch", model.pitchY}};
    for (const auto& [field, value] : lengths) {
        if (value > 0 && std::isfinite(value)) continue;
        return std::string("the ") + field + " is " + numberText(value * 1000) +
               " mm; it must be above 0";
    }
    if (model.modelCode < 0 || model.modelCode > 2) {
        return "the model code is " + std::to_string(model.modelCode) + "; 0, 1 and 2 are known";
    }
    if (!std::isfinite(model.principalX) || !std::isfinite(model.principalY)) {
        return "the principal point is not a number";
    }
    const auto isFinite = [](double value) { return std::isfinite(value); };
    if (!std::all_of(model.coefficients.begin(), model.coefficients.end(), isFinite)) {
        return "a distortion coefficient is not a number";
    }
    return {};
}

}  // namespace

CameraFault findCameraFault(const CameraRecord& record, const PhotoFiles& photo) {
    const std::string field = fieldFault(*record.model);
    if (!field.empty()) return {record.modelPath, field};
    // What is left is the way from the camera to the scanner.
    if (isRotation(record.model->pose.rotation)) {
        return {record.modelPath, "its lens shows no direction at the corners of the photo"};
    }
    const bool hasOwnCamera = record.modelPath == photo.camera;
    const std::string& turns = hasOwnCamera ? photo.exterior : photo.levelling;
    return {turns.empty() ? record.modelPath : turns, "its rotation gives the camera no direction"};
}

}  // namespace brisko
