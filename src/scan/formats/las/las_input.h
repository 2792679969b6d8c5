#pragma once

#include "layouts/alignment_matrix.h"
#include "scan/formats/las/las_reader.h"
#include "scan/formats/scan_input.h"

#include <brisko_scan/check.h>
#include <brisko_scan/inspect.h>

#include <optional>

namespace brisko::scan {

/// A LAS file as a scan. Its points are aligned; files of ours say by which matrix.
class LasInput : public ScanInput {
public:
    LasInput(const std::string& path, const ReadOptions& options);

    void read(std::vector<CellPoint>& points) override;
    void rewind() override { m_reader->rewind(); }
    std::uint64_t stepsDone() const override { return m_reader->done(); }
    std::uint64_t steps() const override { return m_file.header().count; }
    const char* stepUnit() const override { return "points"; }
    std::string remark() const override;

private:
    void takePose();
    void takeGrid(const LasSurvey& survey);
    void requireCells() const;

    LasFile m_file;
    bool m_isScaleKnown;  // of the intensities
    std::unique_ptr<LasReader> m_reader;
    std::optional<AlignmentMatrix> m_toScanner;  // from the aligned frame
};

/// What the header and the records after it say.
ScanReport describeLas(const std::string& path);

/// Everything that reading refuses, and what the header says wrongly of the points.
void checkLas(ScanCheck& check, const ProgressFunction& progress);

}  // namespace brisko::scan
