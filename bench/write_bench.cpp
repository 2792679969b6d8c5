// Writing: each writer beside a bare loop that packs the same records into blocks and fwrites them.

#include "bench_scan.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace brisko::bench {

namespace {

/// The points of the grid, made beforehand, so that only writing is timed.
const std::vector<BenchPoint>& points() {
    static const std::vector<BenchPoint> made = [] {
        std::vector<BenchPoint> all;
        const BenchGrid grid = benchGrid();
        all.reserve(grid.cells());
        for (std::uint32_t column = 0; column < grid.columns; ++column) {
            for (std::uint32_t row = 0; row < grid.rows; ++row)
                all.push_back(benchPoint(column, row));
        }
        return all;
    }();
    return made;
}

void report(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(points().size()));
}

void bareRecordLoop(benchmark::State& state) {
    const std::string path = benchOutput("bare.bin");
    constexpr std::size_t kBlock = std::size_t{256} << 10;
    points();
    for (auto _ : state) {
        std::FILE* const file = std::fopen(path.c_str(), "wb");
        std::setvbuf(file, nullptr, _IONBF, 0);
        std::vector<std::uint8_t> block(kBlock);
        std::size_t used = 0;
        for (const BenchPoint& p : points()) {
            std::uint8_t* const out = block.data() + used;
            std::memcpy(out, &p.x, 8);
            std::memcpy(out + 8, &p.y, 8);
            std::memcpy(out + 16, &p.z, 8);
            std::memcpy(out + 24, &p.intensity, 4);
            out[28] = p.red, out[29] = p.green, out[30] = p.blue;
            used += 31;
            if (used + 31 <= kBlock) continue;
            std::fwrite(block.data(), 1, used, file);
            used = 0;
        }
        std::fwrite(block.data(), 1, used, file);
        std::fclose(file);
    }
    report(state);
}
BENCHMARK(bareRecordLoop);

void cl3Writer(benchmark::State& state) {
    const std::string path = benchOutput("out.cl3");
    points();
    for (auto _ : state) {
        CL3WriterCodec writer;
        CL3FileHeader header = benchHeader();
        BaseWriterCodec& out = writer;
        out.Open(path.c_str(), &header);
        for (const BenchPoint& p : points())
            out.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255);
        out.Close();
    }
    report(state);
}
BENCHMARK(cl3Writer);

template <class Writer>
void gridWriter(benchmark::State& state, const std::string& name) {
    const std::string path = benchOutput(name);
    const std::uint32_t rows = benchGrid().rows;
    points();
    for (auto _ : state) {
        Writer writer;
        CL3FileHeader header = benchHeader();
        BaseWriterGridCodec& out = writer;
        out.Open(path.c_str(), &header);
        std::uint32_t column = 0, row = 0;
        for (const BenchPoint& p : points()) {
            out.WritePoint(p.x, p.y, p.z, p.intensity, p.red, p.green, p.blue, 255, column, row);
            if (++row < rows) continue;
            row = 0;
            ++column;
        }
        out.Close();
    }
    report(state);
}

void cl3GridWriter(benchmark::State& s) {
    gridWriter<CL3IJWriterGridCodec>(s, "grid_out.cl3");
}
void clrGridWriter(benchmark::State& s) {
    gridWriter<CLRWriterGridCodec>(s, "raw_out.clr");
}
BENCHMARK(cl3GridWriter);
BENCHMARK(clrGridWriter);

}  // namespace

}  // namespace brisko::bench
