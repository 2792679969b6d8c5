#include "pcplib/files/pcp_file.h"

#include "base/checked.h"
#include "base/system_calls.h"
#include "layouts/ij_index.h"
#include "pcplib/files/trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <utility>

namespace QelPcpLib {

namespace {

const char* streamMode(OpenMode mode) {
    switch (mode) {
        case OpenMode::ReadText:
            return "r";
        case OpenMode::WriteText:
            return "w";
        case OpenMode::MappedReadWrite:
            return "rb+";
        case OpenMode::MappedCreate:
            return "wb+";
    }
    return "";
}

/// Bytes of a view of a grid index: the entries of a tile or the whole file, whichever is less; at least
/// 2 MB where that makes the view smaller, at most 16 MB where it does not.
std::uint32_t indexViewSize(std::uint32_t tileSize, std::uint64_t fileSize, std::uint32_t before) {
    constexpr std::uint64_t kLeast = 2'000'000, kMost = 16'000'000;
    const std::uint64_t cells = std::uint64_t{tileSize} * tileSize;
    const std::uint64_t entries =
        brisko::checkedMultiply(cells, brisko::kEntrySize).value_or(fileSize);
    const std::uint64_t wanted = std::min(entries, fileSize);
    return static_cast<std::uint32_t>(wanted < before ? std::max(wanted, kLeast)
                                                      : std::min(wanted, kMost));
}

bool isMapped(OpenMode mode) {
    return mode == OpenMode::MappedReadWrite || mode == OpenMode::MappedCreate;
}

}  // namespace

PcpFile::~PcpFile() {
    Close();
}

std::string PcpFile::GetFilePath() const {
    return m_filePath;
}

bool PcpFile::Open(const std::string& path, OpenMode mode) {
    Close();
    m_failed = false;
    m_filePath = path;
    if (path.find('\0') != std::string::npos) {  // would name another file
        errno = EINVAL;
        return false;
    }
    m_stream = brisko::openFile(path.c_str(), streamMode(mode));
    // The window is the buffer of a mapped file; a second one could hold older bytes.
    if (m_stream && isMapped(mode)) std::setvbuf(m_stream.get(), nullptr, _IONBF, 0);
    return m_stream != nullptr;
}

void PcpFile::Close() {
    closeView();
    if (!brisko::closeFile(std::move(m_stream))) SetFailed();
}

bool PcpFile::Seek(std::uint64_t position) {
    if (m_stream && brisko::seekTo(m_stream.get(), position)) return true;
    if (m_stream) SetFailed();
    return false;
}

std::uint64_t PcpFile::GetPosition() const {
    const off_t position = m_stream ? ftello(m_stream.get()) : 0;
    return position > 0 ? static_cast<std::uint64_t>(position) : 0;
}

bool PcpFile::Write(const void* data, std::uint32_t length) {
    if (!m_stream || length == 0) return m_stream != nullptr;
    if (!m_mapping) {
        if (brisko::system_calls::fwrite(data, 1, length, m_stream.get()) == length) return true;
        SetFailed();
        return false;
    }
    const std::uint64_t position = GetPosition();
    if (m_mapping->TakesBytes(position, length)) {
        return m_mapping->WriteToWindow(position, data, length);
    }
    m_mapping->FileIsWritten(position, length);
    return writeStream(position, data, length);
}

std::uint64_t PcpFile::GetLength() const {
    return brisko::fileLength(m_filePath.c_str());
}

bool PcpFile::SetLength(std::uint64_t size) {
    if (!m_stream) return false;
    if (size == 0) return true;
    const std::uint64_t position = GetPosition();
    constexpr char kZero = 0;
    const bool written = Seek(size - 1) && Write(&kZero, 1);
    return Seek(position) && written;
}

bool PcpFile::OpenMapped(const std::string& path) {
    if (!Open(path, OpenMode::MappedReadWrite)) {
        TraceOut(message::kCannotOpenMapped);
        return false;
    }
    return openView(GetLength());
}

bool PcpFile::OpenMappedIndex(const std::string& path) {
    SetLayout(brisko::ij_header::kSize, 1, 0);
    if (!OpenMapped(path)) return false;
    const std::uint32_t edge = brisko::readIJHeader(GetStream()).tileSize;
    SetViewSize(indexViewSize(edge, GetLength(), m_view.GetViewSize()));
    return true;
}

bool PcpFile::CreateMapped(const std::string& path, std::uint64_t size) {
    if (Open(path, OpenMode::MappedCreate)) {
        if (SetLength(size)) return openView(size);
        Close();
        brisko::removeFile(path);
    }
    TraceOut(message::kCannotCreateMapped);
    return false;
}

void PcpFile::SetLayout(std::uint32_t headerSize, std::uint32_t recordSize, int channel) {
    m_view.SetLayout(headerSize, recordSize, channel);
}

void PcpFile::SetViewSize(std::uint32_t bytes) {
    m_view.SetViewSize(bytes);
}

std::uint8_t* PcpFile::GetRecord(std::uint64_t index, int channel) {
    return m_view.GetRecord(index, channel);
}

std::uint32_t PcpFile::ReadFileHeader(void* buffer, int channel) {
    const std::uint32_t size = m_view.GetHeaderSize(channel);
    if (m_stream) readStream(0, buffer, size);
    return size;
}

bool PcpFile::WriteFileHeader(const void* buffer, int channel) {
    return Seek(0) && Write(buffer, m_view.GetHeaderSize(channel));
}

std::size_t PcpFile::readStream(std::uint64_t position, void* out, std::size_t size) {
    if (!Seek(position)) return 0;
    return brisko::system_calls::fread(out, 1, size, m_stream.get());
}

bool PcpFile::writeStream(std::uint64_t position, const void* data, std::size_t size) {
    if (Seek(position) && brisko::system_calls::fwrite(data, 1, size, m_stream.get()) == size)
        return true;
    SetFailed();
    return false;
}

bool PcpFile::openView(std::uint64_t size) {
    createMapping();
    if (!m_mapping) {
        TraceOut(message::kNoMapping);
    } else if (m_view.Open(*m_mapping, size)) {
        return true;
    }
    Close();
    return false;
}

void PcpFile::closeView() {
    if (m_mapping) m_mapping->Flush();
    m_view.Close();
    m_mapping.reset();
}

void PcpFile::createMapping() {
    closeView();
    m_mapping.reset(new (std::nothrow) PcpFileMapping(*this, GetLength(), m_windowCapacity));
    if (!m_mapping) throw static_cast<const char*>(message::kOutOfMemory);
}

namespace {

// What follows a line of this length is not looked at any more: no text file has such lines.
constexpr std::size_t kGiveUp = std::size_t{1} << 20;

}  // namespace

bool CpStdioFile::ReadString(std::string& line) {
    line.clear();
    if (!GetStream()) return false;
    std::size_t length = 0;
    for (int c = readCharacter(); c != EOF && c != '\n'; c = readCharacter()) {
        if (length < kMaxLine) line.push_back(static_cast<char>(c));
        if (++length > kMaxLine + kGiveUp) {
            brisko::ReadErrors errors;
            if (!Seek(brisko::fileLength(GetStream(), &errors)) || !errors.none()) SetFailed();
            break;
        }
    }
    if (std::ferror(GetStream())) SetFailed();
    return !line.empty();
}

/// The next character of the text, a line feed for CR LF.
int CpStdioFile::readCharacter() {
    const int c = brisko::system_calls::getc(GetStream());
    if (c != '\r') return c;
    const int next = brisko::system_calls::getc(GetStream());
    if (next == '\n' || next == EOF) return next;
    std::ungetc(next, GetStream());
    return c;
}

}  // namespace QelPcpLib
