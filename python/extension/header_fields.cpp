#include "header_fields.h"

#include "errors.h"
#include "text.h"

#include <string>

namespace brisko::python {
namespace {

namespace py = pybind11;

struct TextField {
    const char* name;
    std::size_t width;  // bytes
    std::string (CLFileHeader::*get)() const;
    void (CLFileHeader::*set)(const std::string&);
};

struct NumberField {
    const char* name;
    float (CLFileHeader::*get)() const;
    void (CLFileHeader::*set)(float);
};

using H = CLFileHeader;

constexpr TextField kTexts[] = {
    {"file_version", 32, &H::GetFileVersion, &H::SetFileVersion},
    {"model", 12, &H::GetModelName, &H::SetModelName},
    {"hardware_version", 4, &H::GetHardwareVersion, &H::SetHardwareVersion},
    {"firmware_version", 4, &H::GetFirmwareVersion, &H::SetFirmwareVersion},
    {"serial_number", 12, &H::GetSerialNumber, &H::SetSerialNumber},
    {"date", 8, &H::GetDate, &H::SetDate},
    {"time", 6, &H::GetTime, &H::SetTime},
};

constexpr NumberField kNumbers[] = {
    {"temperature", &H::GetTemperature, &H::SetTemperature},
    {"pressure", &H::GetPressure, &H::SetPressure},
    {"start_azimuth", &H::GetStartAzimuthAngle, &H::SetStartAzimuthAngle},
    {"stop_azimuth", &H::GetStopAzimuthAngle, &H::SetStopAzimuthAngle},
    {"start_zenith", &H::GetStartZenithAngle, &H::SetStartZenithAngle},
    {"stop_zenith", &H::GetStopZenithAngle, &H::SetStopZenithAngle},
};

py::object textOf(const std::string& padded) {
    return toText(padded.substr(0, padded.find('\0')));
}

void setField(CLRFileHeader& header, const std::string& name, const py::handle& value) {
    for (const TextField& field : kTexts) {
        if (name != field.name) continue;
        const std::string text = py::cast<std::string>(value);
        if (text.size() > field.width) {
            failValue("the header's " + name + " has room for " + std::to_string(field.width) +
                      " bytes");
        }
        return (header.*field.set)(text);
    }
    for (const NumberField& field : kNumbers) {
        if (name == field.name) return (header.*field.set)(py::cast<float>(value));
    }
    failValue("a header has no field \"" + name + "\"");
}

}  // namespace

py::dict toFields(const CLFileHeader& header) {
    py::dict fields;
    for (const TextField& field : kTexts)
        fields[field.name] = textOf((header.*field.get)());
    for (const NumberField& field : kNumbers)
        fields[field.name] = (header.*field.get)();
    return fields;
}

std::shared_ptr<const CLFileHeader> headerWith(const CLFileHeader* base, const py::dict& fields) {
    auto header = std::make_shared<CLRFileHeader>();
    if (base) {
        for (const TextField& field : kTexts)
            ((*header).*field.set)((base->*field.get)());
        for (const NumberField& field : kNumbers)
            ((*header).*field.set)((base->*field.get)());
    }
    for (const auto& [name, value] : fields)
        setField(*header, py::cast<std::string>(name), value);
    return header;
}

}  // namespace brisko::python
