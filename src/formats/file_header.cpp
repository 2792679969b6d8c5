#include <brisko_codec/file_header.h>

#include "base/checked.h"
#include "base/file.h"
#include "layouts/field_io.h"

#include <cmath>
#include <limits>

using brisko::FieldReader;
using brisko::writeField;

/// The order of the fields on disk, once for reading and writing. Between identity and
/// conditions CLR has two blank bytes; after conditions each format adds resolutions and blocks.
struct CLFileHeader::Layout {
    template <class Header, class Visit>
    static void identity(Header& header, const Visit& visit) {
        visit(header.m_fileVersion);      // offset  0
        visit(header.m_modelName);        //        32
        visit(header.m_hardwareVersion);  //        44
        visit(header.m_firmwareVersion);  //        48
        visit(header.m_serialNumber);     //        52
        visit(header.m_date);             //        64
        visit(header.m_time);             //        72, 6 bytes
    }

    // Deliberate: the start angles stand together on disk, then the stop angles.
    template <class Header, class Visit>
    static void conditions(Header& header, const Visit& visit) {
        visit(header.m_temperature);  // offset 78 in CL3, 80 in CLR
        visit(header.m_pressure);
        visit(header.m_startAzimuthAngle);
        visit(header.m_startZenithAngle);
        visit(header.m_stopAzimuthAngle);
        visit(header.m_stopZenithAngle);
    }
};

// Copies and moves are here, not in the headers: hosts find them in the library.
GridFileHeader::GridFileHeader() = default;
GridFileHeader::GridFileHeader(const GridFileHeader&) = default;
GridFileHeader::GridFileHeader(GridFileHeader&&) noexcept = default;
GridFileHeader& GridFileHeader::operator=(const GridFileHeader&) = default;
GridFileHeader& GridFileHeader::operator=(GridFileHeader&&) noexcept = default;
GridFileHeader::~GridFileHeader() = default;

CLFileHeader::CLFileHeader() = default;
CLFileHeader::CLFileHeader(const CLFileHeader&) = default;
CLFileHeader::CLFileHeader(CLFileHeader&&) noexcept = default;
CLFileHeader& CLFileHeader::operator=(const CLFileHeader&) = default;
CLFileHeader& CLFileHeader::operator=(CLFileHeader&&) noexcept = default;
CLFileHeader::~CLFileHeader() = default;

CL3FileHeader::CL3FileHeader() = default;
CL3FileHeader::CL3FileHeader(const CL3FileHeader&) = default;
CL3FileHeader::CL3FileHeader(CL3FileHeader&&) noexcept = default;
CL3FileHeader& CL3FileHeader::operator=(const CL3FileHeader&) = default;
CL3FileHeader& CL3FileHeader::operator=(CL3FileHeader&&) noexcept = default;
CL3FileHeader::~CL3FileHeader() = default;

CLRFileHeader::CLRFileHeader() = default;
CLRFileHeader::CLRFileHeader(const CLRFileHeader&) = default;
CLRFileHeader::CLRFileHeader(CLRFileHeader&&) noexcept = default;
CLRFileHeader& CLRFileHeader::operator=(const CLRFileHeader&) = default;
CLRFileHeader& CLRFileHeader::operator=(CLRFileHeader&&) noexcept = default;
CLRFileHeader::~CLRFileHeader() = default;

bool CLFileHeader::Read(const char* path) {
    const brisko::FilePtr file = brisko::openFile(path, "rb");
    if (!file) return false;
    Read(file.get());
    return std::ferror(file.get()) == 0;
}

void CLFileHeader::Read(std::FILE* stream) {
    if (!stream) return;
    const FieldReader read(stream);
    Layout::identity(*this, read);
    if (read.sawNoError()) ReadBlanks(stream);
    Layout::conditions(*this, read);
    if (read.sawNoError()) ReadResolutions(stream);
    if (read.sawNoError()) ReadBlocks(stream);
}

void CLFileHeader::Write(std::FILE* stream) const {
    if (!stream) return;
    const auto write = [stream](const auto& field) { writeField(stream, field); };
    Layout::identity(*this, write);
    WriteBlanks(stream);
    Layout::conditions(*this, write);
    WriteResolutions(stream);
    WriteBlocks(stream);
}

