#include "codec/alignment.h"
#include "codec/batch_source.h"
#include "decorators/occlusion_pass.h"
#include "decorators/read_ahead.h"
#include "decorators/wrapped_codec.h"
#include "rvx_scan_colorizer/rvx_scan_colorizer.h"
#include "rvx_scan_colorizer/station_files.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/color_codec.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <utility>

namespace brisko {

/// A codec that looks for the photos that show a point. Settings hold from the next Open on.
class PhotoChooser {
public:
    void setOutlines(PhotoOutlines outlines) { m_outlines = outlines; }
    void setOcclusion(bool isHidden) { m_hidesOccluded = isHidden; }
    void setProgress(ColourOpenProgress progress) { m_progress = std::move(progress); }

protected:
    PhotoChooser() = default;
    virtual ~PhotoChooser() = default;
    PhotoOutlines outlines() const { return m_outlines; }
    bool hidesOccluded() const { return m_hidesOccluded; }
    const ColourOpenProgress& progress() const { return m_progress; }
    /// The same for work that counts no points; empty where nobody asks.
    GoesOn goesOn() const {
        if (!m_progress) return {};
        return [this] { return m_progress(0); };
    }

private:
    PhotoOutlines m_outlines = PhotoOutlines::Corners;
    bool m_hidesOccluded = false;
    ColourOpenProgress m_progress;
};

/// What both colour codecs do alike: they take the points of their codec as measured.
template <class Codec>
class ColorWrapper : public WrappedCodec<Codec>, public PhotoChooser {
public:
    using WrappedCodec<Codec>::WrappedCodec;

    /// For wrappers around this one, which then align the points themselves.
    bool deliverAsMeasured() override {
        m_asMeasured = WrappedCodec<Codec>::deliverAsMeasured();
        return m_asMeasured;
    }

    bool setColumnRange(const ColumnRange& columns,
                        std::shared_ptr<const CL3TileTable> tiles) override {
        if (!WrappedCodec<Codec>::setColumnRange(columns, tiles)) return false;
        m_columns = columns;
        m_tiles = std::move(tiles);
        return true;
    }

protected:
    using Handles = std::span<const std::unique_ptr<RvxScanColorizer>>;

    /// Opens the wrapped codec for handles of one station. Where it fails, nothing stays open.
    bool openMeasured(const char* path, const Handles& handles) {
        WrappedCodec<Codec>::deliverAsMeasured();
        if (!hidesOccluded()) return this->openWrapped(path);
        const std::shared_ptr<const DepthMaps> maps = findDepths(path, *handles.front());
        if (!maps || !this->openWrapped(path)) return false;
        for (const auto& handle : handles)
            handle->hideOccluded(maps);
        return true;
    }

    /// Takes a measured point to where it is delivered.
    void place(double& x, double& y, double& z) const {
        if (!m_asMeasured) this->toChosenFrame(x, y, z);
    }

private:
    /// Makes a pass of its own over the whole scan, whatever part of it is wanted: the parts of a scan get
    /// the colours that all of it gets. The codec is closed after it, as not every codec goes back by itself.
    std::shared_ptr<const DepthMaps> findDepths(const char* path, const RvxScanColorizer& handle) {
        if (m_columns) WrappedCodec<Codec>::setColumnRange({}, m_tiles);
        std::shared_ptr<const DepthMaps> maps;
        if (this->openWrapped(path)) maps = readDepthMaps(*this->codec(), handle, progress());
        this->codec()->Close();
        if (m_columns) WrappedCodec<Codec>::setColumnRange(*m_columns, m_tiles);
        return maps;
    }

    bool m_asMeasured = false;
    std::optional<ColumnRange> m_columns;  // none: all
    std::shared_ptr<const CL3TileTable> m_tiles;
};

/// Colours each point as it is read. Codec is BriskoCodec or BriskoGridCodec.
template <class Codec>
class ActualColorCodec1 : public ColorWrapper<Codec> {
public:
    using ColorWrapper<Codec>::ColorWrapper;

    bool Open(const char* path) override {
        Close();
        this->findGrid();
        if (!this->codec() || !path) return false;
        try {
            m_colorizer = std::make_unique<RvxScanColorizer>(
                folderOf(path), RvxScanColorizer::kCapacity, this->outlines(), this->goesOn());
        } catch (...) {
            return false;
        }
        return this->openMeasured(path, {&m_colorizer, 1});
    }

