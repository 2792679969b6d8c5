#include "scan/formats/pcd/pcd_blocks.h"

#include "base/bytes.h"
#include "base/checked.h"
#include "scan/files/input_file.h"
#include "scan/formats/pcd/lzf_stream.h"
#include "scan/formats/point_pieces.h"

#include <brisko_scan/scan_error.h>

#include <algorithm>

namespace brisko::scan {
namespace {

/// Numbers of a kind, one every `stride` bytes.
using Load = void (*)(const std::uint8_t* in, std::size_t stride, std::size_t count, double* out);

template <class Number>
void loadAll(const std::uint8_t* in, std::size_t stride, std::size_t count, double* out) {
    for (; count > 0; --count, in += stride)
        *out++ = static_cast<double>(load<Number>(in));
}

Load loadOf(PcdRole role, const PcdField& field) {
    constexpr struct {
        char type;
        std::uint32_t size;
        Load load;
    } kLoads[] = {
        {'F', 4, loadAll<float>},         {'F', 8, loadAll<double>},
        {'U', 1, loadAll<std::uint8_t>},  {'U', 2, loadAll<std::uint16_t>},
        {'U', 4, loadAll<std::uint32_t>}, {'U', 8, loadAll<std::uint64_t>},
        {'I', 1, loadAll<std::int8_t>},   {'I', 2, loadAll<std::int16_t>},
        {'I', 4, loadAll<std::int32_t>},  {'I', 8, loadAll<std::int64_t>},
    };
    // Of packed colours the bits count, whatever they are called.
    const char type = role == PcdRole::Packed ? 'U' : field.type;
    return std::find_if(
               std::begin(kLoads), std::end(kLoads),
               [&](const auto& known) { return known.type == type && known.size == field.size; })
        ->load;
}

template <class Use>
void forEachRole(const PcdHeader& header, const Use& use) {
    for (std::size_t i = 0; i < kPcdRoles; ++i) {
        const auto role = static_cast<PcdRole>(i);
        if (const PcdField* const field = header.field(role)) use(role, *field);
    }
}

/// Points of the next block.
std::size_t countOf(const PcdHeader& header, std::uint64_t done) {
    constexpr std::uint64_t kMostBytes = 1 << 20;
    const std::uint64_t most =
        std::clamp<std::uint64_t>(kMostBytes / header.recordSize, 1, kPiecePoints);
    return static_cast<std::size_t>(std::min(header.points - done, most));
}

/// Records one after the other.
class BinaryBlocks : public PcdBlocks {
public:
    BinaryBlocks(const std::string& path, const PcdHeader& header)
        : m_header(header), m_size(static_cast<std::size_t>(header.recordSize)), m_file(path) {
        const auto bytes = checkedMultiply(header.points, header.recordSize);
        const std::uint64_t left = m_file.size() - std::min(m_file.size(), m_header.dataOffset);
        if (!bytes || *bytes > left) failPcdTooShort(path, header);
    }

    bool fetch(PcdBlock& block) override {
        block.first = m_done;
        block.count = countOf(m_header, m_done);
        if (block.count == 0) return false;
        const std::size_t bytes = block.count * m_size;
        if (block.bytes.size() < bytes) block.bytes.resize(bytes);
        m_file.readAt(m_header.dataOffset + m_done * m_size, block.bytes.data(), bytes);
        m_done += block.count;
        return true;
    }

    void decode(PcdBlock& block) const override {
        makePcdRoom(m_header, block);
        forEachRole(m_header, [&](PcdRole role, const PcdField& field) {
            loadOf(role, field)(block.bytes.data() + field.offset, m_size, block.count,
                                block.columns[static_cast<std::size_t>(role)].data());
        });
    }

    void rewind() override { m_done = 0; }

private:
    PcdHeader m_header;
    std::size_t m_size;
    InputFile m_file;
    std::uint64_t m_done = 0;
};

/// Field after field, and all of them compressed as one. A stream for each field that is looked at starts
/// where its values start.
class CompressedBlocks : public PcdBlocks {
public:
    CompressedBlocks(const std::string& path, const PcdHeader& header)
        : m_path(path), m_header(header) {
        openStream();  // damage of the two sizes shows at once
    }

