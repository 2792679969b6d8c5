#include "pcplib/files/alg_blocks.h"

#include "pcplib/files/messages.h"
#include "pcplib/files/pt_cld_alg_file.h"
#include "pcplib/files/trace.h"

namespace QelPcpLib {

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

}  // namespace QelPcpLib
