#include "pcplib/files/pcp_file_mapping.h"

#include "base/bytes.h"
#include "pcplib/files/pcp_file.h"
#include "pcplib/files/trace.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace QelPcpLib {

namespace {

// Far beyond any file, and far enough from 2^63 that sums and doublings stay in 64 bits.
constexpr std::uint64_t kLimit = std::uint64_t{1} << 60;

constexpr std::uint64_t kWordSize = 4;

}  // namespace

PcpFileMapping::PcpFileMapping(PcpFile& file, std::uint64_t fileSize, std::int64_t capacity)
    : m_file(file),
      m_capacity(std::max<std::int64_t>(capacity, 1)),
      m_windowOffset(-m_capacity),
      m_fileSize(fileSize) {
}

std::uint8_t* PcpFileMapping::MapWindow(std::uint64_t offset, std::uint64_t length) {
    if (length == 0 || length > kLimit || offset > kLimit) return nullptr;
    if (!TakesBytes(offset, length) && !loadWindow(offset, length)) return nullptr;
    const std::uint64_t inWindow = offset - static_cast<std::uint64_t>(m_windowOffset);
    const std::uint64_t endInFile = std::min(offset + length, m_fileSize);
    if (endInFile > static_cast<std::uint64_t>(m_windowOffset) + m_loaded) return nullptr;
    return growTo(inWindow + length) ? m_buffer.get() + inWindow : nullptr;
}

void PcpFileMapping::Flush() {
    if (m_windowOffset < 0) return;
    const bool changed = isChanged();
    const auto offset = static_cast<std::uint64_t>(m_windowOffset);
    const std::uint64_t size = m_loaded;
    forgetWindow();
    if (changed) m_file.writeStream(offset, m_buffer.get(), size);
}

bool PcpFileMapping::TakesBytes(std::uint64_t offset, std::uint64_t length) const {
    if (m_windowOffset < 0 || length > kLimit || offset > kLimit) return false;
    const auto begin = static_cast<std::uint64_t>(m_windowOffset);
    return offset >= begin && offset + length <= begin + static_cast<std::uint64_t>(m_capacity);
}

bool PcpFileMapping::WriteToWindow(std::uint64_t offset, const void* data, std::size_t length) {
    const std::uint64_t inWindow = offset - static_cast<std::uint64_t>(m_windowOffset);
    if (!growTo(inWindow + length)) return false;
    std::memcpy(m_buffer.get() + inWindow, data, length);
    // Bytes after the end of the file make it longer when the window is written back.
    m_loaded = std::max<std::uint64_t>(m_loaded, inWindow + length);
    m_fileSize = std::max<std::uint64_t>(m_fileSize, offset + length);
    m_written = true;
    return true;
}

void PcpFileMapping::FileIsWritten(std::uint64_t offset, std::uint64_t length) {
    if (m_windowOffset >= 0) {
        const auto begin = static_cast<std::uint64_t>(m_windowOffset);
        const std::uint64_t end = begin + static_cast<std::uint64_t>(m_capacity);
        if (offset < end && offset + length > begin) Flush();
    }
    m_fileSize = std::max(m_fileSize, offset + length);
}

bool PcpFileMapping::loadWindow(std::uint64_t offset, std::uint64_t length) {
    Flush();
    const bool grows = length * 3 > static_cast<std::uint64_t>(m_capacity) * 2;
    const std::uint64_t capacity = grows ? 2 * length : static_cast<std::uint64_t>(m_capacity);
    const std::uint64_t lead = std::min(offset, capacity / 4);
    const std::uint64_t begin = offset - lead;
    const std::uint64_t inFile = begin < m_fileSize ? std::min(capacity, m_fileSize - begin) : 0;
    if (!allocate(std::max(inFile, lead + length))) return false;

    m_capacity = static_cast<std::int64_t>(capacity);
    m_windowOffset = static_cast<std::int64_t>(begin);
    m_loaded = m_file.readStream(begin, m_buffer.get(), inFile);
    // Only what was read is ever written back: a read that failed must not overwrite the rest.
    if (m_loaded < inFile) m_file.SetFailed();
    std::memset(m_buffer.get() + m_loaded, 0, m_allocated - m_loaded);
    m_checksum = static_cast<std::int64_t>(wordSum());
    m_tail = tailBytes();
    m_written = false;
    return true;
}

/// Makes the buffer at least so many bytes long and keeps what it holds.
bool PcpFileMapping::growTo(std::uint64_t size) {
    if (size <= m_allocated) return true;
    // Writes that follow one another lengthen the window step by step: do not copy it every time.
    const auto capacity = static_cast<std::uint64_t>(m_capacity);
    const std::uint64_t larger = std::max(size, std::min(capacity, 2 * m_allocated));
    std::unique_ptr<std::uint8_t[]> old = std::move(m_buffer);
    const std::uint64_t oldSize = std::exchange(m_allocated, 0);
    if (!allocate(larger)) {
        m_buffer = std::move(old);
        m_allocated = oldSize;
        return false;
    }
    std::memcpy(m_buffer.get(), old.get(), oldSize);
    std::memset(m_buffer.get() + oldSize, 0, m_allocated - oldSize);
    return true;
}

