#include "scan/formats/las/las_layout.h"

#include "base/bytes.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace brisko::scan {
namespace {

std::string decodeText(const std::uint8_t* in, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(in), size);
    text.resize(std::min(text.find('\0'), text.size()));
    return text;
}

void encodeText(std::uint8_t* out, std::string_view text, std::size_t size) {
    std::memcpy(out, text.data(), std::min(text.size(), size));
}

}  // namespace

static_assert(las_header::kReturns + 15 * sizeof(std::uint64_t) == las_header::kSize14);
static_assert(las_header::kBounds + 6 * sizeof(double) == las_header::kSize12);

LasHeader decodeLasHeader(std::span<const std::uint8_t> bytes) {
    using namespace las_header;
    const std::uint8_t* const in = bytes.data();
    LasHeader header;
    header.sourceId = load<std::uint16_t>(in + kSourceId);
    header.encoding = load<std::uint16_t>(in + kEncoding);
    header.major = in[kMajor];
    header.minor = in[kMinor];
    header.system = decodeText(in + kSystem, kTextSize);
    header.software = decodeText(in + kSoftware, kTextSize);
    header.day = load<std::uint16_t>(in + kDay);
    header.year = load<std::uint16_t>(in + kYear);
    header.headerSize = load<std::uint16_t>(in + kHeaderSize);
    header.pointOffset = loadU32(in + kPointOffset);
    header.records = loadU32(in + kRecords);
    header.pointFormat = in[kPointFormat];
    header.pointSize = load<std::uint16_t>(in + kPointSize);
    header.count = header.legacyCount = loadU32(in + kLegacyCount);
    for (std::size_t i = 0; i < 5; ++i)
        header.returns[i] = loadU32(in + kLegacyReturns + 4 * i);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        header.scale[axis] = loadF64(in + kScale + 8 * axis);
        header.offset[axis] = loadF64(in + kOffset + 8 * axis);
        header.max[axis] = loadF64(in + kBounds + 16 * axis);
        header.min[axis] = loadF64(in + kBounds + 16 * axis + 8);
    }
    if (header.minor < 4 || bytes.size() < kSize14) return header;
    header.extendedAt = load<std::uint64_t>(in + kExtendedAt);
    header.extended = loadU32(in + kExtended);
    const auto count = load<std::uint64_t>(in + kCount);
    if (count == 0) return header;
    header.count = count;
    for (std::size_t i = 0; i < 15; ++i)
        header.returns[i] = load<std::uint64_t>(in + kReturns + 8 * i);
    return header;
}

std::vector<std::uint8_t> encodeLasHeader(const LasHeader& header) {
    using namespace las_header;
    std::vector<std::uint8_t> bytes(header.headerSize);
    std::uint8_t* const out = bytes.data();
    encodeText(out + kSignature, "LASF", 4);
    store(out + kSourceId, header.sourceId);
    store(out + kEncoding, header.encoding);
    out[kMajor] = header.major;
    out[kMinor] = header.minor;
    encodeText(out + kSystem, header.system, kTextSize);
    encodeText(out + kSoftware, header.software, kTextSize);
    store(out + kDay, header.day);
    store(out + kYear, header.year);
    store(out + kHeaderSize, header.headerSize);
    storeU32(out + kPointOffset, header.pointOffset);
    storeU32(out + kRecords, header.records);
    out[kPointFormat] = header.pointFormat;
    store(out + kPointSize, header.pointSize);
    const bool hasLegacyCounts = header.pointFormat < kFirstWideFormat &&
                                 header.count <= std::numeric_limits<std::uint32_t>::max();
    if (hasLegacyCounts) {
        storeU32(out + kLegacyCount, static_cast<std::uint32_t>(header.count));
        for (std::size_t i = 0; i < 5; ++i)
            storeU32(out + kLegacyReturns + 4 * i, static_cast<std::uint32_t>(header.returns[i]));
    }
    for (std::size_t axis = 0; axis < 3; ++axis) {
        storeF64(out + kScale + 8 * axis, header.scale[axis]);
        storeF64(out + kOffset + 8 * axis, header.offset[axis]);
        storeF64(out + kBounds + 16 * axis, header.max[axis]);
        storeF64(out + kBounds + 16 * axis + 8, header.min[axis]);
    }
    if (header.headerSize < kSize14) return bytes;
    store(out + kExtendedAt, header.extendedAt);
    storeU32(out + kExtended, header.extended);
    store(out + kCount, header.count);
    for (std::size_t i = 0; i < 15; ++i)
        store(out + kReturns + 8 * i, header.returns[i]);
    return bytes;
}

LasRecord decodeLasRecord(const std::uint8_t* in, bool isExtended) {
    using namespace las_record;
    constexpr std::size_t kWider = kExtendedSize - kSize;
    LasRecord record;
    record.user = decodeText(in + kUser, kUserSize);
    record.id = load<std::uint16_t>(in + kId);
    record.length =
        isExtended ? load<std::uint64_t>(in + kLength) : load<std::uint16_t>(in + kLength);
    record.description =
        decodeText(in + kDescription + (isExtended ? kWider : 0), las_header::kTextSize);
    return record;
}