    void Close() override {
        if (this->codec()) this->codec()->Close();
        m_colorizer.reset();
    }

    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        return this->codec() &&
               this->codec()->ReadFirstPoint(x, y, z, intensity, red, green, blue, alpha) &&
               colour(x, y, z, red, green, blue);
    }

    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        return this->codec() &&
               this->codec()->ReadNextPoint(x, y, z, intensity, red, green, blue, alpha) &&
               colour(x, y, z, red, green, blue);
    }

protected:
    /// Colours a measured point and takes it to where it is delivered. Always true: a point that
    /// cannot be coloured keeps the colour that it came with.
    bool colour(double& x, double& y, double& z, std::uint8_t& red, std::uint8_t& green,
                std::uint8_t& blue) {
        if (m_colorizer) {
            try {
                std::int32_t r = 0, g = 0, b = 0;
                m_colorizer->getColor(x, y, z, r, g, b);
                red = static_cast<std::uint8_t>(r);
                green = static_cast<std::uint8_t>(g);
                blue = static_cast<std::uint8_t>(b);
            } catch (...) {
                // The point is worth more than its colour.
            }
        }
        this->place(x, y, z);
        return true;
    }

private:
    std::unique_ptr<RvxScanColorizer> m_colorizer;
};

/// The same with the grid calls.
class ActualColorGridCodec1 : public ActualColorCodec1<BriskoGridCodec> {
public:
    using ActualColorCodec1<BriskoGridCodec>::ActualColorCodec1;

    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        if (grid()) grid()->GetGridSize(columns, rows, tileSize);
    }

    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        return grid() &&
               grid()->ReadFirstGridPoint(x, y, z, intensity, red, green, blue, alpha, column,
                                          row) &&
               colour(x, y, z, red, green, blue);
    }

    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        return grid() &&
               grid()->ReadNextGridPoint(x, y, z, intensity, red, green, blue, alpha, column,
                                         row) &&
               colour(x, y, z, red, green, blue);
    }
};

/// Colours points that were read ahead, on the threads of a job. Codec is BriskoCodec, BriskoGridCodec or the
/// facade of a format.
template <class Codec>
class ActualColorCodec8 : public ColorWrapper<Codec>, public BatchSource {
public:
    /// Takes the codec over; a null one gives a wrapper that never opens. The buffers are made with
    /// the wrapper, and stand beside it because of their size.
    ActualColorCodec8(BriskoCodec* codec, std::unique_ptr<ReadAhead> readAhead) noexcept
        : ColorWrapper<Codec>(codec), m_readAhead(std::move(readAhead)) {}

    bool Open(const char* path) override {
        Close();
        this->findGrid();
        if (!this->codec() || !path) return false;
        try {
            m_readAhead->start(*this->codec(), folderOf(path), this->outlines(), this->goesOn());
        } catch (...) {
            m_readAhead->stop();
            return false;
        }
        return this->openMeasured(path, m_readAhead->handles());
    }

    void Close() override {
        m_readAhead->stop();
        if (this->codec()) this->codec()->Close();
    }

    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        return ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
    }

    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override {
        unsigned column = 0, row = 0;
        return take(x, y, z, intensity, red, green, blue, alpha, column, row);
    }

    /// The pass goes on where it is; it cannot be started again.
    bool startPass() override { return true; }

    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) override {
        const PointArraysWriter out(arrays);
        std::size_t count = 0;
        while (count < capacity && m_readAhead->hasPoint()) {
            const std::size_t run = std::min(capacity - count, m_readAhead->available());
            for (std::size_t i = 0; i < run; ++i)
                copy(m_readAhead->position() + i, out, count + i);
            m_readAhead->advance(run);
            count += run;
        }
        return count;
    }

protected:
    bool take(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
              std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha, unsigned& column,
              unsigned& row) {
        if (!m_readAhead->hasPoint()) return false;
        const PointBuffer& buffer = m_readAhead->buffer();
        const std::size_t i = m_readAhead->position();
        x = buffer.positions[3 * i];
        y = buffer.positions[3 * i + 1];
        z = buffer.positions[3 * i + 2];
        this->place(x, y, z);
        intensity = buffer.intensities[i];
        red = buffer.colours[3 * i];
        green = buffer.colours[3 * i + 1];
        blue = buffer.colours[3 * i + 2];
        alpha = 255;
        column = buffer.columns[i];
        row = buffer.rows[i];
        m_readAhead->advance(1);
        return true;
    }

