#pragma once

#include "codec/batch_source.h"
#include "decorators/color_wrapper.h"
#include "decorators/read_ahead.h"
#include "rvx_scan_colorizer/folder_listing.h"

#include <algorithm>
#include <memory>

namespace brisko {

/// Colours points that were read ahead, on four threads. Codec is BriskoCodec, BriskoGridCodec or the
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
            m_readAhead->start(*this->codec(), folderOf(path), this->outlines());
        } catch (...) {
            m_readAhead->stop();
            return false;
        }
        return this->openWrapped(path);
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
