#pragma once

#include <brisko_codec/codec.h>

#include "codec/aligned_reader.h"
#include "codec/alignment.h"

#include <memory>

namespace brisko {

struct CodecDestroyer {
    void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
};

/// A codec that goes with the wrapper that was given it.
using OwnedCodec = std::unique_ptr<BriskoCodec, CodecDestroyer>;

/// The frame that was chosen for a codec's points.
inline Frame frameOf(const BriskoCodec& codec) {
    const auto* const reader = dynamic_cast<const AlignedReader*>(&codec);
    return reader ? reader->frame() : Frame::Aligned;
}

/// How often a wrapped codec met a read error; 0 for null and for codecs of others.
inline std::uint64_t readErrorCountOf(const BriskoCodec* codec) {
    const auto* const reader = dynamic_cast<const AlignedReader*>(codec);
    return reader ? reader->readErrorCount() : 0;
}

/// What a wrapper knows of the frames of its points: it takes them from the wrapped reader as
/// measured, and has the matrix that brings them to the frame that the host chose. Points of a codec
/// that knows of no frames stay as they are.
class MeasuredPoints {
public:
    /// From now on the codec delivers points as measured. False when it knows of no frames.
    bool takeFrom(BriskoCodec& codec) {
        m_reader = dynamic_cast<AlignedReader*>(&codec);
        if (m_reader && !m_reader->deliverAsMeasured()) m_reader = nullptr;
        update();
        return m_reader != nullptr;
    }

    /// To be called when the codec has opened a scan and when its frame was chosen anew.
    void update() {
        m_toChosen = AlignmentMatrix::none();
        if (!m_reader || m_reader->frame() == Frame::Scanner) return;
        m_toChosen = AlignmentMatrix(m_reader->alignment());
    }

    /// Takes a measured point to the chosen frame: the very numbers that the reader would deliver.
    void toChosenFrame(double& x, double& y, double& z) const { m_toChosen.apply(x, y, z); }

private:
    AlignedReader* m_reader = nullptr;
    AlignmentMatrix m_toChosen = AlignmentMatrix::none();
};

}  // namespace brisko
