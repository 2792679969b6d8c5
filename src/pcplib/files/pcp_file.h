#pragma once

#include "base/file.h"
#include "pcplib/files/pcp_file_mapping.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace QelPcpLib {

/// A failure of the file layer that carries no description. The layer itself reports failures by
/// its results and never throws it; operations on whole files describe a failed open with it.
class CpFileException : public std::exception {
public:
    const char* what() const noexcept override { return ""; }
};

enum class OpenMode {
    ReadText,
    WriteText,        // truncates
    MappedReadWrite,  // binary; the file must exist
    MappedCreate,     // binary; truncates
};

/// A file as the processing library uses one: a stream, and for binary files a window that gives
/// random access to records of fixed size. The library's own work uses it for text; what is said of
/// mapped files, views, layouts and records is kept for its interface. Other programs may read and write it at the same time.
/// Threads: one thread at a time per object.
class PcpFile {
public:
    PcpFile() = default;
    virtual ~PcpFile();
    PcpFile(const PcpFile&) = delete;
    PcpFile& operator=(const PcpFile&) = delete;

    /// The path given to the last Open.
    virtual std::string GetFilePath() const;

    /// Closes what was open and opens the stream. Nothing is printed.
    ///   path  UTF-8
    /// Returns: false, with errno set, when the file cannot be opened.
    bool Open(const std::string& path, OpenMode mode);
    /// Writes a changed window back and closes the stream. Harmless when nothing is open.
    void Close();
    bool IsOpen() const { return m_stream != nullptr; }
    /// Whether reading, writing or closing has failed since the last Open.
    bool HasFailed() const { return m_failed; }

    bool Seek(std::uint64_t position);
    /// The stream's position, where the next Write goes.
    std::uint64_t GetPosition() const;
    /// Writes at the stream's position. Bytes that lie inside the window of a mapped file go there,
    /// reach the file with the window, and leave the position alone; all others go to the stream,
    /// which moves on. Returns whether the bytes were taken.
    bool Write(const void* data, std::uint32_t length);
    /// The file's size as the file system has it; 0 when it is not known.
    std::uint64_t GetLength() const;
    /// Makes the file size bytes long by writing a zero as its last byte; 0 changes nothing.
    /// Deliberate: a longer file is not cut, and its byte at size - 1 becomes 0 all the same.
    bool SetLength(std::uint64_t size);

    /// Opens a file with a view of its records. The layout of channel 0 must have been set before.
    /// Prints and returns false when the file cannot be opened; false, with nothing left open, for a
    /// file shorter than the header of channel 0.
    bool OpenMapped(const std::string& path);
    /// The same for a grid index: its bytes after the header are the records of channel 0. A view covers
    /// the entries of one tile, within limits.
    bool OpenMappedIndex(const std::string& path);
    /// Creates a file of zeros with a view of its records. Prints and returns false when that fails;
    /// a file that could not get its size is removed.
    bool CreateMapped(const std::string& path, std::uint64_t size);

    /// Where the records of a channel (0 or 1) lie. Kept when another file is opened.
    ///   headerSize  bytes before record 0
    ///   recordSize  bytes of a record; 0: no records
    void SetLayout(std::uint32_t headerSize, std::uint32_t recordSize, int channel);
    /// Bytes that one view covers.
    void SetViewSize(std::uint32_t bytes);
    std::uint32_t GetViewSize() const { return m_view.GetViewSize(); }
    /// The bytes of a record. They may be changed in place, and are written back when the sum of the
    /// window's words has changed.
    /// Returns: null at the end of the data, and when the record cannot be read. The pointer holds
    ///          until the next call of any operation.
    std::uint8_t* GetRecord(std::uint64_t index, int channel);
    /// Reads the bytes before record 0 from the file; what waits in the window is not seen.
    /// Returns the count asked for, however many the file holds.
    std::uint32_t ReadFileHeader(void* buffer, int channel);
    /// Writes the bytes before record 0, as Write does.
    bool WriteFileHeader(const void* buffer, int channel);

    /// Bytes of the window of mappings created from now on; small in tests only.
    void SetWindowCapacity(std::int64_t bytes) { m_windowCapacity = bytes; }

protected:
    std::FILE* GetStream() const { return m_stream.get(); }
    void SetFailed() { m_failed = true; }

private:
    friend class PcpFileMapping;

    /// Reads at a place of the stream and leaves its position after the bytes read.
    std::size_t readStream(std::uint64_t position, void* out, std::size_t size);
    bool writeStream(std::uint64_t position, const void* data, std::size_t size);
    bool openView(std::uint64_t size);
    void closeView();
    void createMapping();

    std::string m_filePath;
    std::unique_ptr<PcpFileMapping> m_mapping;
    brisko::FilePtr m_stream;
    PcpMapView m_view;
    std::int64_t m_windowCapacity = PcpFileMapping::kDefaultCapacity;
    bool m_failed = false;
};

/// A text file, line by line.
class CpStdioFile : public PcpFile {
public:
    static constexpr std::size_t kMaxLine = 4096;  // characters of a line; the rest is passed over

    /// Reads one line, without its line feed and a carriage return directly before that (or of
    /// the end of the file).
    /// Returns: false at the end of the file, and deliberately for an empty line too, which thus
    ///          ends the reading of whatever is read by lines. The line is then empty.
    bool ReadString(std::string& line);

private:
    int readCharacter();
};

}  // namespace QelPcpLib
