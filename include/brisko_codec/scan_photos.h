#pragma once

#include <brisko_codec/export.h>

#include <functional>
#include <string>
#include <vector>

namespace brisko {

/// What becomes of a photo beside a scan.
enum class PhotoUse {
    Used,
    WithoutAngles,  // no ".ang" beside it, or no ".cmr" where photos have cameras of their own
    WithoutCamera,  // no camera is known for it: its name begins with neither "T" nor "W", or it
                    // has no ".ext" where photos have cameras of their own
    BrokenCalibration,  // a file that its camera needs is missing, unreadable or makes no sense
    BrokenPhoto,        // the JPEG has no readable header, or claims more pixels than its bytes can
                        // hold or than are read (ColorCodecCreator says how many)
};

/// What decoding a photo has shown.
enum class PhotoPixels {
    NotDecoded,  // nobody asked for it, or colour codecs do not load the photo
    Whole,
    Mended,      // damaged after its header; what could not be decoded is grey or torn
    Unreadable,  // damaged beyond use: points that the photo may show stay black
};

struct ScanPhoto {
    std::string path;
    PhotoUse use = PhotoUse::Used;
    PhotoPixels pixels = PhotoPixels::NotDecoded;
    int width = 0, height = 0;  // pixels as stored; 0 for photos that are not looked at
    std::string culprit;        // for broken ones: the file at fault, where it is known
};

/// The photos of a station, in the order in which their colours are blended.
struct ScanPhotos {
    /// 1: stored turned; 2: each photo has a camera of its own; 3: the project has an offset file.
    int stationKind = 1;
    std::vector<ScanPhoto> photos;
    /// Why a colour codec would not open the scan: a file of the station that cannot be read. Empty
    /// when there is no such file. A photo that is only damaged after its header does not show here;
    /// one of the first 60 with Unreadable pixels keeps a colour codec from opening, too.
    std::string culprit;

    std::size_t count(PhotoUse use) const {
        std::size_t photosSo = 0;
        for (const ScanPhoto& photo : photos)
            photosSo += photo.use == use;
        return photosSo;
    }
};

/// Looks at the photos beside a scan as the colour codecs do, and reports what becomes of each. Reads
/// their headers and calibration, but decodes none. A scan without photos gives an empty list.
BRISKO_CODEC_EXPORT ScanPhotos findScanPhotos(const std::string& scanPath);

/// The same, and decodes the photos that colour codecs load, one after the other. Those that an open
/// colour codec of this process holds are not decoded again.
BRISKO_CODEC_EXPORT ScanPhotos decodeScanPhotos(const std::string& scanPath);
/// The same, calling ask() before each photo and every few rows while it is decoded, on this thread. What it
/// throws ends the call.
BRISKO_CODEC_EXPORT ScanPhotos decodeScanPhotos(const std::string& scanPath,
                                                const std::function<void()>& ask);

/// What is wrong with the files of a photo, or odd about them.
struct PhotoFault {
    std::string photo;  // its path
    std::string file;   // the file at fault: the photo, or one that describes its camera
    std::string
        text;  // which field, and why: "the vertical pixel pitch is 0 mm; it must be above 0"
    /// Whether the photo cannot be used, and so keeps colour codecs from opening. Otherwise it is used:
    /// a corner of it lies beyond the reach of its lens, so its outline ends before that corner.
    bool isFatal = true;
};

/// Looks at the photos as findScanPhotos does, and says what is wrong with each, in plain words.
BRISKO_CODEC_EXPORT std::vector<PhotoFault> findPhotoFaults(const std::string& scanPath);

/// The camera of a photo as a pinhole camera, which is the closest one there is: no lens distorts what it
/// shows. It is that of the photo as its file stores it, also where photos are stored turned.
struct PinholeCamera {
    std::string photo;          // its path
    int width = 0, height = 0;  // pixels
    /// A rotation and a translation, row by row: takes the camera's frame to the scanner's, metres. The
    /// camera looks along its -z, x is to the right, y up.
    double pose[16] = {};
    double focalLength = 0;  // metres
    /// Metres, on the plane at the focal length; 0 where no pinhole camera comes near.
    double pixelWidth = 0, pixelHeight = 0;
    /// Pixels from the middle of the upper left one, to the right and down.
    double principalX = 0, principalY = 0;
    /// How far from their true places this camera shows things, pixels: the most in the photo.
    double worstError = 0;
};

/// The cameras of the photos that can be used, in the order of findScanPhotos.
BRISKO_CODEC_EXPORT std::vector<PinholeCamera> findPinholeCameras(const std::string& scanPath);

}  // namespace brisko
