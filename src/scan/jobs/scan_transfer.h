#pragma once

#include "scan/formats/angle_estimate.h"
#include "scan/formats/scan_input.h"
#include "scan/formats/scan_output.h"
#include "scan/jobs/output_choice.h"
#include "scan/jobs/point_filter.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/convert.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::scan {

/// Brings one input into an output: which of its points, in which frame and order, and what the user
/// should know of it.
class ScanTransfer {
public:
    /// options: must outlive the transfer. task: how the progress names it.
    /// Throws ScanError(Request) where the output cannot hold what is asked for.
    ScanTransfer(const ConvertOptions& options, std::unique_ptr<ScanInput> input, const char* task);

    const ScanInfo& info() const { return m_input->info(); }
    const OutputChoice& choice() const { return m_choice; }

    /// A header of a few bytes can claim a grid of any size: throws ScanError where the input gives no
    /// reason to write so much, or the disk has no room.
    void requireSize() const;
    /// What the output is to be; it may take a look at the points' colours.
    ///   path  where to write
    OutputTarget makeTarget(const std::string& path);
    void warnAboutFormat() const;

    /// Writes the points. Throws ScanError.
    void run(ScanOutput& output);
    /// Puts into a finished native file what only its points have shown.
    void completeHeader(const OutputTarget& target) const;
    void warnAboutPoints(const ScanOutput& output) const;

private:
    bool isWindow() const { return m_options.columns || m_options.rows; }
    bool estimatesAngles() const { return !info().header && m_choice->isNative; }
    Matrix matrix() const { return std::to_array(info().alignment.matrix); }
    PointFilter makeFilter() const;
    /// Of points that the output has no place for.
    void noteColours(const std::vector<CellPoint>& points);
    void warn(const std::string& text) const;

    const ConvertOptions& m_options;
    const char* m_task;
    std::unique_ptr<ScanInput> m_input;
    OutputChoice m_choice;
    CellWindow m_window;
    bool m_bake = false;
    AngleEstimate m_estimate;
    std::uint64_t m_delivered = 0;
    bool m_losesColour = false;
};

}  // namespace brisko::scan
