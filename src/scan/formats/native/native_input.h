#pragma once

#include "base/ordered_work.h"
#include "scan/formats/native/scan_layout.h"
#include "scan/formats/scan_input.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/column_range.h>
#include <brisko_codec/point_batch.h>
#include <brisko_codec/read_problem.h>
#include <brisko_scan/scan_reader.h>

namespace brisko::scan {

/// A CL3 or CLR scan, read by the library many points at a time.
class NativeInput : public ScanInput {
public:
    /// later: the other files of a CLR series, whose blocks are merged with the first one's
    explicit NativeInput(const std::string& path, const ReadOptions& options = {},
                         const std::vector<std::string>& later = {});

    void read(std::vector<CellPoint>& points) override;
    bool readsIntoArrays() const override { return true; }
    std::size_t readInto(const PointArrays& arrays, std::size_t capacity) override;
    void rewind() override;
    void expectPauses() override { m_hasPauses = true; }
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_steps; }
    const char* stepUnit() const override;

private:
    struct CodecDestroyer {
        void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
    };

    /// Some points as the library delivers them.
    struct Batch {
        explicit Batch(std::size_t capacity = 0);
        PointArrays arrays();
        void copyTo(CellPoint* points) const;

        std::vector<double> positions;
        std::vector<float> intensities;
        std::vector<std::uint8_t> colours;
        std::vector<std::uint32_t> columns;
        std::vector<std::uint32_t> rows;
        std::vector<CellPoint> points;  // instead of the arrays, where they are wanted
        std::size_t count = 0;
        std::uint64_t stepsDone = 0;  // after it
    };

    void takeFacts(ScanLayout layout);
    void chooseColumns(const GridRange& columns, const TileTable* table);
    BriskoCodec* createCodec() const;
    void openCodec();
    bool openWithPhotos();
    [[noreturn]] void failToOpen() const;
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity);
    void requireWholePass() const;
    void requireFinite(const PointArrays& arrays, std::size_t count) const;
    std::uint64_t stepsAfter(const PointArrays& arrays, std::size_t count) const;
    bool readArrays(Batch& batch, std::size_t capacity);
    bool readPoints(Batch& batch, std::size_t capacity);
    const Batch* nextBatch(bool asPoints);
    std::size_t readStraight(const PointArrays& arrays, std::size_t capacity);

    ReadOptions m_options;
    std::vector<std::string> m_later;
    std::optional<ColumnRange> m_range;           // of columns that are read; none: all
    std::shared_ptr<const CL3TileTable> m_tiles;  // where columns of an indexed scan begin
    std::unique_ptr<BriskoCodec, CodecDestroyer> m_codec;
    std::unique_ptr<PointBatchReader> m_reader;
    bool m_started = false;
    std::uint64_t m_records = 0;  // of the whole scan
    std::uint64_t m_steps = 0;
    std::uint64_t m_done = 0;
    std::size_t m_threads = 1;
    bool m_hasPauses = false;
    std::uint64_t m_read = 0;                     // steps, in batches that may still wait
    Batch m_own;                                  // on the way to points or to a caller's arrays
    Batch* m_batch = nullptr;                     // that was read ahead
    std::size_t m_taken = 0;                      // points of it
    std::unique_ptr<PiecesAhead<Batch>> m_ahead;  // the last member: it stops before the others go
};

}  // namespace brisko::scan
