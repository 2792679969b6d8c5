#pragma once

#include "base/ordered_work.h"
#include "layouts/alignment_matrix.h"
#include "scan/formats/las/las_reader.h"
#include "scan/formats/scan_input.h"

#include <brisko_scan/check.h>
#include <brisko_scan/inspect.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace brisko::scan {

/// A LAS file as a scan. Its points are aligned; files of ours say by which matrix.
class LasInput : public ScanInput {
public:
    LasInput(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override;
    void rewind() override;
    std::uint64_t stepsDone() const override { return m_done; }
    std::uint64_t steps() const override { return m_file.header().count; }
    const char* stepUnit() const override { return "points"; }
    std::string remark() const override;

private:
    struct Piece {
        std::uint64_t first = 0;  // of its records
        std::size_t count = 0;
        std::vector<std::uint8_t> bytes;
        std::vector<CellPoint> points;
        LasLargest largest;
    };

    bool fetch(Piece& piece);
    void decode(Piece& piece) const;
    void takePose();
    void takeGrid(const LasSurvey& survey);
    bool isInGrid(const LasLargest& largest) const;
    [[noreturn]] void failOutside(const Piece& piece) const;

    LasFile m_file;
    bool m_isScaleKnown;  // of the intensities
    std::optional<LasDecoder> m_decoder;
    std::optional<AlignmentMatrix> m_toScanner;  // from the aligned frame
    std::uint64_t m_done = 0;                    // records
    LasLargest m_largest;                        // of them
    InputFile m_records;
    std::uint64_t m_fetched = 0;
    PiecesAhead<Piece> m_pieces;
};

/// What the header and the records after it say.
ScanReport describeLas(const std::string& path);

/// Everything that reading refuses, and what the header says wrongly of the points.
void checkLas(ScanCheck& check, const ProgressFunction& progress);

}  // namespace brisko::scan
