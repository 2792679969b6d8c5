#pragma once

#include <brisko_scan/progress.h>

#include "simulator/scan_output.h"
#include "simulator/scan_plan.h"

#include <array>
#include <string>
#include <vector>

namespace brisko::simulator {

/// A file that stands complete under its name.
struct SimulatedFile {
    std::string path;
    WrittenScan content;
};

/// The photos beside the scan, each in a file.
struct SimulatedPhotos {
    std::size_t count = 0;
    std::uint32_t columns = 0;  // as stored
    std::uint32_t rows = 0;
    std::uint64_t bytes = 0;  // of all their files
};

struct Simulation {
    std::vector<SimulatedFile> files;
    SimulatedPhotos photos;
    std::array<double, 16> pose{};  // from the scanner's frame to the world, row by row
    double seconds = 0;
};

/// Measures and writes everything a plan asks for; all files appear together at the end.
/// Throws ScanError (NotWritten, Cancelled) and then leaves no file.
Simulation simulate(const ScanPlan& plan, const scan::ProgressFunction& function);

}  // namespace brisko::simulator