/// Makes the buffer at least so many bytes long, with any content.
bool PcpFileMapping::allocate(std::uint64_t size) {
    if (size <= m_allocated) return true;
    ++m_generation;
    m_buffer.reset();
    m_allocated = 0;
    m_buffer.reset(new (std::nothrow) std::uint8_t[size]);
    if (!m_buffer) return false;
    m_allocated = size;
    return true;
}

/// Deliberate: the sum taken at loading is kept whole, the one of now is cut to 32 bits and widened
/// with its sign. A window whose sum does not fit is thus always written back.
bool PcpFileMapping::isChanged() const {
    const auto low = static_cast<std::int32_t>(static_cast<std::uint32_t>(wordSum()));
    return m_written || low != m_checksum || tailBytes() != m_tail;
}

std::uint64_t PcpFileMapping::wordSum() const {
    std::uint64_t sum = 0;
    const std::uint64_t end = m_loaded / kWordSize * kWordSize;
    for (std::uint64_t at = 0; at < end; at += kWordSize)
        sum += brisko::loadU32(&m_buffer[at]);
    return sum;
}

std::array<std::uint8_t, 3> PcpFileMapping::tailBytes() const {
    std::array<std::uint8_t, 3> tail{};
    const std::uint64_t count = m_loaded % kWordSize;
    for (std::uint64_t i = 0; i < count; ++i)
        tail[i] = m_buffer[m_loaded - count + i];
    return tail;
}

void PcpFileMapping::forgetWindow() {
    m_windowOffset = -m_capacity;
    m_loaded = 0;
    ++m_generation;
}

bool PcpMapView::Open(PcpFileMapping& mapping, std::uint64_t size) {
    Close();
    m_mapping = &mapping;
    m_mappedSize = size;
    for (Channel& channel : m_channels)
        countRecords(channel);
    if (size >= m_channels[0].headerSize) return true;
    Close();
    return false;
}

void PcpMapView::Close() {
    m_mapping = nullptr;
    m_mappedSize = 0;
    for (Channel& channel : m_channels) {
        channel.viewData = nullptr;
        channel.recordCount = 0;
    }
}

void PcpMapView::SetLayout(std::uint32_t headerSize, std::uint32_t recordSize, int channel) {
    if (!isChannel(channel)) return;
    m_channels[channel] = {};
    m_channels[channel].headerSize = headerSize;
    m_channels[channel].recordSize = recordSize;
    countRecords(m_channels[channel]);
}

std::uint32_t PcpMapView::GetHeaderSize(int channel) const {
    return isChannel(channel) ? m_channels[channel].headerSize : 0;
}

std::uint8_t* PcpMapView::GetRecord(std::uint64_t index, int channel) {
    if (!isChannel(channel)) return nullptr;
    Channel& records = m_channels[channel];
    if (index >= records.recordCount) return nullptr;
    if (!covers(records, index) && !(remap(records, index) && covers(records, index))) {
        return nullptr;
    }
    return records.viewData + (index - records.firstIndex) * records.recordSize;
}

bool PcpMapView::covers(const Channel& channel, std::uint64_t index) const {
    // The window is shared: what one channel loads takes the view of the other away.
    return channel.viewData && channel.generation == m_mapping->GetGeneration() &&
           index >= channel.firstIndex && index < channel.endIndex;
}

/// Makes a view that begins at a record of the file.
bool PcpMapView::remap(Channel& channel, std::uint64_t index) {
    channel.viewData = nullptr;
    const std::uint64_t start = channel.headerSize + index * channel.recordSize;
    if (start > m_mappedSize) {
        TraceOut(message::kPositionOver);
        return false;
    }
    // The view size rounded up to whole records, one record more, and one byte.
    const std::uint64_t wanted =
        (m_viewSize / channel.recordSize + std::uint64_t{1}) * channel.recordSize + 1;
    const std::uint64_t length = std::min(wanted, m_mappedSize - start);
    channel.viewData = m_mapping->MapWindow(start, length);
    channel.generation = m_mapping->GetGeneration();
    channel.firstIndex = index;
    channel.endIndex = index + length / channel.recordSize;
    return channel.viewData != nullptr;
}

void PcpMapView::countRecords(Channel& channel) const {
    const bool hasRecords =
        m_mapping && channel.recordSize > 0 && m_mappedSize > channel.headerSize;
    channel.recordCount = hasRecords ? (m_mappedSize - channel.headerSize) / channel.recordSize : 0;
}

}  // namespace QelPcpLib
