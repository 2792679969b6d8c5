#include <brisko_codec/point_records.h>

#include "layouts/field_io.h"
#include "layouts/records.h"

using namespace brisko;

CLPoint::~CLPoint() = default;
CL3Point0::~CL3Point0() = default;
CL3Point1::~CL3Point1() = default;
CLRPoint::~CLRPoint() = default;

double CLPoint::GetX() const {
    return 0;
}
double CLPoint::GetY() const {
    return 0;
}
double CLPoint::GetZ() const {
    return 0;
}
float CLPoint::GetIntensity() const {
    return 0;
}
std::uint8_t CLPoint::GetRed() const {
    return 0;
}
std::uint8_t CLPoint::GetGreen() const {
    return 0;
}
std::uint8_t CLPoint::GetBlue() const {
    return 0;
}

double CL3Point0::GetX() const {
    return m_x;
}
double CL3Point0::GetY() const {
    return m_y;
}
double CL3Point0::GetZ() const {
    return m_z;
}
float CL3Point0::GetIntensity() const {
    return m_intensity;
}
bool CL3Point0::IsValid() const {
    return isMeasured(m_x, m_y, m_z, m_intensity);
}
std::uint32_t CL3Point0::GetSize() const {
    return cl3_record::kSize0;
}

void CL3Point0::Decode(const std::uint8_t* bytes) {
    CL3Record record;
    decodeCL3Position(bytes, record);
    m_x = record.x;
    m_y = record.y;
    m_z = record.z;
    m_intensity = record.intensity;
}

void CL3Point0::Encode(std::uint8_t* bytes) const {
    encodeCL3Position({.x = m_x, .y = m_y, .z = m_z, .intensity = m_intensity}, bytes);
}

void CL3Point0::Read(std::FILE* stream) {
    if (!stream) return;
    const FieldReader read(stream);
    read(m_x);
    read(m_y);
    read(m_z);
    read(m_intensity);
}

void CL3Point0::Write(std::FILE* stream) const {
    std::uint8_t bytes[cl3_record::kSize0];
    Encode(bytes);
    if (stream) writeField(stream, bytes);
}

std::uint8_t CL3Point1::GetRed() const {
    return m_red;
}
std::uint8_t CL3Point1::GetGreen() const {
    return m_green;
}
std::uint8_t CL3Point1::GetBlue() const {
    return m_blue;
}
std::uint32_t CL3Point1::GetSize() const {
    return cl3_record::kSize1;
}

void CL3Point1::Decode(const std::uint8_t* bytes) {
    CL3Point0::Decode(bytes);
    CL3Record record;
    decodeCL3Colour(bytes, record);
    m_red = record.red;
    m_green = record.green;
    m_blue = record.blue;
}

void CL3Point1::Encode(std::uint8_t* bytes) const {
    CL3Point0::Encode(bytes);
    encodeCL3Colour({.red = m_red, .green = m_green, .blue = m_blue}, bytes);
}

void CL3Point1::Read(std::FILE* stream) {
    if (!stream) return;
    const FieldReader read(stream);
    CL3Point0::Read(stream);
    read(m_red);
    read(m_green);
    read(m_blue);
}

void CL3Point1::Write(std::FILE* stream) const {
    std::uint8_t bytes[cl3_record::kSize1];
    Encode(bytes);
    if (stream) writeField(stream, bytes);
}

CLRPoint::CLRPoint()
    : CLRPoint(toStoredLength(0.0), toStoredLength(0.0), toStoredLength(0.0), 0, 0) {
}

CLRPoint::CLRPoint(std::int32_t x, std::int32_t y, std::int32_t z, std::int32_t fourth,
                   std::int32_t intensity)
    : m_x(x), m_y(y), m_z(z), m_fourth(fourth), m_intensity(intensity) {
}

double CLRPoint::GetX() const {
    return toMetres(m_x);
}
double CLRPoint::GetY() const {
    return toMetres(m_y);
}
double CLRPoint::GetZ() const {
    return toMetres(m_z);
}
float CLRPoint::GetIntensity() const {
    return static_cast<float>(m_intensity);
}
bool CLRPoint::IsValid() const {
    return m_intensity > 0;
}
std::uint32_t CLRPoint::GetSize() const {
    return clr_record::kSize;
}

void CLRPoint::Decode(const std::uint8_t* bytes) {
    const RawRecord record = decodeRawRecord(bytes);
    m_x = record.x;
    m_y = record.y;
    m_z = record.z;
    m_fourth = record.fourth;
    m_intensity = record.intensity;
}

void CLRPoint::Encode(std::uint8_t* bytes) const {
    encodeRawRecord({m_x, m_y, m_z, m_fourth, m_intensity}, bytes);
}

void CLRPoint::Read(std::FILE* stream) {
    if (!stream) return;
    const FieldReader read(stream);
    read(m_x);
    read(m_y);
    read(m_z);
    read(m_fourth);
    read(m_intensity);
}

void CLRPoint::Write(std::FILE* stream) const {
    std::uint8_t bytes[clr_record::kSize];
    Encode(bytes);
    if (stream) writeField(stream, bytes);
}

void CLRPoint::SetX(double x) {
    m_x = toStoredLength(x);
}
void CLRPoint::SetY(double y) {
    m_y = toStoredLength(y);
}
void CLRPoint::SetZ(double z) {
    m_z = toStoredLength(z);
}
void CLRPoint::SetIntensity(float intensity) {
    m_intensity = toStoredIntensity(intensity);
}

std::unique_ptr<CLPoint> brisko::createCL3Point(std::uint8_t pointFormat) {
    switch (CL3PointFormat{pointFormat}) {
        case CL3PointFormat::Plain:
            return std::make_unique<CL3Point0>();
        case CL3PointFormat::Coloured:
            return std::make_unique<CL3Point1>();
    }
    return nullptr;
}