    bool fetch(PcdBlock& block) override {
        block.first = m_done;
        block.count = countOf(m_header, m_done);
        if (block.count == 0) return false;
        if (m_starts.empty()) {
            findStarts(openStream());
            rewind();
        }
        std::size_t at = 0;
        for (const FieldStream& field : m_streams) {
            const std::size_t bytes = block.count * static_cast<std::size_t>(field.field->bytes());
            if (block.bytes.size() < at + bytes) block.bytes.resize(at + bytes);
            field.stream->read(block.bytes.data() + at, bytes);
            at += bytes;
        }
        m_done += block.count;
        return true;
    }

    void decode(PcdBlock& block) const override {
        makePcdRoom(m_header, block);
        const std::uint8_t* in = block.bytes.data();
        for (const auto& [role, field, stream] : m_streams) {
            const auto size = static_cast<std::size_t>(field->bytes());
            loadOf(role, *field)(in, size, block.count,
                                 block.columns[static_cast<std::size_t>(role)].data());
            in += block.count * size;
        }
    }

    void rewind() override {
        m_streams.clear();
        for (const auto& [role, field, stream] : m_starts)
            m_streams.push_back({role, field, stream->fork()});
        m_done = 0;
    }

private:
    struct FieldStream {
        PcdRole role;
        const PcdField* field;
        std::unique_ptr<LzfStream> stream;
    };

    LzfStream openStream() {
        constexpr std::size_t kSizes = 8;  // bytes of the two numbers before the data
        InputFile file(m_path);
        std::uint8_t sizes[kSizes];
        if (!file.readAt(m_header.dataOffset, sizes, kSizes)) failPcdTooShort(m_path, m_header);
        const std::uint64_t packed = loadU32(sizes), full = loadU32(sizes + 4);
        const std::uint64_t offset = m_header.dataOffset + kSizes;
        const auto all = checkedMultiply(m_header.points, m_header.recordSize);
        // Some programs leave the padding out.
        m_hasPadding = all && full == *all;
        const std::uint64_t padding = m_header.points * m_header.paddingSize;
        if (!all || (full != *all && full != *all - padding)) {
            throw ScanError(ErrorKind::Damaged, m_path,
                            std::to_string(full) + " bytes of compressed data do not make " +
                                std::to_string(m_header.points) + " points");
        }
        if (packed > file.size() - offset) failPcdTooShort(m_path, m_header);
        return LzfStream(m_path, offset, packed, full);
    }

    void findStarts(LzfStream stream) {
        for (const PcdField& field : m_header.fields) {
            forEachRole(m_header, [&](PcdRole role, const PcdField& used) {
                if (&used == &field) m_starts.push_back({role, &field, stream.fork()});
            });
            if (m_hasPadding || !field.isPadding()) stream.skip(m_header.points * field.bytes());
        }
        stream.requireEnd();
    }

    std::string m_path;
    PcdHeader m_header;
    bool m_hasPadding = false;
    std::vector<FieldStream> m_starts, m_streams;
    std::uint64_t m_done = 0;
};

}  // namespace

void makePcdRoom(const PcdHeader& header, PcdBlock& block) {
    forEachRole(header, [&](PcdRole role, const PcdField&) {
        block.columns[static_cast<std::size_t>(role)].resize(block.count);
    });
}

void failPcdTooShort(const std::string& path, const PcdHeader& header) {
    throw ScanError(ErrorKind::Damaged, path,
                    "the file is too short for the " + std::to_string(header.points) +
                        " points that its header announces");
}

std::unique_ptr<PcdBlocks> openPcdBlocks(const std::string& path, const PcdHeader& header) {
    if (header.data == PcdData::Ascii) return openPcdLines(path, header);
    if (header.data == PcdData::Binary) return std::make_unique<BinaryBlocks>(path, header);
    return std::make_unique<CompressedBlocks>(path, header);
}

}  // namespace brisko::scan