private:
    void copy(std::size_t from, const PointArraysWriter& out, std::size_t to) const {
        const PointBuffer& buffer = m_readAhead->buffer();
        double x = buffer.positions[3 * from], y = buffer.positions[3 * from + 1],
               z = buffer.positions[3 * from + 2];
        this->place(x, y, z);
        out.put(to, x, y, z, buffer.intensities[from]);
        out.putColour(to, buffer.colours[3 * from], buffer.colours[3 * from + 1],
                      buffer.colours[3 * from + 2]);
        out.putCell(to, buffer.columns[from], buffer.rows[from]);
    }

    std::unique_ptr<ReadAhead> m_readAhead;  // goes first: its workers are joined with it
};

/// The same with the grid calls.
template <class Codec>
class ActualColorGridCodec8 : public ActualColorCodec8<Codec> {
public:
    using ActualColorCodec8<Codec>::ActualColorCodec8;

    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override {
        if (this->grid()) this->grid()->GetGridSize(columns, rows, tileSize);
    }

    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override {
        return this->take(x, y, z, intensity, red, green, blue, alpha, column, row);
    }

    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override {
        return this->take(x, y, z, intensity, red, green, blue, alpha, column, row);
    }
};

}  // namespace brisko

using brisko::ActualColorCodec1;
using brisko::ActualColorCodec8;
using brisko::ActualColorGridCodec1;
using brisko::ActualColorGridCodec8;

using brisko::ReadAhead;

namespace {

/// A wrapper with its buffers, or null when there is no memory for both.
template <class Wrapper>
Wrapper* readingAhead(BriskoCodec* codec) {
    std::unique_ptr<ReadAhead> readAhead(new (std::nothrow) ReadAhead);
    if (!readAhead) return nullptr;
    return new (std::nothrow) Wrapper(codec, std::move(readAhead));
}

/// The same around a new reader.
template <class Wrapper>
Wrapper* readingAheadOf(BriskoCodec* reader) {
    if (!reader) return nullptr;
    Wrapper* const wrapper = readingAhead<Wrapper>(reader);
    if (!wrapper) BriskoCodec::Destroy(reader);
    return wrapper;
}

}  // namespace

ColorCodecCreator& ColorCodecCreator::operator=(const ColorCodecCreator&) = default;
ColorCodecCreator& ColorCodecCreator::operator=(ColorCodecCreator&&) noexcept = default;

BriskoCodec* ColorCodecCreator::CreateCodec(BriskoCodec* codec, bool readAhead) {
    if (readAhead) return readingAhead<ActualColorCodec8<BriskoCodec>>(codec);
    return new (std::nothrow) ActualColorCodec1<BriskoCodec>(codec);
}

BriskoGridCodec* ColorCodecCreator::CreateGridCodec(BriskoGridCodec* codec, bool readAhead) {
    if (readAhead) return readingAhead<ActualColorGridCodec8<BriskoGridCodec>>(codec);
    return new (std::nothrow) ActualColorGridCodec1(codec);
}

CL3Codec* ColorCodecCreator::CreateCL3Codec() {
    return readingAheadOf<ActualColorCodec8<CL3Codec>>(CL3Codec::Create());
}
CL3GridCodec* ColorCodecCreator::CreateCL3GridCodec() {
    return readingAheadOf<ActualColorGridCodec8<CL3GridCodec>>(CL3GridCodec::Create());
}
CLRCodec* ColorCodecCreator::CreateCLRCodec() {
    return readingAheadOf<ActualColorCodec8<CLRCodec>>(CLRCodec::Create());
}
CLRGridCodec* ColorCodecCreator::CreateCLRGridCodec() {
    return readingAheadOf<ActualColorGridCodec8<CLRGridCodec>>(CLRGridCodec::Create());
}

namespace brisko {

bool setPhotoOutlines(BriskoCodec& codec, PhotoOutlines outlines) {
    auto* const chooser = dynamic_cast<PhotoChooser*>(&codec);
    if (chooser) chooser->setOutlines(outlines);
    return chooser != nullptr;
}

bool setPhotoOcclusion(BriskoCodec& codec, bool isHidden) {
    auto* const chooser = dynamic_cast<PhotoChooser*>(&codec);
    if (chooser) chooser->setOcclusion(isHidden);
    return chooser != nullptr;
}

bool setColourOpenProgress(BriskoCodec& codec, ColourOpenProgress progress) {
    auto* const chooser = dynamic_cast<PhotoChooser*>(&codec);
    if (chooser) chooser->setProgress(std::move(progress));
    return chooser != nullptr;
}

}  // namespace brisko
