#include <brisko_codec/block_header.h>

#include <brisko_codec/file_header.h>

#include "base/checked.h"
#include "layouts/field_io.h"

#include <istream>
#include <limits>

CLBlockHeader::~CLBlockHeader() = default;
CL3BlockHeader::~CL3BlockHeader() = default;
CLRBlockHeader::~CLRBlockHeader() = default;

void CLBlockHeader::Read(std::istream& stream) {
    char flag = 0;
    if (stream.get(flag)) m_flag = static_cast<std::uint8_t>(flag);
}

void CLBlockHeader::Read(std::FILE* stream) {
    if (stream) brisko::FieldReader{stream}(m_flag);
}

void CLBlockHeader::Write(std::FILE* stream) const {
    if (stream) brisko::writeField(stream, m_flag);
}

std::uint32_t CL3BlockHeader::GetPointCount(const CLFileHeader*) const {
    return m_pointCount;
}

void CL3BlockHeader::Read(std::FILE* stream) {
    if (!stream) return;
    const brisko::FieldReader read(stream);
    read(m_pointCount);
    if (read.sawNoError()) CLBlockHeader::Read(stream);
}

void CL3BlockHeader::Write(std::FILE* stream) const {
    if (!stream) return;
    brisko::writeField(stream, m_pointCount);
    CLBlockHeader::Write(stream);
}

std::uint32_t CLRBlockHeader::GetPointCount(const CLFileHeader* header) const {
    if (!header) return 0;
    const auto columns = static_cast<std::int64_t>(header->GetAzimuthResolution());
    const auto rows = static_cast<std::int64_t>(header->GetZenithResolution());
    if (columns <= 0 || rows <= 0) return 0;
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    const std::uint64_t cells = brisko::checkedMultiply(static_cast<std::uint64_t>(columns),
                                                        static_cast<std::uint64_t>(rows))
                                    .value_or(kMost);
    return static_cast<std::uint32_t>(cells < kMost ? cells : kMost);
}