void appendLasRecord(std::vector<std::uint8_t>& out, const LasRecord& record,
                     std::span<const std::uint8_t> data) {
    using namespace las_record;
    const std::size_t at = out.size();
    out.resize(at + kSize);
    encodeText(out.data() + at + kUser, record.user, kUserSize);
    store(out.data() + at + kId, record.id);
    store(out.data() + at + kLength, static_cast<std::uint16_t>(data.size()));
    encodeText(out.data() + at + kDescription, record.description, las_header::kTextSize);
    out.insert(out.end(), data.begin(), data.end());
}

namespace {

namespace las_field {                // size  meaning
constexpr std::size_t kType = 2;     //    1
constexpr std::size_t kOptions = 3;  //    1  of type 0: how many bytes
constexpr std::size_t kName = 4;     //   32
constexpr std::size_t kSize = 192;
constexpr std::uint8_t kScaled = 0x08 | 0x10;  // by a factor, by an offset
}  // namespace las_field

/// Bytes of a value; of types 11 to 30 two or three values make one field. 0: no such type.
std::size_t sizeOfType(std::uint8_t type, std::uint8_t options) {
    constexpr std::size_t kSizes[] = {1, 1, 2, 2, 4, 4, 8, 8, 4, 8};
    if (type == 0) return options;
    if (type > 30) return 0;
    return kSizes[(type - 1) % 10] * (1 + static_cast<std::size_t>(type - 1) / 10);
}

namespace las_scan {                      // size  meaning
constexpr std::size_t kVersion = 0;       //    2  1
constexpr std::size_t kFlags = 2;         //    2  bit 0: intensities were whole numbers
constexpr std::size_t kColumns = 4;       //    4
constexpr std::size_t kRows = 8;          //    4
constexpr std::size_t kBandColumns = 12;  //    4
constexpr std::size_t kMatrix = 16;       //  128  16 doubles, row by row
constexpr std::size_t kName = 144;        //       UTF-8, to the end of the record
constexpr std::size_t kLongestName = 1024;
constexpr std::uint16_t kWhole = 1;
}  // namespace las_scan

}  // namespace

std::vector<LasField> decodeLasFields(std::span<const std::uint8_t> data, std::size_t first,
                                      std::size_t end) {
    std::vector<LasField> fields;
    for (; data.size() >= las_field::kSize; data = data.subspan(las_field::kSize)) {
        LasField field;
        field.type = data[las_field::kType];
        const std::uint8_t options = data[las_field::kOptions];
        field.name = decodeText(data.data() + las_field::kName, las_header::kTextSize);
        field.isScaled = field.type != 0 && (options & las_field::kScaled) != 0;
        field.size = sizeOfType(field.type, options);
        field.offset = first;
        first += field.size;
        const bool isUnknown = field.size == 0 && field.type != 0;
        if (isUnknown || first > end) return {};
        fields.push_back(std::move(field));
    }
    return fields;
}

std::vector<std::uint8_t> encodeLasFields(std::span<const LasField> fields) {
    std::vector<std::uint8_t> data(fields.size() * las_field::kSize);
    std::uint8_t* out = data.data();
    for (const LasField& field : fields) {
        out[las_field::kType] = field.type;
        encodeText(out + las_field::kName, field.name, las_header::kTextSize);
        out += las_field::kSize;
    }
    return data;
}

std::optional<LasScanRecord> decodeLasScan(std::span<const std::uint8_t> data) {
    using namespace las_scan;
    if (data.size() < kName || load<std::uint16_t>(data.data() + kVersion) != 1) return {};
    LasScanRecord record;
    record.wholeIntensities = (load<std::uint16_t>(data.data() + kFlags) & kWhole) != 0;
    record.columns = loadU32(data.data() + kColumns);
    record.rows = loadU32(data.data() + kRows);
    record.bandColumns = loadU32(data.data() + kBandColumns);
    std::memcpy(record.matrix.data(), data.data() + kMatrix, sizeof record.matrix);
    record.name = decodeText(data.data() + kName, std::min(data.size() - kName, kLongestName));
    return record;
}

std::vector<std::uint8_t> encodeLasScan(const LasScanRecord& record) {
    using namespace las_scan;
    const std::string name = record.name.size() <= kLongestName ? record.name : std::string();
    std::vector<std::uint8_t> data(kName + name.size());
    store(data.data() + kVersion, std::uint16_t{1});
    store(data.data() + kFlags, record.wholeIntensities ? kWhole : std::uint16_t{0});
    storeU32(data.data() + kColumns, record.columns);
    storeU32(data.data() + kRows, record.rows);
    storeU32(data.data() + kBandColumns, record.bandColumns);
    std::memcpy(data.data() + kMatrix, record.matrix.data(), sizeof record.matrix);
    encodeText(data.data() + kName, name, name.size());
    return data;
}

}  // namespace brisko::scan
