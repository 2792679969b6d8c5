#pragma once

#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/clr_codec.h>
#include <brisko_codec/codec.h>

#include <cstdint>
#include <functional>

/// Readers that give every point the colour which the photos beside the scan show at its place. Photos
/// (JPEG) and their calibration lie in the scan's folder and in the project folder above it;
/// docs/formats/camera_files.md describes how they are found. Each wrapper owns the codec given to it;
/// free the wrapper with BriskoCodec::Destroy. A null codec gives a wrapper that never opens.
///
/// Open answers false, and leaves the wrapped codec closed, when photos are there and one of their
/// files is missing or damaged. Without photos it opens, and all points are black, as are points that
/// no photo shows.
///
/// Colours are looked up where the scanner measured the point: an alignment of the scan changes what is
/// delivered (see setFrame), and no colour. Points of a codec that is not this library's are taken to
/// be in the scanner's frame. GetPointCount, GetBounds and GetGridSize are the wrapped codec's.
///
/// Reading ahead: points are read 400,000 at a time, and other threads colour one batch while the host
/// takes the one before it: as many as jobThreads (threads.h) gives at Open, the reading one included,
/// which colours where it would have to wait. The colours are the same for any number. Such a reader
/// takes 32 MB besides the photos, and makes one pass: ReadFirstPoint is the same as ReadNextPoint and
/// does not go back; to start again, Open again. Call GetPointCount and GetBounds before the first point
/// or after the last: they move the wrapped codec.
/// In a thread of Boost.Thread, reading is an interruption point; what was read stays.
///
/// Memory: up to 60 decoded photos a reader, 3 bytes a pixel; fewer where 60 would pass 2 GiB, or a
/// quarter of the machine's memory. The colours do not depend on that. Readers in one process share
/// the photos of the same file. Photos are decoded side by side as long as all of the process take at
/// most 1 GiB meanwhile, and one after the other beyond that. A JPEG may have up to 2^27 pixels, 256
/// MiB and 500 passes; one whose header claims more than 2^22 pixels must have a byte for every 512 of
/// them. Others count as damaged; findPhotoFaults (scan_photos.h) names them.
/// Threads: one thread at a time per object; distinct objects are independent.
class BRISKO_CODEC_EXPORT ColorCodecCreator {
public:
    ColorCodecCreator() = default;
    ColorCodecCreator(const ColorCodecCreator&) = default;
    ColorCodecCreator& operator=(const ColorCodecCreator&);
    ColorCodecCreator& operator=(ColorCodecCreator&&) noexcept;

    /// Wraps a codec; null when memory runs out (the codec then still belongs to the caller).
    ///   readAhead  false: each point is coloured as it is read, in the calling thread
    static BriskoCodec* CreateCodec(BriskoCodec* codec, bool readAhead);
    static BriskoGridCodec* CreateGridCodec(BriskoGridCodec* codec, bool readAhead);

    /// New readers of one format that read ahead; null when memory runs out.
    static CL3Codec* CreateCL3Codec();
    static CL3GridCodec* CreateCL3GridCodec();
    static CLRCodec* CreateCLRCodec();
    static CLRGridCodec* CreateCLRGridCodec();
};

namespace brisko {

/// How a colour codec finds out which photos may show a point. Either way a photo colours only points
/// that it really shows.
enum class PhotoOutlines {
    /// By a box around the four corners of each photo; what a new codec does. The middle of a photo may
    /// bulge out of the box: where a wide view faces an axis of the scanner, points near that axis stay
    /// black, or take the colour of another photo.
    Corners,
    /// By a box around the whole photo, without such holes.
    Whole,
};

/// Chooses that for a codec made by ColorCodecCreator, from its next Open on.
/// Returns: false for any other codec, one that wraps a colour codec among them.
BRISKO_CODEC_EXPORT bool setPhotoOutlines(BriskoCodec& codec, PhotoOutlines outlines);

/// Whether photos leave out points that they cannot see, for a codec made by ColorCodecCreator, from its
/// next Open on. A camera stands beside the scanner's axis, so a thing near to it covers points that
/// the scanner saw; a new codec gives them the colour of that thing. With this they get it from another
/// photo that sees them, and stay black where there is none.
///
/// Open then makes a pass over all points of the wrapped codec, whatever setColumnRange chose, in the
/// calling thread, and opens that codec a second time. It keeps the nearest points in cells of each photo:
/// up to 1 MiB a photo, 64 MiB at most. A point counts as hidden where the photo shows something there that
/// is nearer by more than 2 % and 5 cm; a thing narrower than a few steps of the scan hides nothing.
/// Open answers false also when that pass cannot read the scan, or meets a request to interrupt its
/// thread of Boost.Thread; the request stays.
/// Returns: false for any other codec, one that wraps a colour codec among them.
BRISKO_CODEC_EXPORT bool setPhotoOcclusion(BriskoCodec& codec, bool isHidden);

/// Asked whether Open shall go on.
///   points  how many the pass of setPhotoOcclusion has read; 0 before it
using ColourOpenProgress = std::function<bool(std::uint64_t points)>;

/// Lets a host end Open of a codec made by ColorCodecCreator, from its next Open on: `progress` is asked in
/// the thread of Open, every 20 ms while photos are read and decoded, and every thousand points of the pass
/// of setPhotoOcclusion. Where it answers false or throws, photos that are being decoded end after a few
/// rows (damaged ones, which the fallback decoder mends, at their end), Open answers false, and nothing
/// stays open. What it refers to must live as long as the codec opens scans; an empty one asks no more.
/// Returns: false for any other codec, one that wraps a colour codec among them.
BRISKO_CODEC_EXPORT bool setColourOpenProgress(BriskoCodec& codec, ColourOpenProgress progress);

}  // namespace brisko
