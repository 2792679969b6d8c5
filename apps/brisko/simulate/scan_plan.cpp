#include "simulate/scan_plan.h"

#include <filesystem>

namespace brisko::tool {

ScanPass ScanPlan::pass(std::uint32_t file, std::uint32_t block) const {
    constexpr std::uint32_t kFlagsInUse = 5;
    const std::uint32_t number = file * blocks + block;
    const std::uint8_t flag =
        flags.empty() ? static_cast<std::uint8_t>(number % kFlagsInUse) : flags[block];
    return {number, flag};
}

std::string ScanPlan::path(std::uint32_t file) const {
    std::string leaf = name;
    if (series > 0) {
        const std::string number = std::to_string(file);
        leaf += "_" + std::string(number.size() < 3 ? 3 - number.size() : 0, '0') + number;
    }
    leaf += format == ScanFormat::CLR ? ".clr" : ".cl3";
    return (std::filesystem::path(folder) / leaf).string();
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
    header.SetPointFormat(pointFormat);
    header.SetBlockCount(blocks);
    return header;
}

}  // namespace brisko::tool
