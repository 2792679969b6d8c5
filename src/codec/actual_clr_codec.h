#pragma once

#include <brisko_codec/clr_codec.h>

#include "codec/actual_brisko_codec.h"
#include "codec/batch_source.h"
#include "codec/clr_cells.h"
#include "codec/ij_entry_stream.h"

#include <functional>
#include <memory>
#include <vector>

namespace brisko {

/// Reads CLR files: the cells of the grid line by line, all blocks merged.
class ActualCLRCodec final : public CLRGridCodec, public ActualBriskoCodec, public BatchSource {
public:
    ActualCLRCodec() = default;
    ~ActualCLRCodec() override;

    /// Reads more files after the one that Open is given, as one scan.
    void addLaterFiles(const std::vector<std::string>& paths) { m_later = paths; }

    /// Lets passes that are limited to a range of columns start at every n-th one without a way through all
    /// before. False where the scan is not sound as far as that shows.
    ///   between  called often, and may throw
    bool findLines(std::uint32_t n, const std::function<void()>& between);
    /// The same with what another reader of the same scan has found.
    void takeLines(const ActualCLRCodec& other) { m_pieces = other.m_pieces; }

    bool Open(const char* path) override;
    void Close() override;
    bool ReadNextPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                       std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha) override;
    bool ReadNextGridPoint(double& x, double& y, double& z, float& intensity, std::uint8_t& red,
                           std::uint8_t& green, std::uint8_t& blue, std::uint8_t& alpha,
                           unsigned& column, unsigned& row) override;

    bool Rewind() override;
    CLPoint* NextRecord(unsigned& column, unsigned& row) override;

    bool startPass() override { return ActualBriskoCodec::startPass(); }
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity) override;

protected:
    std::optional<PointBounds> findBoundsApart(std::size_t threads) override;

private:
    struct Point {
        double x = 0, y = 0, z = 0;
        float intensity = 0;
        Cell cell;
    };

    bool openLaterFiles();
    std::vector<CLRSource> findSources();
    void takeGrid(const CLRFileHeader& header);
    void stopPass();
    bool takeFromStretch(Point& point);
    bool nextStretch();
    Cell cellOf(const RawRecord* record) const;

    std::vector<FilePtr> m_laterFiles;
    std::shared_ptr<const PieceTable> m_pieces;  // of compressed lines; null where not looked for
    std::unique_ptr<CLRCells> m_cells;
    bool m_turnsOddLines = true;     // whether odd columns are stored from their last row up
    std::uint32_t m_lineLength = 0;  // records in a line

    // A stretch: the part of a run that lies in one line.
    const RawRecord* m_stretch = nullptr;
    const RawRecord* m_next = nullptr;
    const RawRecord* m_stretchEnd = nullptr;
    const RawRecord* m_runEnd = nullptr;
    std::uint32_t m_column = 0;
    std::uint32_t m_stretchRow = 0;  // stored row of the stretch's first record

    CLRPoint m_record;
};

}  // namespace brisko
