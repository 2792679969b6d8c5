#include "scan/formats/e57/scanner_header.h"

#include "base/utf8.h"

#include <cmath>

namespace brisko::scan::e57 {
namespace {

struct TextField {
    const char* element;
    std::string (CLFileHeader::*get)() const;
    void (CLFileHeader::*set)(const std::string&);
};

struct NumberField {
    const char* element;
    float (CLFileHeader::*get)() const;
    void (CLFileHeader::*set)(float);
};

constexpr TextField kInstrument[] = {
    {"sensorModel", &CLFileHeader::GetModelName, &CLFileHeader::SetModelName},
    {"sensorSerialNumber", &CLFileHeader::GetSerialNumber, &CLFileHeader::SetSerialNumber},
    {"sensorHardwareVersion", &CLFileHeader::GetHardwareVersion, &CLFileHeader::SetHardwareVersion},
    {"sensorFirmwareVersion", &CLFileHeader::GetFirmwareVersion,
     &CLFileHeader::SetFirmwareVersion}};

constexpr const char* kStructure = "brisko:header";
constexpr TextField kTexts[] = {{"brisko:date", &CLFileHeader::GetDate, &CLFileHeader::SetDate},
                                {"brisko:time", &CLFileHeader::GetTime, &CLFileHeader::SetTime}};
/// Angles in degrees.
constexpr NumberField kNumbers[] = {
    {"brisko:temperature", &CLFileHeader::GetTemperature, &CLFileHeader::SetTemperature},
    {"brisko:pressure", &CLFileHeader::GetPressure, &CLFileHeader::SetPressure},
    {"brisko:startAzimuth", &CLFileHeader::GetStartAzimuthAngle,
     &CLFileHeader::SetStartAzimuthAngle},
    {"brisko:stopAzimuth", &CLFileHeader::GetStopAzimuthAngle, &CLFileHeader::SetStopAzimuthAngle},
    {"brisko:startZenith", &CLFileHeader::GetStartZenithAngle, &CLFileHeader::SetStartZenithAngle},
    {"brisko:stopZenith", &CLFileHeader::GetStopZenithAngle, &CLFileHeader::SetStopZenithAngle}};

void writeText(XmlWriter& xml, const CLFileHeader& header, const TextField& field) {
    const std::string padded = (header.*field.get)();
    const std::string text = padded.substr(0, padded.find('\0'));
    if (isUtf8(text)) xml.text(field.element, text);
}

void readText(const XmlNode& parent, CLFileHeader& header, const TextField& field) {
    if (const XmlNode* const node = parent.child(field.element)) (header.*field.set)(node->text);
}

bool isEmpty(const CLFileHeader& header) {
    for (const NumberField& field : kNumbers) {
        if ((header.*field.get)() != 0) return false;
    }
    return true;
}

}  // namespace

void writeScannerHeader(XmlWriter& xml, const CLFileHeader& header) {
    for (const TextField& field : kInstrument)
        writeText(xml, header, field);
    if (isEmpty(header)) return;
    xml.openStructure(kStructure);
    for (const TextField& field : kTexts)
        writeText(xml, header, field);
    for (const NumberField& field : kNumbers) {
        const float number = (header.*field.get)();
        if (std::isfinite(number)) xml.real(field.element, static_cast<double>(number));
    }
    xml.close();
}

std::shared_ptr<const CLFileHeader> readScannerHeader(const XmlNode& scan) {
    const XmlNode* const structure = scan.child(kStructure);
    if (!structure) return nullptr;
    const auto header = std::make_shared<CLRFileHeader>();
    for (const TextField& field : kInstrument)
        readText(scan, *header, field);
    for (const TextField& field : kTexts)
        readText(*structure, *header, field);
    for (const NumberField& field : kNumbers) {
        const XmlNode* const node = structure->child(field.element);
        if (!node) continue;
        const char* end = nullptr;
        (*header.*field.set)(static_cast<float>(parseDouble(node->text.c_str(), &end)));
    }
    return header;
}

}  // namespace brisko::scan::e57
