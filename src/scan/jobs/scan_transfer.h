#pragma once

#include "scan/formats/angle_estimate.h"
#include "scan/formats/scan_input.h"
#include "scan/formats/scan_output.h"
#include "scan/jobs/grid_part.h"
#include "scan/jobs/output_choice.h"
#include "scan/jobs/point_filter.h"

#include <brisko_codec/cell_reader.h>
#include <brisko_scan/convert.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brisko::scan {

/// What an input becomes.
enum class Destination {
    Scan,   // a scan of its own
    Cloud,  // a part of a cloud, whose points are not told apart by cells
};

/// What came of the points of an input.
struct TransferCount {
    std::uint64_t points = 0;
    std::uint64_t coloured = 0;
    LeftOut leftOut;
};

/// Of all that an output has taken so far.
TransferCount countIn(const ScanOutput& output);

/// Brings one input into an output: which of its points, in which frame and order, and what the user
/// should know of it.
class ScanTransfer {
public:
    /// options: must outlive the transfer. task: how the progress names it.
    /// Throws ScanError(Request) where the output cannot hold what is asked for.
    ScanTransfer(const ConvertOptions& options, std::unique_ptr<ScanInput> input, const char* task,
                 Destination destination = Destination::Scan);

    const ScanInfo& info() const { return m_input->info(); }
    const OutputChoice& choice() const { return m_choice; }

    /// A header of a few bytes can claim a grid of any size: throws ScanError where the input gives no
    /// reason to write so much, or the disk has no room.
    void requireSize() const;
    /// What the output is to be.
    ///   path       where to write
    ///   hasColour  whether it stores colours; where that is not known, the points may be looked at
    OutputTarget makeTarget(const std::string& path, std::optional<bool> hasColour);
    /// The photos beside a native scan, where the output has a place for them, in the frame of the file:
    /// the aligned one, whether or not its points are moved there.
    std::vector<PinholeCamera> photos() const;
    void warnAboutFormat() const;

    /// Writes the points. Throws ScanError.
    /// Returns: what the output has taken of them.
    TransferCount run(ScanOutput& output);
    /// Puts into a finished native file what only its points have shown.
    void completeHeader(const OutputTarget& target) const;
    ///   count   of all points of the input
    ///   remark  of the output
    void warnAboutPoints(const TransferCount& count, const std::string& remark) const;
    /// Where the output has no point of the input.
    void warnOfNothing(const TransferCount& count) const;

private:
    bool isWindow() const { return m_options.columns || m_options.rows || m_window.every > 1; }
    bool estimatesAngles() const {
        return !info().header && m_choice->isNative && m_destination == Destination::Scan;
    }
    Matrix matrix() const { return std::to_array(info().alignment.matrix); }
    GridPart partWithPadding() const;
    PointFilter makeFilter();
    /// Of points that the output has no place for.
    void noteColours(const std::vector<CellPoint>& points);
    void warn(const std::string& text) const;

    const ConvertOptions& m_options;
    const char* m_task;
    Destination m_destination;
    std::unique_ptr<ScanInput> m_input;
    OutputChoice m_choice;
    GridPart m_window;
    bool m_bake = false;
    AngleEstimate m_estimate;
    std::uint64_t m_delivered = 0;
    bool m_losesColour = false;
};

}  // namespace brisko::scan
