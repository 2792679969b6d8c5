#pragma once

#include <brisko_codec/codec.h>
#include <brisko_codec/point_records.h>

#include "base/file.h"
#include "base/read_errors.h"
#include "codec/alignment.h"
#include "codec/first_problem.h"
#include "codec/point_bounds.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace brisko {

/// The reading protocol that all formats share. A format supplies two hooks: Rewind starts a pass,
/// NextRecord hands out its records.
class ActualBriskoCodec : public virtual BriskoGridCodec, public AlignedReader {
public:
    ~ActualBriskoCodec() override;

    bool Open(const char* path) override;
    void Close() override;
    void GetBounds(double& minX, double& minY, double& minZ, double& maxX, double& maxY,
                   double& maxZ, std::int64_t& count) override;
    bool ReadFirstPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                        std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;
    void GetGridSize(std::size_t& columns, std::size_t& rows, unsigned& tileSize) override;
    bool ReadFirstGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                            std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                            unsigned& column, unsigned& row) override;
    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override;

    /// Starts a pass at the beginning of the file. The base zeroes the grid size; a format calls it
    /// first. Returns false when the scan cannot be read.
    virtual bool Rewind();
    /// The next record of the pass, measured or not, and its cell. It belongs to the codec. Null at
    /// the end of the data, and before a pass was started.
    virtual CLPoint* NextRecord(unsigned& column, unsigned& row) = 0;

    /// Rewind, with false also when memory runs out.
    bool startPass();

    Alignment alignment() const override;
    Frame frame() const override { return m_frame; }
    void setFrame(Frame frame) override;
    bool deliverAsMeasured() override;
    ReadProblem readProblem() const override { return m_problem.describe(m_path, m_later); }
    std::uint64_t readErrorCount() const override { return m_problem.readErrorCount(); }
    bool setColumnRange(const ColumnRange& columns,
                        std::shared_ptr<const CL3TileTable> tiles) override;

protected:
    std::FILE* stream() const { return m_stream.get(); }
    /// To the start of a file of the scan, for a new pass.
    bool rewindStream(std::FILE* stream);
    /// Reads a header from a stream's position, and notes when that fails.
    template <class Header>
    void readHeader(std::FILE* stream, Header& header) {
        header.Read(stream);
        if (std::ferror(stream) != 0) m_problem.readErrors()->note();
    }
    /// What points go through in the frame that was chosen.
    const AlignmentMatrix& applied() const { return m_applied; }

    /// The bounds of the whole scan by a pass of several threads, each with pieces of its own. The pass is
    /// then at its end. Nothing where that is not worth while, or anything about the scan is unusual: what
    /// becomes of it is decided by a pass from front to back.
    virtual std::optional<PointBounds> findBoundsApart(std::size_t threads) = 0;

    /// Runs what reads on; false, null or 0 when memory runs out. What could not be read is noted as a
    /// problem of the pass.
    template <class Work>
    auto orProblem(Work&& work) {
        const std::uint64_t before = readErrorCount();
        auto answer = orFailure(std::forward<Work>(work), m_problem.readErrors());
        if (readErrorCount() != before) {
            m_problem.note(ReadProblemKind::Unreadable, FirstProblem::kScan, 0);
        }
        return answer;
    }

    std::int32_t m_columns = 0;
    std::int32_t m_rows = 0;
    std::uint32_t m_tileSize = 0;
    std::optional<ColumnRange> m_range;           // of all passes; none: the whole grid
    std::shared_ptr<const CL3TileTable> m_tiles;  // where a range of CL3 begins
    FirstProblem m_problem;
    std::vector<std::string> m_later;  // the later files of a series

private:
    bool openAlignment(const char* path);

    PointBounds findBounds();
    PointBounds findBoundsInOrder();

    FilePtr m_stream;
    std::string m_path;
    AlignmentMatrix m_alignment;
    AlignmentSource m_alignmentSource = AlignmentSource::None;
    AlignmentMatrix chosen() const;

    Frame m_frame = Frame::Aligned;
    bool m_asMeasured = false;
    AlignmentMatrix m_applied;
    PointBounds m_alignedBounds, m_measuredBounds;  // by the frame that they were asked for in
};

}  // namespace brisko
