#pragma once

#include <brisko_codec/cl3_codec.h>

#include "codec/actual_brisko_codec.h"
#include "codec/batch_source.h"
#include "codec/cl3_record_stream.h"
#include "codec/ij_entry_stream.h"
#include "layouts/records.h"

#include <memory>

namespace brisko {

/// Reads CL3 files, walking the grid index beside the scan in step with the records.
class ActualCL3Codec final : public CL3GridCodec, public ActualBriskoCodec, public BatchSource {
public:
    ActualCL3Codec() = default;
    ~ActualCL3Codec() override;

    /// Lets Open succeed without an index; every point then has column and row 0.
    void makeIndexOptional() { m_indexOptional = true; }
    /// Reads as if there were none, whatever lies beside the scan.
    void ignoreIndex() { m_indexIgnored = m_indexOptional = true; }

    bool Open(const char* path) override;
    void Close() override;
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;
    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override;

    bool Rewind() override;
    CLPoint* NextRecord(unsigned& column, unsigned& row) override;

    /// After the end of a pass: whether records and index entries ended together. Where they do not,
    /// the index is not that of the scan.
    bool endedInStep() const { return m_endedInStep; }

    bool startPass() override { return ActualBriskoCodec::startPass(); }
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) override;

protected:
    std::optional<PointBounds> findBoundsApart(std::size_t threads) override;

private:
    bool openIndex(const char* path);
    void endPass();
    bool startRange(std::uint32_t blocks);
    void compareWithEntry();
    void endOutOfStep();
    const std::uint8_t* takeFromBatch(CL3Record& record, Cell& cell);
    void getColour(const std::uint8_t* in, std::uint8_t& red, std::uint8_t& green,
                   std::uint8_t& blue) const;
    std::size_t takeRecords(const PointArraysWriter& out, std::size_t first, std::size_t capacity);
    std::size_t takeRun(const PointArraysWriter& out, std::size_t first, std::size_t capacity);

    bool m_indexOptional = false;
    bool m_indexIgnored = false;
    FilePtr m_indexFile;
    bool m_walkingIndex = false;
    bool m_endedInStep = true;
    bool m_hasColour = false;
    std::unique_ptr<CLPoint> m_record;
    CL3RecordStream m_records;
    IJEntryStream m_entries;
};

// The short way to the next point, for the usual case: the batch holds one more record, it holds a
// point, and its cell is known without reading on. Otherwise nothing is taken and the general
// protocol of ActualBriskoCodec has to go on. It stands here so that each caller compiles it into
// its own loop.
// Returns the record's bytes, whose colour is still to be taken; null where nothing is taken.
inline const std::uint8_t* ActualCL3Codec::takeFromBatch(CL3Record& record, Cell& cell) {
    const std::uint8_t* const in = m_records.next();
    if (in == m_records.end()) return nullptr;
    decodeCL3Position(in, record);
    if (!isMeasured(record)) return nullptr;
    if (m_walkingIndex) {
        if (!m_entries.advanceInBatch()) return nullptr;
        cell = m_entries.cell();
    }
    m_records.take(in + m_records.recordSize());
    applied().apply(record.x, record.y, record.z);
    return in;
}

inline void ActualCL3Codec::getColour(const std::uint8_t* in, std::uint8_t& red,
                                      std::uint8_t& green, std::uint8_t& blue) const {
    CL3Record record;
    if (m_hasColour) decodeCL3Colour(in, record);
    red = record.red;
    green = record.green;
    blue = record.blue;
}

inline bool ActualCL3Codec::ReadNextPoint(double& x, double& y, double& z, float& intensity,
                                          std::uint8_t& red, std::uint8_t& green,
                                          std::uint8_t& blue, std::uint8_t& alpha) {
    CL3Record record;
    Cell cell;
    const std::uint8_t* const in = takeFromBatch(record, cell);
    if (!in) [[unlikely]] {
        return ActualBriskoCodec::ReadNextPoint(x, y, z, intensity, red, green, blue, alpha);
    }
    x = record.x;
    y = record.y;
    z = record.z;
    intensity = record.intensity;
    getColour(in, red, green, blue);
    alpha = 255;
    return true;
}

/// The reader that CL3Codec::Create makes: a CL3 reader that does without an index where there is none.
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
    /// Its points have no cells.
    bool setColumnRange(const ColumnRange&, std::shared_ptr<const CL3TileTable>) override {
        return false;
    }
    bool startPass() override { return m_reader.startPass(); }
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) override;

private:
    ActualCL3Codec m_reader;
};

}  // namespace brisko