void CLFileHeader::ReadBlanks(std::FILE*) {
}
void CLFileHeader::WriteBlanks(std::FILE*) const {
}
void CLFileHeader::ReadBlocks(std::FILE* stream) {
    const FieldReader read(stream);
    read(m_blockCount);
}
void CLFileHeader::WriteBlocks(std::FILE* stream) const {
    writeField(stream, m_blockCount);
}

namespace {

template <std::size_t Width>
std::string wholeWidth(const std::array<char, Width>& field) {
    return {field.data(), field.size()};
}

/// Up to the value's first NUL or the field's width; the rest of the field becomes NUL.
template <std::size_t Width>
void assign(std::array<char, Width>& field, const std::string& value) {
    field.fill('\0');
    value.substr(0, value.find('\0')).copy(field.data(), field.size());
}

}  // namespace

std::string CLFileHeader::GetFileVersion() const {
    return wholeWidth(m_fileVersion);
}
std::string CLFileHeader::GetModelName() const {
    return wholeWidth(m_modelName);
}
std::string CLFileHeader::GetHardwareVersion() const {
    return wholeWidth(m_hardwareVersion);
}
std::string CLFileHeader::GetFirmwareVersion() const {
    return wholeWidth(m_firmwareVersion);
}
std::string CLFileHeader::GetSerialNumber() const {
    return wholeWidth(m_serialNumber);
}
std::string CLFileHeader::GetDate() const {
    return wholeWidth(m_date);
}
std::string CLFileHeader::GetTime() const {
    return wholeWidth(m_time);
}
float CLFileHeader::GetTemperature() const {
    return m_temperature;
}
float CLFileHeader::GetPressure() const {
    return m_pressure;
}
float CLFileHeader::GetStartAzimuthAngle() const {
    return m_startAzimuthAngle;
}
float CLFileHeader::GetStopAzimuthAngle() const {
    return m_stopAzimuthAngle;
}
float CLFileHeader::GetStartZenithAngle() const {
    return m_startZenithAngle;
}
float CLFileHeader::GetStopZenithAngle() const {
    return m_stopZenithAngle;
}
std::uint8_t CLFileHeader::GetPointFormat() const {
    return m_pointFormat;
}
std::uint32_t CLFileHeader::GetBlockCount() const {
    return m_blockCount;
}

void CLFileHeader::SetFileVersion(const std::string& v) {
    assign(m_fileVersion, v);
}
void CLFileHeader::SetModelName(const std::string& name) {
    assign(m_modelName, name);
}
void CLFileHeader::SetHardwareVersion(const std::string& v) {
    assign(m_hardwareVersion, v);
}
void CLFileHeader::SetFirmwareVersion(const std::string& v) {
    assign(m_firmwareVersion, v);
}
void CLFileHeader::SetSerialNumber(const std::string& number) {
    assign(m_serialNumber, number);
}
void CLFileHeader::SetDate(const std::string& date) {
    assign(m_date, date);
}
void CLFileHeader::SetTime(const std::string& time) {
    assign(m_time, time);
}
void CLFileHeader::SetTemperature(float temperature) {
    m_temperature = temperature;
}
void CLFileHeader::SetPressure(float pressure) {
    m_pressure = pressure;
}
void CLFileHeader::SetStartAzimuthAngle(float angle) {
    m_startAzimuthAngle = angle;
}
void CLFileHeader::SetStopAzimuthAngle(float angle) {
    m_stopAzimuthAngle = angle;
}
void CLFileHeader::SetStartZenithAngle(float angle) {
    m_startZenithAngle = angle;
}
void CLFileHeader::SetStopZenithAngle(float angle) {
    m_stopZenithAngle = angle;
}
void CLFileHeader::SetPointFormat(std::uint8_t format) {
    m_pointFormat = format;
}
void CLFileHeader::SetBlockCount(std::uint32_t count) {
    m_blockCount = count;
}

float CLFileHeader::CalculateDeltaAngle(float start, float stop, int count) {
    const float step = (stop - start) / static_cast<float>(count);
    return static_cast<float>(std::fabs(static_cast<double>(step)));
}

