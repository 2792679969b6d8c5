#pragma once

#include "simulator/photo_plan.h"
#include "simulator/stations.h"

#include <brisko_scan/progress.h>
#include <brisko_scan/staged_scan.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace brisko::simulator {

/// The photos of a station and their calibration, on the disk. Nothing appears before commit().
class PhotoOutput {
public:
    /// Both folders must be there. Throws ScanError(NotWritten) when a file cannot be written, is there
    /// already and may not be replaced, or one would be taken for a part of the station.
    PhotoOutput(const PhotoPlan& plan, const std::string& projectFolder,
                const std::string& scanFolder, bool mayOverwrite);

    /// Takes the photos; one at a time is kept in memory. Throws ScanError: NotWritten, Cancelled.
    void write(const Station& station, const scan::ProgressFunction& function);
    /// Puts everything in place: the calibration, then the photos.
    void commit();

    /// Of the photos' files.
    std::uint64_t bytes() const { return m_bytes; }

private:
    struct Output {
        std::string path;  // for messages
        std::unique_ptr<scan::StagedScan> staged;
    };

    Output stage(const std::string& path) const;
    void addCalibration(const std::string& folder, const std::vector<CalibrationBytes>& files);

    const PhotoPlan& m_plan;
    bool m_mayOverwrite;
    std::vector<Output> m_calibration;
    std::vector<Output> m_photos;
    std::uint64_t m_bytes = 0;
};

}  // namespace brisko::simulator
