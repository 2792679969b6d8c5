#pragma once

#include <brisko_codec/export.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

/// What a writer needs to know of a scan grid. Any class of a host may implement it; the writers
/// take angles, dates and so on from a CLFileHeader and use defaults for everything else.
class BRISKO_CODEC_EXPORT GridFileHeader {
public:
    virtual ~GridFileHeader();

    GridFileHeader();
    GridFileHeader(const GridFileHeader&);
    GridFileHeader(GridFileHeader&&) noexcept;
    GridFileHeader& operator=(const GridFileHeader&);
    GridFileHeader& operator=(GridFileHeader&&) noexcept;

    /// Columns of the grid: azimuth steps, one column per scan line.
    virtual std::size_t GetAzimuthResolution() const = 0;
    /// Rows of the grid: zenith steps within a column.
    virtual std::size_t GetZenithResolution() const = 0;
    /// Loads the header from a file (UTF-8 path). Returns whether the file opened.
    virtual bool Read(const char* path) = 0;
};

/// The fields that CL3 and CLR headers share. A new header has every field zero.
///
/// Text fields have a fixed width and no terminator when full: getters return the whole width, NUL
/// padding included, so GetModelName() of "RVX1000" is 12 characters long and does not compare
/// equal to "RVX1000". Setters copy up to the first NUL or the width, whichever comes first, and
/// pad with NULs.
///
/// Angles written by this library's tools are degrees: azimuth counter-clockwise from +x, zenith
/// from +z. The header itself does not fix a unit.
class BRISKO_CODEC_EXPORT CLFileHeader : public GridFileHeader {
public:
    ~CLFileHeader() override;

    CLFileHeader();
    CLFileHeader(const CLFileHeader&);
    CLFileHeader(CLFileHeader&&) noexcept;
    CLFileHeader& operator=(const CLFileHeader&);
    CLFileHeader& operator=(CLFileHeader&&) noexcept;

    /// Opens the file and reads its header. Returns false, and changes nothing, when the file
    /// cannot be opened; false also after a read error. Fields that a short file does not hold keep
    /// their values.
    bool Read(const char* path) override;

    /// Angle between neighbouring columns, and between neighbouring rows.
    virtual float GetDeltaAzimuthAngle() const = 0;
    virtual float GetDeltaZenithAngle() const = 0;

    /// Reads a header from the stream's position and leaves the stream after it. A field that the
    /// stream cannot supply whole keeps its value. Does nothing for null. The stream must come from
    /// the C runtime that this library uses.
    virtual void Read(std::FILE* stream);

    /// Writes the header at the stream's position. Does nothing for null.
    void Write(std::FILE* stream) const;

    std::string GetFileVersion() const;
    std::string GetModelName() const;
    std::string GetHardwareVersion() const;
    std::string GetFirmwareVersion() const;
    std::string GetSerialNumber() const;
    std::string GetDate() const;
    std::string GetTime() const;
    float GetTemperature() const;
    float GetPressure() const;
    float GetStartAzimuthAngle() const;
    float GetStopAzimuthAngle() const;
    float GetStartZenithAngle() const;
    float GetStopZenithAngle() const;
    std::uint8_t GetPointFormat() const;
    std::uint32_t GetBlockCount() const;

    void SetFileVersion(const std::string& version);      // 32 characters
    void SetModelName(const std::string& name);           // 12
    void SetHardwareVersion(const std::string& version);  // 4
    void SetFirmwareVersion(const std::string& version);  // 4
    void SetSerialNumber(const std::string& number);      // 12
    void SetDate(const std::string& date);                // 8, year month day: "20240131"
    void SetTime(const std::string& time);                // 6, hour minute second: "235959"
    void SetTemperature(float temperature);
    void SetPressure(float pressure);
    void SetStartAzimuthAngle(float angle);
    void SetStopAzimuthAngle(float angle);
    void SetStartZenithAngle(float angle);
    void SetStopZenithAngle(float angle);
    void SetPointFormat(std::uint8_t format);
    void SetBlockCount(std::uint32_t count);

protected:
    virtual void ReadBlanks(std::FILE* stream);
    virtual void ReadResolutions(std::FILE* stream) = 0;
    virtual void ReadBlocks(std::FILE* stream);
    virtual void WriteBlanks(std::FILE* stream) const;
    virtual void WriteResolutions(std::FILE* stream) const = 0;
    virtual void WriteBlocks(std::FILE* stream) const;

