#pragma once

#include <brisko_codec/codec.h>
#include <brisko_codec/export.h>

namespace brisko {

/// Where the alignment of an open scan came from.
enum class AlignmentSource {
    None,        // no companion, or no reader that keeps an alignment
    File,        // scan.alg
    Unreadable,  // a companion is there but could not be opened or does not parse; points come unaligned
};

/// The 4x4 matrix that takes points from the scanner's frame to the aligned frame, row by row
/// (element of row r and column c at 4r + c). Identity unless the source is File.
struct Alignment {
    double matrix[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    AlignmentSource source = AlignmentSource::None;
};

/// The frame in which a reader delivers points.
enum class Frame {
    Aligned,  // after scan.alg; what a new reader does
    Scanner,  // as measured, the scanner at the origin
};

/// The alignment that a reader of this library found at its last Open; wrappers ask the reader that
/// they wrap.
BRISKO_CODEC_EXPORT Alignment getAlignment(const BriskoCodec& codec);

/// Chooses the frame of the points from the next read on, for this object until it is changed.
/// Returns: false for a codec that is not this library's; it then goes on as before.
BRISKO_CODEC_EXPORT bool setFrame(BriskoCodec& codec, Frame frame);

/// Reads an ALG file. Returns false, and leaves the matrix alone, when it cannot be opened or does
/// not parse, or when an element of the matrix is not a finite number.
BRISKO_CODEC_EXPORT bool readAlignmentFile(const char* path, double (&matrix)[16]);

/// What an ALG file says besides the matrix: the box around the points, metres, scanner frame.
struct AlignmentBox {
    double max[3] = {-1e20, -1e20, -1e20};
    double min[3] = {1e20, 1e20, 1e20};
};

/// Writes an ALG file, complete or not at all. In a folder that takes no new files, an older file of
/// that name that may be written is rewritten in its place; a process killed meanwhile leaves a file
/// that is not read as an alignment. Returns false, with errno set, when it cannot be written; an
/// older file of that name then stays, or, where it was being rewritten, is not read any more.
BRISKO_CODEC_EXPORT bool writeAlignmentFile(const char* path, const double (&matrix)[16],
                                            const AlignmentBox& box);

/// The point (x, y, z, 1) taken through a row-by-row matrix and divided by w, as the readers do.
BRISKO_CODEC_EXPORT void applyAlignment(const double (&matrix)[16], double& x, double& y,
                                        double& z);

}  // namespace brisko
