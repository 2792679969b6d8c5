#pragma once

#include <brisko_codec/export.h>

#include <cstdint>
#include <cstdio>
#include <iosfwd>

class CLFileHeader;

/// The bytes before every block of points.
class BRISKO_CODEC_EXPORT CLBlockHeader {
public:
    virtual ~CLBlockHeader();

    CLBlockHeader() = default;
    CLBlockHeader(const CLBlockHeader&) = default;
    CLBlockHeader& operator=(const CLBlockHeader&) = default;

    /// The number of records in the block.
    ///   header  the file's header; a CLR block does not store its count and needs it (0 without
    ///           one, saturated at 2^32 - 1), a CL3 block ignores it
    virtual std::uint32_t GetPointCount(const CLFileHeader* header = nullptr) const = 0;
    /// Reads the flag byte. A short stream leaves the flag as it was, here and below.
    virtual void Read(std::istream& stream);
    virtual void Read(std::FILE* stream);
    virtual void Write(std::FILE* stream) const;

    std::uint8_t GetFlag() const { return m_flag; }
    void SetFlag(std::uint8_t flag) { m_flag = flag; }

private:
    std::uint8_t m_flag = 0;
};

/// Point count, then flag: 5 bytes. The flag of CL3 blocks is written as 0 and ignored.
class BRISKO_CODEC_EXPORT CL3BlockHeader : public CLBlockHeader {
public:
    ~CL3BlockHeader() override;

    CL3BlockHeader() = default;
    CL3BlockHeader(const CL3BlockHeader&) = default;
    CL3BlockHeader& operator=(const CL3BlockHeader&) = default;

    std::uint32_t GetPointCount(const CLFileHeader* header = nullptr) const override;
    /// Deliberate: reading from a std::istream takes the flag byte only, as the base does.
    using CLBlockHeader::Read;
    void Read(std::FILE* stream) override;
    void Write(std::FILE* stream) const override;

    void SetPointCount(std::uint32_t count) { m_pointCount = count; }

private:
    std::uint32_t m_pointCount = 0;
};

/// The flag byte alone. It shows which range interval of the scanner the block was measured in.
class BRISKO_CODEC_EXPORT CLRBlockHeader : public CLBlockHeader {
public:
    ~CLRBlockHeader() override;

    CLRBlockHeader() = default;
    CLRBlockHeader(const CLRBlockHeader&) = default;
    CLRBlockHeader& operator=(const CLRBlockHeader&) = default;

    std::uint32_t GetPointCount(const CLFileHeader* header = nullptr) const override;
};
