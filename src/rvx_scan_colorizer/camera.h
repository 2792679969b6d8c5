#pragma once

#include <brisko_codec/color_codec.h>

#include "rvx_scan_colorizer/blending.h"
#include "rvx_scan_colorizer/decoded_image.h"
#include "rvx_scan_colorizer/projection.h"
#include "rvx_scan_colorizer/station_files.h"

#include <optional>
#include <string>
#include <vector>

namespace brisko {

/// One photo of a station with what its files say about the camera.
struct CameraRecord {
    std::string path;
    CameraKind kind = CameraKind::Classic;
    int cameraStep = 60;
    std::optional<CameraModel> model;  // without one the photo shows nothing, but is loaded
    std::string modelPath;             // the file that describes the camera
};

/// Reads the calibration of a photo that the station takes. Throws FileFailure when a file that the
/// kind of station asks for is missing or cannot be opened.
CameraRecord readCameraRecord(const StationFiles& station, const PhotoFiles& photo);

/// A photo of a station, ready to colour points: everything but its pixels. Does not change.
struct Camera {
    std::string path;
    Turn turn = Turn::None;
    Projection projection;
    Blending blending;
    ImageSize size;                // of the working frame
    std::uint64_t pixels = 0;      // as stored
    std::vector<Vector3> outline;  // unit vectors to the corners of the view, then into it; scanner
    bool isBeyondReach = false;    // a corner of the view is, so the outline ends before it

    /// The decoded pixel that a pixel of the working frame stands for: the same share of the way.
    const std::uint8_t* sample(const DecodedImage& image, const Pixel& pixel) const {
        return image.pixel(scaled(pixel.column, size.width, image.columns()),
                           scaled(pixel.row, size.height, image.rows()));
    }

private:
    static int scaled(int place, int length, int decodedLength) {
        if (length == decodedLength) return place;
        const double scaled = static_cast<double>(place) / length * decodedLength;
        return std::min(nearestInt(scaled), decodedLength - 1);
    }
};

/// Reads the header of the photo and works out the rest. Throws what getImageDimention and
/// Projection::directionTo throw.
Camera prepareCamera(const CameraRecord& record, StationKind station, PhotoOutlines outlines);

}  // namespace brisko
