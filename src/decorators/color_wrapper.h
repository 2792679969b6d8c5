#pragma once

#include <brisko_codec/codec.h>
#include <brisko_codec/color_codec.h>

#include "codec/aligned_reader.h"
#include "decorators/wrapped_codec.h"

#include <limits>

namespace brisko {

/// A codec that looks for the photos that show a point.
class OutlineChooser {
public:
    /// Holds from the next Open on.
    void setOutlines(PhotoOutlines outlines) { m_outlines = outlines; }

protected:
    OutlineChooser() = default;
    virtual ~OutlineChooser() = default;
    PhotoOutlines outlines() const { return m_outlines; }

private:
    PhotoOutlines m_outlines = PhotoOutlines::Corners;
};

/// What both colour codecs do alike: they own a codec, pass on what they do not change, and take its
/// points as measured. Codec is the interface that the wrapper shows.
template <class Codec>
class ColorWrapper : public Codec, public AlignedReader, public OutlineChooser {
public:
    /// Takes the codec over; a null one gives a wrapper that never opens.
    explicit ColorWrapper(BriskoCodec* codec) noexcept : m_codec(codec) {}
    ColorWrapper(const ColorWrapper&) = delete;
    ColorWrapper& operator=(const ColorWrapper&) = delete;

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
    std::uint64_t readErrorCount() const override { return readErrorCountOf(m_codec.get()); }

    Frame frame() const override { return m_codec ? frameOf(*m_codec) : Frame::Aligned; }

    void setFrame(Frame frame) override {
        if (m_codec) brisko::setFrame(*m_codec, frame);
        m_points.update();
    }

    /// For wrappers around this one, which then align the points themselves.
    bool deliverAsMeasured() override {
        m_asMeasured = m_codec && m_points.takeFrom(*m_codec);
        return m_asMeasured;
    }

protected:
    bool openWrapped(const char* path) {
        if (!m_codec) return false;
        m_points.takeFrom(*m_codec);
        const bool opened = m_codec->Open(path);
        m_points.update();
        return opened;
    }

    BriskoCodec* codec() const { return m_codec.get(); }
    /// The wrapped codec seen as a grid; null before Open.
    BriskoGridCodec* grid() const { return m_grid; }
    void findGrid() { m_grid = dynamic_cast<BriskoGridCodec*>(m_codec.get()); }

    /// Takes a measured point to where it is delivered.
    void place(double& x, double& y, double& z) const {
        if (!m_asMeasured) m_points.toChosenFrame(x, y, z);
    }

private:
    OwnedCodec m_codec;
    BriskoGridCodec* m_grid = nullptr;
    MeasuredPoints m_points;
    bool m_asMeasured = false;
};

}  // namespace brisko
