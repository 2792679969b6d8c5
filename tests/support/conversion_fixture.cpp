#include "support/conversion_fixture.h"

#include <unistd.h>
#include <cstdio>
#include <random>

namespace brisko::test {

namespace {

ClrRecord randomRecord(std::mt19937& random) {
    if (random() % 4 == 0) return {};
    const auto coordinate = [&random] {
        return static_cast<std::int32_t>(random() % 400'001) - 200'000;
    };
    return {coordinate(), coordinate(), coordinate(), 0,
            static_cast<std::int32_t>(1 + random() % 2000)};
}

}  // namespace

Bytes rawScan(const RawSpec& spec) {
    ByteWriter out;
    out.text("CLR_0.7", 32).text(spec.model, 48);
    for (const float condition : {20.0F, 1013.0F, 0.0F, 10.0F, 360.0F, 150.0F})
        out.f32(condition);
    out.i32(spec.columns).i32(spec.rows).u32(spec.format).u32(spec.blocks);
    std::mt19937 random(spec.seed);
    for (std::uint32_t block = 0; block < spec.blocks; ++block) {
        out.u8(0);
        for (std::int32_t column = 0; column < spec.columns; ++column) {
            std::vector<ClrRecord> line;
            for (std::int32_t row = 0; row < spec.rows; ++row)
                line.push_back(randomRecord(random));
            out.bytes(spec.format == 2 ? compressedLine(line) : clrRecords(line));
        }
    }
    return out;
}

std::map<std::string, Bytes> contentsOf(const TempFolder& folder) {
    std::map<std::string, Bytes> contents;
    for (const std::string& name : folder.names())
        contents[name] = readFile(folder / name);
    return contents;
}

SilentOutput::SilentOutput() {
    std::fflush(stdout);
    m_saved = dup(STDOUT_FILENO);
    dup2(STDERR_FILENO, STDOUT_FILENO);
}

SilentOutput::~SilentOutput() {
    std::fflush(stdout);
    dup2(m_saved, STDOUT_FILENO);
    close(m_saved);
}

}  // namespace brisko::test