    /// |stop - start| / count, in single precision.
    static float CalculateDeltaAngle(float start, float stop, int count);
    /// |stop - start| / step, rounded to the nearest whole number. Saturates; 0 when the quotient
    /// is not finite.
    static int CalculateResolution(float start, float stop, float step);

private:
    struct Layout;
    friend struct Layout;

    std::array<char, 32> m_fileVersion{};
    std::array<char, 12> m_modelName{};
    std::array<char, 4> m_hardwareVersion{};
    std::array<char, 4> m_firmwareVersion{};
    std::array<char, 12> m_serialNumber{};
    std::array<char, 8> m_date{};
    std::array<char, 6> m_time{};
    float m_temperature = 0;
    float m_pressure = 0;
    float m_startAzimuthAngle = 0;
    float m_stopAzimuthAngle = 0;
    float m_startZenithAngle = 0;
    float m_stopZenithAngle = 0;

protected:
    std::uint8_t m_pointFormat = 0;
    std::uint32_t m_blockCount = 0;
};

/// The 115 bytes at the start of a CL3 file. Stores the angular steps; the resolutions are derived:
/// they count the intervals between the start and the stop angle.
class BRISKO_CODEC_EXPORT CL3FileHeader : public CLFileHeader {
public:
    ~CL3FileHeader() override;

    CL3FileHeader();
    CL3FileHeader(const CL3FileHeader&);
    CL3FileHeader(CL3FileHeader&&) noexcept;
    CL3FileHeader& operator=(const CL3FileHeader&);
    CL3FileHeader& operator=(CL3FileHeader&&) noexcept;

    using CLFileHeader::Read;
    std::size_t GetAzimuthResolution() const override;
    std::size_t GetZenithResolution() const override;
    float GetDeltaAzimuthAngle() const override;
    float GetDeltaZenithAngle() const override;
    void SetDeltaAzimuthAngle(float angle);
    void SetDeltaZenithAngle(float angle);

protected:
    void ReadResolutions(std::FILE* stream) override;
    void ReadBlocks(std::FILE* stream) override;
    void WriteResolutions(std::FILE* stream) const override;
    void WriteBlocks(std::FILE* stream) const override;

private:
    float m_deltaAzimuthAngle = 0;
    float m_deltaZenithAngle = 0;
};

/// The 120 bytes at the start of a CLR file. Stores the resolutions, signed; the angular steps are
/// derived: the span divided by the count. The two derivations are not inverse to each other.
class BRISKO_CODEC_EXPORT CLRFileHeader : public CLFileHeader {
public:
    ~CLRFileHeader() override;

    CLRFileHeader();
    CLRFileHeader(const CLRFileHeader&);
    CLRFileHeader(CLRFileHeader&&) noexcept;
    CLRFileHeader& operator=(const CLRFileHeader&);
    CLRFileHeader& operator=(CLRFileHeader&&) noexcept;

    using CLFileHeader::Read;
    /// The stored counts; a negative one comes out sign-extended to 64 bits.
    std::size_t GetAzimuthResolution() const override;
    std::size_t GetZenithResolution() const override;
    float GetDeltaAzimuthAngle() const override;
    float GetDeltaZenithAngle() const override;
    void SetAzimuthResolution(int columns);
    void SetZenithResolution(int rows);

protected:
    void ReadBlanks(std::FILE* stream) override;
    void ReadResolutions(std::FILE* stream) override;
    void ReadBlocks(std::FILE* stream) override;
    void WriteBlanks(std::FILE* stream) const override;
    void WriteResolutions(std::FILE* stream) const override;
    void WriteBlocks(std::FILE* stream) const override;

private:
    std::int32_t m_azimuthResolution = 0;
    std::int32_t m_zenithResolution = 0;
};
