#pragma once

#include "layouts/layout.h"
#include "simulator/camera_rig.h"
#include "simulator/scanner.h"

#include <brisko_codec/file_header.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace brisko::simulator {

enum class ScanFormat {
    CLR,
    CL3,
    CL3Indexed,
};

/// What is to be simulated, checked and complete.
struct ScanPlan {
    std::string folder;  // with photos, that of the project
    std::string name = "scan";
    std::string scene = "courtyard";
    std::string model = "RVX1000";
    ScanFormat format = ScanFormat::CLR;
    CLRPointFormat pointFormat = CLRPointFormat::Plain;
    std::uint32_t blocks = 1;         // of each file
    std::vector<std::uint8_t> flags;  // of the blocks; empty to go through all of them in turn
    std::uint32_t series = 0;         // numbered files; 0 for a single one without number
    bool alignment = false;
    bool colour = false;
    bool overwrite = false;
    std::optional<PhotoKind> photos;
    std::uint32_t photoDivisor = 1;  // of the camera's columns and rows
    /// Where the scanner stands: x and y of the scene, metres. Its usual place, if it is not given.
    std::optional<std::array<double, 2>> place;
    ScanGrid grid;
    ScannerSettings settings;

    /// A part of the name that would let the scan be taken for one of its own photos, or for what describes how
    /// they were taken; null where there is none.
    const char* partForPhotosAlone() const;
    std::uint32_t files() const { return series == 0 ? 1 : series; }
    /// The pass that is stored in a block of a file.
    ScanPass pass(std::uint32_t file, std::uint32_t block) const;
    /// The folder of the scan; photos lie beside it, their calibration in the folder above.
    std::string scanFolder() const;
    /// The path of a file.
    std::string path(std::uint32_t file) const;
    /// Bytes that all files take at least; what is left out depends on what the scanner sees.
    std::uint64_t leastLength() const;
    /// What a scan of this plan says about itself. Its date is fixed, so that equal plans give equal
    /// bytes.
    CLRFileHeader header() const;
};

}  // namespace brisko::simulator
