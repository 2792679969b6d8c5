#pragma once

#include <brisko_codec/cl3_codec.h>
#include <brisko_codec/clr_codec.h>
#include <brisko_codec/codec.h>

/// Readers that give every point the colour which the photos beside the scan show at its place. Photos
/// (JPEG) and their calibration lie in the scan's folder and in the project folder above it;
/// docs/formats/camera_files.md tells how they are found. Each wrapper owns the codec given to it;
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
/// Reading ahead: points are read 400,000 at a time, and four threads colour one batch while the host
/// takes the one before it. Such a reader takes 32 MB besides the photos, and makes one pass:
/// ReadFirstPoint is the same as ReadNextPoint and does not go back; to start again, Open again. Call
/// GetPointCount and GetBounds before the first point or behind the last: they move the wrapped codec.
/// In a thread of Boost.Thread, reading is an interruption point; what was read stays.
///
/// Memory: up to 60 decoded photos a reader. Readers in one process share those of the same file.
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
