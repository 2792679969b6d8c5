#include "pcplib/processes/sort_clr.h"

#include "base/file.h"
#include "layouts/compressed_lines.h"
#include "layouts/layout.h"
#include "pcplib/files/messages.h"
#include "pcplib/files/trace.h"
#include "pcplib/processes/clr_copy.h"
#include "pcplib/processes/process_progress.h"
#include "pcplib/processes/staged_copy.h"

#include <algorithm>
#include <array>

namespace QelPcpLib {

namespace {

/// Fits into the processor's second cache, and holds a few of the longest usual lines.
constexpr std::size_t kWindow = std::size_t{512} << 10;

bool failToOpen() {
    TraceOut("%s\n", CpFileException().what());
    return false;
}

/// Copies the header byte by byte; what a short file lacks of it is zero.
void copyHeader(brisko::InputWindow& input, brisko::OutputFile& output) {
    std::array<std::uint8_t, brisko::clr_header::kSize> bytes{};
    const auto found = input.atLeast(bytes.size());
    const std::size_t size = std::min(found.size(), bytes.size());
    std::copy_n(found.begin(), size, bytes.begin());
    input.skip(size);
    output.append(bytes);
}

}  // namespace

std::uint16_t SortCLR(const std::string& path, CProgressCallback* callback) {
    TraceOut("SortCLR\n");
    return runProcess(callback, kSortClrFailed,
                      [&](CProgressCallback* watched) { return ConvertClrFile(path, watched); });
}

bool ConvertClrFile(const std::string& path, CProgressCallback* callback) {
    StagedCopy result;
    const brisko::FilePtr file = brisko::openFile(path.c_str(), "rb");
    if (!file) return failToOpen();
    CLRFileHeader header;
    header.Read(file.get());
    if (std::ferror(file.get()) != 0 ||
        brisko::CLRPointFormat{header.GetPointFormat()} > brisko::CLRPointFormat::Compressed) {
        return false;
    }

    brisko::InputWindow input(file.get(), kWindow, brisko::kPieceBuffer);
    const bool plain = brisko::hasPlainRecords(header, input.fileSize());
    if (!plain) TraceOut("Read CLR file: %s\n", path.c_str());
    if (!result.create(path + ".Converted.clr", {path})) return failToOpen();

    ProcessProgress progress(callback, input.fileSize());
    copyHeader(input, result.output());
    ClrCopy copy{path,          header,  brisko::gridOf(header), input, result.output(),
                 result.path(), progress};
    return (plain ? sortPlainBlocks(copy) : sortCompressedBlocks(copy)) && result.publish(progress);
}

}  // namespace QelPcpLib
