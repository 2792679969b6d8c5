#pragma once

#include "pcplib/files/pcp_file_mapping.h"

#include <cstdint>

namespace QelPcpLib {

/// Records of fixed size in a mapped file. Two channels, 0 and 1, see the same file with layouts of
/// their own. Layouts and the view size outlive Close. Kept for its interface, as the mapping.
class PcpMapView {
public:
    /// False, and closed, when the file is shorter than the header of channel 0.
    ///   mapping  must live until Close
    bool Open(PcpFileMapping& mapping, std::uint64_t size);
    void Close();

    void SetLayout(std::uint32_t headerSize, std::uint32_t recordSize, int channel);
    void SetViewSize(std::uint32_t bytes) { m_viewSize = bytes; }
    std::uint32_t GetViewSize() const { return m_viewSize; }
    std::uint32_t GetHeaderSize(int channel) const;

    /// Null after the last whole record, and when the record cannot be read.
    std::uint8_t* GetRecord(std::uint64_t index, int channel);

private:
    static constexpr int kChannels = 2;

    struct Channel {
        std::uint64_t recordCount = 0;  // whole records between the header and the end of the file
        std::uint32_t headerSize = 0;
        std::uint32_t recordSize = 1;
        std::uint64_t firstIndex = 0, endIndex = 0;  // records that the view covers
        std::uint8_t* viewData = nullptr;            // record firstIndex; null: no view
        std::uint64_t generation = 0;                // of the mapping when the view was made
    };

    static bool isChannel(int channel) { return channel >= 0 && channel < kChannels; }
    bool covers(const Channel& channel, std::uint64_t index) const;
    bool remap(Channel& channel, std::uint64_t index);
    void countRecords(Channel& channel) const;

    PcpFileMapping* m_mapping = nullptr;
    std::uint64_t m_mappedSize = 0;
    Channel m_channels[kChannels];
    std::uint32_t m_viewSize = 0x1000000;
};

}  // namespace QelPcpLib
