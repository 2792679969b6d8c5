// Headers, block headers and records: what is read and written again are the bytes that were there,
// as far as whole fields of them were.

#include "input.h"

#include "support/scan_bytes.h"

#include <brisko_codec/block_header.h>
#include <brisko_codec/file_header.h>
#include <brisko_codec/point_records.h>

#include <cmath>
#include <cstdio>
#include <memory>

namespace brisko::fuzz {

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using MemoryFile = std::unique_ptr<std::FILE, CloseFile>;

MemoryFile openBytes(Bytes& bytes, const char* mode) {
    return MemoryFile(fmemopen(bytes.data(), bytes.size(), mode));
}

/// The widths of the fields; those below 0 are bytes of no meaning, written as 0.
using Fields = std::vector<int>;
constexpr int kLowestOfFour = 41;  // four bytes of which the lowest counts
const Fields kCl3Fields = {32, 12, 4, 4, 12, 8, 6, 4, 4, 4, 4, 4, 4, 4, 4, 4, 1};
const Fields kClrFields = {32, 12, 4, 4, 12, 8, 6, -2, 4, 4, 4, 4, 4, 4, 4, 4, kLowestOfFour, 4};

/// What the fields of a header hold before it is read.
constexpr std::uint8_t kBefore = 0x5A;

/// The bytes that reading and writing leaves: what a short file lacks keeps its value.
Bytes wholeFields(ByteSpan bytes, const Fields& fields) {
    Bytes kept;
    for (const int field : fields) {
        const auto width = field == kLowestOfFour ? 4 : static_cast<std::size_t>(std::abs(field));
        const std::size_t at = kept.size();
        kept.resize(at + width);
        if (field < 0) continue;
        const std::size_t counted = field == kLowestOfFour ? 1 : width;
        if (at + width > bytes.size())
            std::fill_n(kept.begin() + static_cast<std::ptrdiff_t>(at), counted, kBefore);
        else
            std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), counted, kept.data() + at);
    }
    return kept;
}

template <class Header>
void expectHeader(ByteSpan input, const Fields& fields) {
    const Bytes expected = wholeFields(input, fields);
    Bytes in = toBytes(input.first(std::min(input.size(), expected.size())));
    Header header;
    Bytes before(expected.size(), kBefore);
    header.Read(openBytes(before, "rb").get());
    if (!in.empty()) header.Read(openBytes(in, "rb").get());
    Bytes out(expected.size() + 1, 0xEE);
    header.Write(openBytes(out, "wb").get());
    out.pop_back();
    expect(out == expected);

    // Derived numbers are defined for any header; texts survive their setters up to a NUL.
    header.GetAzimuthResolution();
    header.GetZenithResolution();
    header.GetDeltaAzimuthAngle();
    header.GetDeltaZenithAngle();
    header.SetModelName(header.GetModelName());
    const std::string name = header.GetModelName();
    expect(name.size() == 12);
    expect(name.find_first_not_of('\0', std::min(name.find('\0'), name.size())) == name.npos);
    CLRBlockHeader().GetPointCount(&header);
}

template <class Record>
void expectRecord(ByteSpan input) {
    Record record;
    if (input.size() < record.GetSize()) return;
    record.Decode(input.data());
    record.IsValid();
    Bytes out(record.GetSize());
    record.Encode(out.data());
    expect(std::equal(out.begin(), out.end(), input.begin()));
}

/// Metres survive being stored, but for a unit and a half, and a stored number survives always.
void expectStoredLength(Input input) {
    const double x = input.f64();
    CLRPoint point;
    point.SetX(x);
    if (x > -200000 && x < 200000) expect(std::abs(point.GetX() - x) <= 1.6e-4);
    const auto units = static_cast<std::int32_t>(input.u32());
    const CLRPoint stored(units, 0, 0, 0, 0);
    expect(std::abs(stored.GetX() * 10000 - units) < 0.5);
}

void run(ByteSpan input) {
    expectHeader<CL3FileHeader>(input, kCl3Fields);
    expectHeader<CLRFileHeader>(input, kClrFields);
    expectRecord<CL3Point0>(input);
    expectRecord<CL3Point1>(input);
    expectRecord<CLRPoint>(input);
    expectStoredLength(Input(input));
}

std::vector<Bytes> seeds() {
    return {test::cl3Header(3), test::clrHeader(3, 4, 2, 1), Bytes(20, 0x81)};
}

const Registered registered({"header", run, seeds});

}  // namespace

}  // namespace brisko::fuzz
