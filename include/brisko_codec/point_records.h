#pragma once

#include <brisko_codec/export.h>

#include <cstdint>
#include <cstdio>
#include <memory>

/// A point as it lies on disk. Coordinates are metres in the scanner's frame.
class BRISKO_CODEC_EXPORT CLPoint {
public:
    virtual ~CLPoint();

    CLPoint() = default;
    CLPoint(const CLPoint&) = default;
    CLPoint& operator=(const CLPoint&) = default;

    virtual double GetX() const;
    virtual double GetY() const;
    virtual double GetZ() const;
    virtual float GetIntensity() const;
    virtual std::uint8_t GetRed() const;
    virtual std::uint8_t GetGreen() const;
    virtual std::uint8_t GetBlue() const;
    /// Whether the record holds a measured point.
    virtual bool IsValid() const = 0;
    /// Fills the record from GetSize() bytes of a file.
    virtual void Decode(const std::uint8_t* bytes) = 0;
    /// Reads one record. Fields that the stream cannot supply whole keep their values.
    virtual void Read(std::FILE* stream) = 0;
    /// Bytes of the record on disk.
    virtual std::uint32_t GetSize() const = 0;
};

/// CL3 point format 0, 28 bytes: position and intensity.
class BRISKO_CODEC_EXPORT CL3Point0 : public CLPoint {
public:
    ~CL3Point0() override;

    CL3Point0() = default;
    CL3Point0(const CL3Point0&) = default;
    CL3Point0& operator=(const CL3Point0&) = default;

    double GetX() const override;
    double GetY() const override;
    double GetZ() const override;
    float GetIntensity() const override;
    /// Intensity above 0, or a coordinate that is not 0 (a NaN is not).
    bool IsValid() const override;
    void Decode(const std::uint8_t* bytes) override;
    void Read(std::FILE* stream) override;
    std::uint32_t GetSize() const override;

    /// The reverse of Decode: fills GetSize() bytes.
    void Encode(std::uint8_t* bytes) const;
    void Write(std::FILE* stream) const;

    void SetX(double x) { m_x = x; }
    void SetY(double y) { m_y = y; }
    void SetZ(double z) { m_z = z; }
    void SetIntensity(float intensity) { m_intensity = intensity; }

private:
    double m_x = 0;
    double m_y = 0;
    double m_z = 0;
    float m_intensity = 0;
};

/// CL3 point format 1, 31 bytes: format 0 and a colour.
class BRISKO_CODEC_EXPORT CL3Point1 : public CL3Point0 {
public:
    ~CL3Point1() override;

    CL3Point1() = default;
    CL3Point1(const CL3Point1&) = default;
    CL3Point1& operator=(const CL3Point1&) = default;

    std::uint8_t GetRed() const override;
    std::uint8_t GetGreen() const override;
    std::uint8_t GetBlue() const override;
    void Decode(const std::uint8_t* bytes) override;
    void Read(std::FILE* stream) override;
    std::uint32_t GetSize() const override;

    void Encode(std::uint8_t* bytes) const;
    void Write(std::FILE* stream) const;

    void SetRed(std::uint8_t red) { m_red = red; }
    void SetGreen(std::uint8_t green) { m_green = green; }
    void SetBlue(std::uint8_t blue) { m_blue = blue; }

private:
    std::uint8_t m_red = 0;
    std::uint8_t m_green = 0;
    std::uint8_t m_blue = 0;
};

/// CLR record, 20 bytes: five signed 32-bit values, coordinates in 1/10000 m.
class BRISKO_CODEC_EXPORT CLRPoint : public CLPoint {
public:
    ~CLRPoint() override;

    /// No return: all five values 0.
    CLRPoint();
    /// The five values as they stand on disk.
    CLRPoint(std::int32_t x, std::int32_t y, std::int32_t z, std::int32_t fourth,
             std::int32_t intensity);
    CLRPoint(const CLRPoint&) = default;
    CLRPoint& operator=(const CLRPoint&) = default;

    double GetX() const override;
    double GetY() const override;
    double GetZ() const override;
    float GetIntensity() const override;
    /// Intensity above 0, wherever the point lies.
    bool IsValid() const override;
    void Decode(const std::uint8_t* bytes) override;
    void Read(std::FILE* stream) override;
    std::uint32_t GetSize() const override;

    void Encode(std::uint8_t* bytes) const;
    void Write(std::FILE* stream) const;

    /// Metres to 1/10000 m. Deliberate: one half is added, then the fraction is cut, so that
    /// positive values round to the nearest unit and negative ones come out up to one and a half
    /// units high. Values beyond the 32-bit range saturate; NaN becomes 0.
    void SetX(double x);
    void SetY(double y);
    void SetZ(double z);
    /// Rounded the same way.
    void SetIntensity(float intensity);

private:
    std::int32_t m_x = 0;
    std::int32_t m_y = 0;
    std::int32_t m_z = 0;
    std::int32_t m_fourth = 0;
    std::int32_t m_intensity = 0;
};

namespace brisko {

/// A new record for a CL3 point format: 0 or 1. Null for any other format.
BRISKO_CODEC_EXPORT std::unique_ptr<CLPoint> createCL3Point(std::uint8_t pointFormat);

}  // namespace brisko
