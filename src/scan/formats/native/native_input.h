#pragma once

#include "scan/formats/native/scan_layout.h"
#include "scan/formats/scan_input.h"

#include <brisko_codec/codec.h>
#include <brisko_codec/point_batch.h>
#include <brisko_codec/read_problem.h>

namespace brisko::scan {

/// Where the colours of points come from.
enum class ColourSource { Scan, Photos };

/// A CL3 or CLR scan, read by the library many points at a time.
class NativeInput : public ScanInput {
public:
    /// later: the other files of a CLR series, whose blocks are merged with the first one's
    NativeInput(const std::string& path, ColourSource source,
                const std::vector<std::string>& later = {});

    void read(std::vector<CellPoint>& points) override;
    bool readsIntoArrays() const override { return true; }
    std::size_t readInto(const PointArrays& arrays, std::size_t capacity) override;
    void rewind() override;
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_steps; }
    const char* stepUnit() const override;

private:
    struct CodecDestroyer {
        void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
    };

    void takeFacts(ScanLayout layout);
    BriskoCodec* createCodec() const;
    void openCodec();
    [[noreturn]] void failToOpen() const;
    std::size_t readBatch(const PointArrays& arrays, std::size_t capacity);
    void requireWholePass() const;
    void requireFinite(const PointArrays& arrays, std::size_t count) const;
    void countSteps(const PointArrays& arrays, std::size_t count);

    ColourSource m_source;
    std::vector<std::string> m_later;
    std::unique_ptr<BriskoCodec, CodecDestroyer> m_codec;
    std::unique_ptr<PointBatchReader> m_reader;
    bool m_started = false;
    std::uint64_t m_steps = 0;
    std::uint64_t m_done = 0;
    // One batch as the library delivers it.
    std::vector<double> m_positions;
    std::vector<float> m_intensities;
    std::vector<std::uint8_t> m_colours;
    std::vector<std::uint32_t> m_columns;
    std::vector<std::uint32_t> m_rows;
};

}  // namespace brisko::scan
