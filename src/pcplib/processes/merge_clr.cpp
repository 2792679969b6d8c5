#include "pcplib/processes/merge_clr.h"

#include "base/bytes.h"
#include "base/checked.h"
#include "base/file.h"
#include "base/output_limit.h"
#include "layouts/layout.h"
#include "pcplib/processes/clr_block_copy.h"
#include "pcplib/processes/process_progress.h"
#include "pcplib/processes/staged_copy.h"

#include <array>
#include <limits>
#include <optional>

namespace QelPcpLib {

namespace {

/// One of the two files.
struct Part {
    brisko::FilePtr file;
    CLRFileHeader header;
    std::uint64_t size = 0;
    bool plain = false;

    bool open(const std::string& path) {
        brisko::ReadErrors errors;
        file = brisko::openFile(path.c_str(), "rb");
        if (!file) return false;
        header.Read(file.get());
        size = brisko::fileLength(file.get(), &errors);
        if (std::ferror(file.get()) != 0 || !errors.none()) return false;
        plain = brisko::hasPlainRecords(header, size);
        return true;
    }
    bool hasBlocks() const { return header.GetBlockCount() > 0; }
};

bool isUsable(const CLRFileHeader& header) {
    return static_cast<std::int64_t>(header.GetAzimuthResolution()) >= 0 &&
           static_cast<std::int64_t>(header.GetZenithResolution()) >= 0 &&
           brisko::isKnown(brisko::CLRPointFormat{header.GetPointFormat()});
}

bool fitTogether(const Part& first, const Part& second) {
    const CLRFileHeader &a = first.header, &b = second.header;
    const bool sameKind = !first.hasBlocks() || !second.hasBlocks() || first.plain == second.plain;
    return isUsable(a) && a.GetAzimuthResolution() == b.GetAzimuthResolution() &&
           a.GetZenithResolution() == b.GetZenithResolution() &&
           a.GetPointFormat() == b.GetPointFormat() && sameKind;
}

/// The sum; nothing when the header's field cannot hold it.
std::optional<std::uint32_t> sumOfBlocks(const Part& first, const Part& second) {
    const std::uint64_t sum =
        std::uint64_t{first.header.GetBlockCount()} + second.header.GetBlockCount();
    if (sum > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
    return static_cast<std::uint32_t>(sum);
}

/// The size of the output: of plain records exactly, of compressed ones if both files are whole.
/// Nothing when it does not fit into a number.
std::optional<std::uint64_t> outputSize(const Part& first, const Part& second,
                                        std::uint32_t blocks) {
    if (!first.plain || !second.plain) return brisko::checkedAdd(first.size, second.size);
    const auto blockSize = plainBlockSize(brisko::gridOf(first.header));
    const auto content = blockSize ? brisko::checkedMultiply(*blockSize, blocks) : std::nullopt;
    return content ? brisko::checkedAdd(*content, brisko::clr_header::kSize) : std::nullopt;
}

/// The first file's header byte by byte, with the new count.
void writeHeader(const Part& part, std::uint32_t blocks, StagedCopy& result) {
    std::array<std::uint8_t, brisko::clr_header::kSize> bytes{};
    brisko::readAt(part.file.get(), 0, bytes.data(), bytes.size(), result.readErrors());
    brisko::storeU32(bytes.data() + brisko::clr_header::kBlockCount, blocks);
    result.output().append(bytes);
}

bool copyBlocks(const Part& part, BlockSink& sink) {
    return part.plain ? copyPlainBlocks(part.file.get(), part.header, sink)
                      : copyCompressedBlocks(part.file.get(), part.header, sink);
}

bool merge(const std::string& firstPath, const std::string& secondPath,
           const std::string& outputPath, CProgressCallback* callback) {
    StagedCopy result;
    Part first, second;
    if (!first.open(firstPath) || !second.open(secondPath)) return false;
    if (!fitTogether(first, second)) return false;
    const auto blocks = sumOfBlocks(first, second);
    const auto size = blocks ? outputSize(first, second, *blocks) : std::nullopt;
    const std::uint64_t inputSize = first.size + second.size;
    if (!size || !brisko::isOutputReasonable(*size, inputSize, outputPath)) return false;

    if (!result.create(outputPath, {firstPath, secondPath})) return false;
    ProcessProgress progress(callback, *size);
    writeHeader(first, *blocks, result);
    BlockSink sink{result.output(), progress, brisko::largestOutputFor(inputSize)};
    return copyBlocks(first, sink) && copyBlocks(second, sink) && result.publish(progress);
}

}  // namespace

std::uint16_t CombineMultiCLR(const std::string& first, const std::string& second,
                              const std::string& output, CProgressCallback* callback) {
    return runProcess(callback, kMergeClrFailed, [&](CProgressCallback* watched) {
        return merge(first, second, output, watched);
    });
}

}  // namespace QelPcpLib
