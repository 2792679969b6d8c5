#include "pcplib/files/pcp_map_view.h"

#include "pcplib/files/messages.h"
#include "pcplib/files/trace.h"

#include <algorithm>

namespace QelPcpLib {

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
