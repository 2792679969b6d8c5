#pragma once

#include <brisko_codec/cl3_codec.h>

#include "codec/actual_cl3_codec.h"

namespace brisko {

/// The reader behind CL3Codec::Create: a CL3 reader that does without an index where there is none.
class ActualCL3NoIjCodec final : public CL3Codec, public AlignedReader, public BatchSource {
public:
    ActualCL3NoIjCodec();
    ~ActualCL3NoIjCodec() override;

    bool Open(const char* path) override;
    void Close() override;
    std::int64_t GetPointCount() override;
    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override;
    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;

    Alignment alignment() const override { return m_reader.alignment(); }
    Frame frame() const override { return m_reader.frame(); }
    void setFrame(Frame frame) override { m_reader.setFrame(frame); }
    bool deliverAsMeasured() override { return m_reader.deliverAsMeasured(); }
    ReadProblem readProblem() const override { return m_reader.readProblem(); }
    std::uint64_t readErrorCount() const override { return m_reader.readErrorCount(); }
    bool startPass() override { return m_reader.startPass(); }
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) override;

private:
    ActualCL3Codec m_reader;
};

}  // namespace brisko