int CLFileHeader::CalculateResolution(float start, float stop, float step) {
    const float intervals = std::fabs((stop - start) / step);
    if (!std::isfinite(intervals)) return 0;
    return brisko::truncateToI32(std::floor(intervals + 0.5F));
}

// The step angles of CL3 are stored, the resolutions follow from them.

std::size_t CL3FileHeader::GetAzimuthResolution() const {
    return static_cast<std::size_t>(
        CalculateResolution(GetStartAzimuthAngle(), GetStopAzimuthAngle(), m_deltaAzimuthAngle));
}

std::size_t CL3FileHeader::GetZenithResolution() const {
    return static_cast<std::size_t>(
        CalculateResolution(GetStartZenithAngle(), GetStopZenithAngle(), m_deltaZenithAngle));
}

float CL3FileHeader::GetDeltaAzimuthAngle() const {
    return m_deltaAzimuthAngle;
}
float CL3FileHeader::GetDeltaZenithAngle() const {
    return m_deltaZenithAngle;
}
void CL3FileHeader::SetDeltaAzimuthAngle(float angle) {
    m_deltaAzimuthAngle = angle;
}
void CL3FileHeader::SetDeltaZenithAngle(float angle) {
    m_deltaZenithAngle = angle;
}

void CL3FileHeader::ReadResolutions(std::FILE* stream) {
    const FieldReader read(stream);
    read(m_deltaAzimuthAngle);  // offset 102
    read(m_deltaZenithAngle);   //        106
}

void CL3FileHeader::WriteResolutions(std::FILE* stream) const {
    writeField(stream, m_deltaAzimuthAngle);
    writeField(stream, m_deltaZenithAngle);
}

void CL3FileHeader::ReadBlocks(std::FILE* stream) {
    const FieldReader read(stream);
    read(m_blockCount);   // offset 110
    read(m_pointFormat);  //        114, one byte
}

void CL3FileHeader::WriteBlocks(std::FILE* stream) const {
    writeField(stream, m_blockCount);
    writeField(stream, m_pointFormat);
}

// The resolutions of CLR are stored, the step angles follow from them.

std::size_t CLRFileHeader::GetAzimuthResolution() const {
    return static_cast<std::size_t>(m_azimuthResolution);
}

std::size_t CLRFileHeader::GetZenithResolution() const {
    return static_cast<std::size_t>(m_zenithResolution);
}

float CLRFileHeader::GetDeltaAzimuthAngle() const {
    return CalculateDeltaAngle(GetStartAzimuthAngle(), GetStopAzimuthAngle(), m_azimuthResolution);
}

float CLRFileHeader::GetDeltaZenithAngle() const {
    return CalculateDeltaAngle(GetStartZenithAngle(), GetStopZenithAngle(), m_zenithResolution);
}

void CLRFileHeader::SetAzimuthResolution(int columns) {
    m_azimuthResolution = columns;
}
void CLRFileHeader::SetZenithResolution(int rows) {
    m_zenithResolution = rows;
}

void CLRFileHeader::ReadBlanks(std::FILE* stream) {
    const FieldReader read(stream);
    std::array<char, 2> blanks{};
    read(blanks);  // offset 78
}

void CLRFileHeader::WriteBlanks(std::FILE* stream) const {
    writeField(stream, std::array<char, 2>{});
}

void CLRFileHeader::ReadResolutions(std::FILE* stream) {
    const FieldReader read(stream);
    read(m_azimuthResolution);  // offset 104
    read(m_zenithResolution);   //        108
}

void CLRFileHeader::WriteResolutions(std::FILE* stream) const {
    writeField(stream, m_azimuthResolution);
    writeField(stream, m_zenithResolution);
}

void CLRFileHeader::ReadBlocks(std::FILE* stream) {
    const FieldReader read(stream);
    // Four bytes on disk, of which only the lowest counts.
    std::uint32_t format = m_pointFormat;
    read(format);  // offset 112
    m_pointFormat = static_cast<std::uint8_t>(format & 0xFF);
    read(m_blockCount);  //   116
}

void CLRFileHeader::WriteBlocks(std::FILE* stream) const {
    writeField(stream, static_cast<std::uint32_t>(m_pointFormat));
    writeField(stream, m_blockCount);
}
