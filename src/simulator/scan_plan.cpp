#include "simulator/scan_plan.h"

#include "layouts/layout.h"

#include <cstdio>
#include <filesystem>

namespace brisko::simulator {

ScanPass ScanPlan::pass(std::uint32_t file, std::uint32_t block) const {
    constexpr std::uint32_t kFlagsInUse = 5;
    const std::uint32_t number = file * blocks + block;
    const std::uint8_t flag =
        flags.empty() ? static_cast<std::uint8_t>(number % kFlagsInUse) : flags[block];
    return {number, flag};
}

const char* ScanPlan::partForPhotosAlone() const {
    for (const char* part : {".jpg", ".JPG", "camera_cfg", "CAMERA_CFG"}) {
        if (name.find(part) != std::string::npos) return part;
    }
    return nullptr;
}

std::string ScanPlan::scanFolder() const {
    return photos ? (std::filesystem::path(folder) / name).string() : folder;
}

std::string ScanPlan::path(std::uint32_t file) const {
    std::string leaf = name;
    if (series > 0) {
        char number[16];
        std::snprintf(number, sizeof number, "_%03u", file);
        leaf += number;
    }
    leaf += format == ScanFormat::CLR ? ".clr" : ".cl3";
    return (std::filesystem::path(scanFolder()) / leaf).string();
}

std::uint64_t ScanPlan::leastLength() const {
    constexpr std::uint64_t kShortestCompressedRecord = 6;
    switch (format) {
        case ScanFormat::CL3:
            return 0;
        case ScanFormat::CL3Indexed:
            return grid.tiles() * ijTileBytes(kTileSize);
        default:
            break;
    }
    const std::uint64_t record =
        pointFormat == CLRPointFormat::Compressed ? kShortestCompressedRecord : clr_record::kSize;
    return files() * std::uint64_t{blocks} * grid.cells() * record;
}

CLRFileHeader ScanPlan::header() const {
    CLRFileHeader header;
    header.SetFileVersion("CLR_0.7");
    header.SetModelName(model);
    header.SetHardwareVersion("1.0");
    header.SetFirmwareVersion("1.0");
    header.SetSerialNumber("SIM000000001");
    header.SetDate("20240501");
    header.SetTime("120000");
    header.SetTemperature(20);
    header.SetPressure(1013.25f);
    header.SetStartAzimuthAngle(grid.startAzimuth);
    header.SetStopAzimuthAngle(grid.stopAzimuth);
    header.SetStartZenithAngle(grid.startZenith);
    header.SetStopZenithAngle(grid.stopZenith);
    header.SetAzimuthResolution(static_cast<int>(grid.columns));
    header.SetZenithResolution(static_cast<int>(grid.rows));
    header.SetPointFormat(static_cast<std::uint8_t>(pointFormat));
    header.SetBlockCount(blocks);
    return header;
}

}  // namespace brisko::simulator
