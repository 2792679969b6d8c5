#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace QelPcpLib {

class PcpFile;

/// A large buffer that holds one stretch of a file, the window. It moves on demand and is written
/// back when it has changed. Not a mapping of the operating system: another program that cuts the
/// file short costs an answer, not the process. Kept for its interface: the library's own work reads
/// through base/input_window.h.
class PcpFileMapping {
public:
    static constexpr std::int64_t kDefaultCapacity = 150'000'000;

    /// No window is loaded.
    ///   file      must outlive the mapping
    ///   fileSize  the file's length now, bytes
    ///   capacity  bytes of the window; memory is taken for what the file can fill only
    PcpFileMapping(PcpFile& file, std::uint64_t fileSize, std::int64_t capacity);
    PcpFileMapping(const PcpFileMapping&) = delete;
    PcpFileMapping& operator=(const PcpFileMapping&) = delete;

    /// Puts a stretch of the file into memory. Within the window that takes no file access; else the
    /// window moves to begin a quarter of its capacity before the offset, so that short steps
    /// backwards stay inside, and grows to twice the length when that fills over two thirds of it.
    /// Returns: the byte at the offset; bytes beyond the end of the file are 0. Null for no bytes,
    ///          for bytes of the file that cannot be read, and when memory runs out.
    std::uint8_t* MapWindow(std::uint64_t offset, std::uint64_t length);

    /// Empties the window; writes it back first when it has changed.
    void Flush();

    /// Whether the bytes of a write belong into the window.
    bool TakesBytes(std::uint64_t offset, std::uint64_t length) const;
    /// Puts bytes that TakesBytes agreed to into the window. False when memory runs out.
    bool WriteToWindow(std::uint64_t offset, const void* data, std::size_t length);
    /// The stream is about to be written past the window: what the window holds of that place goes
    /// to the file first, and is not kept.
    void FileIsWritten(std::uint64_t offset, std::uint64_t length);

    std::int64_t GetCapacity() const { return m_capacity; }
    /// File offset of the window; negative when none is loaded.
    std::int64_t GetWindowOffset() const { return m_windowOffset; }
    /// Changes whenever pointers into the window lose their meaning.
    std::uint64_t GetGeneration() const { return m_generation; }

private:
    bool loadWindow(std::uint64_t offset, std::uint64_t length);
    bool growTo(std::uint64_t size);
    bool allocate(std::uint64_t size);
    bool isChanged() const;
    std::uint64_t wordSum() const;
    std::array<std::uint8_t, 3> tailBytes() const;
    void forgetWindow();

    PcpFile& m_file;
    std::int64_t m_capacity;
    std::int64_t m_windowOffset;
    std::uint64_t m_fileSize;
    std::int64_t m_checksum = 0;           // sum of the 32-bit words when the window was loaded
    std::array<std::uint8_t, 3> m_tail{};  // the bytes after the last word at that time
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::uint64_t m_allocated = 0;  // bytes of the buffer
    std::uint64_t m_loaded = 0;     // bytes of it that belong to the file; zeros follow
    bool m_written = false;         // by WriteToWindow since it was loaded
    std::uint64_t m_generation = 0;
};

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
