#include <brisko_codec/writers.h>

#include "base/bytes.h"
#include "base/output_file.h"
#include "layouts/records.h"
#include "writers/header_output.h"

#include <algorithm>
#include <array>
#include <new>

using namespace brisko;

namespace {

constexpr std::uint32_t kBlockPoints = 1'000'000;

std::array<std::uint8_t, cl3_block::kHeaderSize> blockHeader(std::uint32_t points) {
    std::array<std::uint8_t, cl3_block::kHeaderSize> bytes{};
    storeU32(bytes.data() + cl3_block::kPointCount, points);
    return bytes;
}

}  // namespace

/// The open file, shared by the copies of a writer.
class CL3WriterCodec::State {
public:
    bool open(const char* path, const GridFileHeader* header);
    bool isOpen() const { return m_file.isOpen(); }
    bool failed() const { return m_failed || m_file.failed(); }
    void write(const CL3Record& record);
    void close();
    const DroppedPoints& dropped() const { return m_dropped; }

private:
    void endBlock();
    void writeHeader(std::uint32_t count);
    std::uint32_t pointsOnDisk() const;

    OutputFile m_file;
    CL3FileHeader m_header;
    std::uint32_t m_pointsInBlock = 0;
    std::uint32_t m_blockCount = 0;  // begun so far
    std::uint64_t m_blockHeaderPosition = 0;
    bool m_failed = false;
    DroppedPoints m_dropped;
};

bool CL3WriterCodec::State::open(const char* path, const GridFileHeader* header) {
    if (!m_file.create(path)) {
        m_failed = true;
        return false;
    }
    if (const auto* const source = dynamic_cast<const CLFileHeader*>(header)) {
        static_cast<CLFileHeader&>(m_header) = *source;
        m_header.SetDeltaAzimuthAngle(source->GetDeltaAzimuthAngle());
        m_header.SetDeltaZenithAngle(source->GetDeltaZenithAngle());
    } else {
        m_header.SetDeltaAzimuthAngle(1.0F);
        m_header.SetDeltaZenithAngle(1.0F);
    }
    m_header.SetFileVersion("CL3_0.7");
    m_header.SetPointFormat(static_cast<std::uint8_t>(CL3PointFormat::Coloured));
    m_header.SetBlockCount(1);
    writeScanHeader(m_file, m_header, cl3_header::kSize);
    m_blockHeaderPosition = m_file.position();
    m_file.append(blockHeader(0));
    m_blockCount = 1;
    return true;
}

inline void CL3WriterCodec::State::write(const CL3Record& record) {
    if (!isOpen() || m_file.failed()) return;
    std::uint8_t* const out = m_file.reserve(cl3_record::kSize1);
    encodeCL3Position(record, out);
    encodeCL3Colour(record, out);
    if (!isMeasured(record)) [[unlikely]]
        ++m_dropped.wouldReadAsEmpty;
    if (++m_pointsInBlock == kBlockPoints) [[unlikely]]
        endBlock();
}

void CL3WriterCodec::State::endBlock() {
    m_file.flush();
    if (m_file.failed()) return;  // the last block then counts what is on disk
    writeHeader(m_pointsInBlock);
    m_blockHeaderPosition = m_file.position();
    m_file.append(blockHeader(0));
    m_pointsInBlock = 0;
    ++m_blockCount;
}

/// Deliberate: a count of 0 does not patch the block's header but adds one more empty header after
/// the data. Files closed on a full block, or without any point, end in one that no reader looks at.
void CL3WriterCodec::State::writeHeader(std::uint32_t count) {
    if (count == 0) m_blockHeaderPosition = m_file.position();
    if (count == 0) {
        m_file.append(blockHeader(0));
    } else {
        m_file.patch(m_blockHeaderPosition, blockHeader(count));
    }
}

std::uint32_t CL3WriterCodec::State::pointsOnDisk() const {
    const std::uint64_t start = m_blockHeaderPosition + cl3_block::kHeaderSize;
    if (m_file.onDisk() < start) return 0;
    return static_cast<std::uint32_t>(
        std::min<std::uint64_t>(m_pointsInBlock, (m_file.onDisk() - start) / cl3_record::kSize1));
}

void CL3WriterCodec::State::close() {
    m_file.flush();
    const bool headerMissing = m_file.onDisk() < m_blockHeaderPosition + cl3_block::kHeaderSize;
    if (headerMissing && m_blockCount > 0) --m_blockCount;
    if (!headerMissing) writeHeader(pointsOnDisk());
    m_header.SetBlockCount(m_blockCount);
    writeScanHeader(m_file, m_header, cl3_header::kSize);
    m_file.close();
}

CL3WriterCodec::CL3WriterCodec() = default;
CL3WriterCodec::CL3WriterCodec(const CL3WriterCodec&) = default;
CL3WriterCodec& CL3WriterCodec::operator=(const CL3WriterCodec&) = default;
CL3WriterCodec::~CL3WriterCodec() = default;

bool CL3WriterCodec::Open(const char* path, GridFileHeader* header) {
    Close();
    try {
        m_state = std::make_shared<State>();
        return m_state->open(path, header);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool CL3WriterCodec::Close() {
    if (!m_state || !m_state->isOpen()) return false;
    m_state->close();
    return true;
}

void CL3WriterCodec::WritePoint(double x, double y, double z, float intensity, std::uint8_t red,
                                std::uint8_t green, std::uint8_t blue, std::uint8_t) {
    if (m_state) m_state->write({x, y, z, intensity, red, green, blue});
}

bool CL3WriterCodec::HasWriteError() const {
    return m_state && m_state->failed();
}

DroppedPoints CL3WriterCodec::GetDroppedPoints() const {
    return m_state ? m_state->dropped() : DroppedPoints{};
}
