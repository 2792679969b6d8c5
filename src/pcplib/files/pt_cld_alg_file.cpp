#include "pcplib/files/pt_cld_alg_file.h"

#include "base/companion_path.h"
#include "pcplib/files/trace.h"

namespace QelPcpLib {

bool CPtCldAlgFile::WriteHeader(const AlgHeader& header) {
    Seek(0);
    writeText(brisko::encodeAlgHeader(header));
    return true;
}

bool CPtCldAlgFile::ReadHeader(AlgHeader& header) {
    if (!Seek(0)) return false;
    const auto read =
        brisko::decodeAlgHeader([this](std::string& line) { return ReadString(line); }, header);
    if (read == brisko::AlgRead::WrongVersion) TraceOut(message::kWrongVersion);
    return read == brisko::AlgRead::Done;
}

bool CPtCldAlgFile::WriteArea(const AlgArea& area) {
    writeText(brisko::encodeAlgArea(area));
    return true;
}

bool CPtCldAlgFile::ReadArea(AlgArea& area) {
    return brisko::decodeAlgArea([this](std::string& line) { return ReadString(line); }, area);
}

void CPtCldAlgFile::writeText(const std::string& text) {
    Write(text.data(), static_cast<std::uint32_t>(text.size()));
}

bool AlgBlocks::ReadALGFile(std::string path) {
    if (path.empty()) path = m_path;
    CPtCldAlgFile file;
    if (!file.Open(path, OpenMode::ReadText)) {
        TraceOut(message::kCannotOpenForReading, path.c_str());
        return false;
    }
    m_path = file.GetFilePath();
    if (!file.ReadHeader(header)) return false;
    if (areas.size() != blockCount) return true;
    for (AlgArea& area : areas) {
        if (!file.ReadArea(area)) return false;
    }
    return true;
}

bool AlgBlocks::WriteALGFile(std::string path) {
    if (path.empty()) path = m_path;
    m_writeError = true;
    CPtCldAlgFile file;
    if (!file.Open(path, OpenMode::WriteText)) {
        TraceOut(message::kCannotOpenForWriting, path.c_str());
        return false;
    }
    m_path = file.GetFilePath();
    blockCount = areas.size();
    if (!file.WriteHeader(header)) {
        TraceOut(message::kHeaderNotWritten);
        return false;
    }
    for (const AlgArea& area : areas) {
        if (!file.WriteArea(area)) {
            TraceOut(message::kAreaNotWritten);
            return false;
        }
    }
    file.Close();
    m_writeError = file.HasFailed();
    return true;
}

std::string partFileName(std::string_view path, std::string_view extension, int part) {
    std::string ending;
    if (part > 1) ending.append("_").append(std::to_string(part));
    return brisko::companionForWriting(path, ending.append(extension));
}

}  // namespace QelPcpLib
