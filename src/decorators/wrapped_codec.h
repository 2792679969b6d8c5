#pragma once

#include <brisko_codec/codec.h>

#include "codec/alignment.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <utility>

namespace brisko {

struct CodecDestroyer {
    void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
};

/// A codec that goes with the wrapper that was given it.
using OwnedCodec = std::unique_ptr<BriskoCodec, CodecDestroyer>;

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

/// What all wrappers do alike: they own a codec, pass on what they do not change, and know the frames of
/// its points. Codec is the interface that the wrapper shows.
template <class Codec>
class WrappedCodec : public Codec, public AlignedReader {
public:
    /// Takes the codec over; a null one gives a wrapper that never opens.
    explicit WrappedCodec(BriskoCodec* codec) noexcept : m_codec(codec) {}
    WrappedCodec(const WrappedCodec&) = delete;
    WrappedCodec& operator=(const WrappedCodec&) = delete;

    void Close() override {
        if (m_codec) m_codec->Close();
    }

    // Count and bounds speak of all points, those that a wrapper passes over included.
    std::int64_t GetPointCount() override { return m_codec ? m_codec->GetPointCount() : 0; }
    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override {
        if (m_codec) return m_codec->GetBounds(minX, minY, minZ, maxX, maxY, maxZ, count);
        minX = minY = minZ = std::numeric_limits<double>::max();
        maxX = maxY = maxZ = std::numeric_limits<double>::min();
        count = 0;
    }

    Alignment alignment() const override { return m_codec ? getAlignment(*m_codec) : Alignment{}; }
    ReadProblem readProblem() const override {
        return m_codec ? getReadProblem(*m_codec) : ReadProblem{};
    }
    std::uint64_t readErrorCount() const override {
        const auto* const reader = dynamic_cast<const AlignedReader*>(m_codec.get());
        return reader ? reader->readErrorCount() : 0;
    }

    bool setColumnRange(const ColumnRange& columns,
                        std::shared_ptr<const CL3TileTable> tiles) override {
        return m_codec && brisko::setColumnRange(*m_codec, columns, std::move(tiles));
    }

    Frame frame() const override {
        const auto* const reader = dynamic_cast<const AlignedReader*>(m_codec.get());
        return reader ? reader->frame() : Frame::Aligned;
    }
    void setFrame(Frame frame) override {
        if (m_codec) brisko::setFrame(*m_codec, frame);
        m_points.update();
    }
    bool deliverAsMeasured() override { return m_codec && m_points.takeFrom(*m_codec); }

protected:
    /// Null when there is none.
    BriskoCodec* codec() const { return m_codec.get(); }
    /// The wrapped codec seen as a grid; null before findGrid.
    BriskoGridCodec* grid() const { return m_grid; }
    void findGrid() { m_grid = dynamic_cast<BriskoGridCodec*>(m_codec.get()); }
    bool openWrapped(const char* path) {
        const bool opened = m_codec && m_codec->Open(path);
        m_points.update();
        return opened;
    }
    /// Takes a measured point to the chosen frame: the very numbers that the reader would deliver.
    void toChosenFrame(double& x, double& y, double& z) const { m_points.toChosenFrame(x, y, z); }

private:
    OwnedCodec m_codec;
    BriskoGridCodec* m_grid = nullptr;
    MeasuredPoints m_points;
};

}  // namespace brisko
