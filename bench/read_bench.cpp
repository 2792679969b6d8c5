// Reading: each interface of the library beside a bare loop that freads the same bytes in large
// batches, decodes them field by field and applies the same matrix.

#include "bench_scan.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace brisko::bench {

namespace {

/// What a host does with a point, so that no loop can be left out.
struct Sum {
    double position = 0;
    double intensity = 0;
    std::uint64_t colour = 0;
    std::uint64_t cells = 0;
    std::int64_t points = 0;

    void add(double x, double y, double z, float i, std::uint8_t r, std::uint8_t g,
             std::uint8_t b) {
        position += x + y + z;
        intensity += static_cast<double>(i);
        colour += static_cast<std::uint64_t>(r) + g + b;
        ++points;
    }
};

void report(benchmark::State& state, const Sum& sum) {
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * sum.points);
}

struct Matrix {
    double m[16];

    void apply(double& x, double& y, double& z) const {
        const double w = m[12] * x + m[13] * y + m[14] * z + m[15];
        const double ax = (m[0] * x + m[1] * y + m[2] * z + m[3]) / w;
        const double ay = (m[4] * x + m[5] * y + m[6] * z + m[7]) / w;
        const double az = (m[8] * x + m[9] * y + m[10] * z + m[11]) / w;
        x = ax, y = ay, z = az;
    }
};

Matrix alignmentOf(const std::string& scan) {
    Matrix matrix{};
    readAlignmentFile((scan.substr(0, scan.rfind('.')) + ".alg").c_str(), matrix.m);
    return matrix;
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
File openForReading(const std::string& path) {
    return {std::fopen(path.c_str(), "rb"), std::fclose};
}

void bareCL3Loop(benchmark::State& state) {
    const std::string path = benchScans().plain;
    const Matrix matrix = alignmentOf(path);
    constexpr std::uint32_t kBatch = 65536;
    Sum sum;
    for (auto _ : state) {
        sum = {};
        const File file = openForReading(path);
        std::vector<std::uint8_t> bytes(kBatch * 31);
        std::uint8_t head[115];
        std::size_t got = std::fread(head, 1, sizeof head, file.get());
        std::uint32_t blocks = 0;
        std::memcpy(&blocks, head + 110, 4);
        for (; blocks > 0 && got > 0; --blocks) {
            std::uint32_t left = 0;
            got = std::fread(head, 1, 5, file.get());
            std::memcpy(&left, head, 4);
            while (left > 0) {
                const std::uint32_t count = std::min(left, kBatch);
                got = std::fread(bytes.data(), 31, count, file.get());
                const std::uint8_t* in = bytes.data();
                for (std::uint32_t i = 0; i < count; ++i, in += 31) {
                    double x, y, z;
                    float intensity;
                    std::memcpy(&x, in, 8);
                    std::memcpy(&y, in + 8, 8);
                    std::memcpy(&z, in + 16, 8);
                    std::memcpy(&intensity, in + 24, 4);
                    if (!(intensity > 0) && x == 0 && y == 0 && z == 0) continue;
                    matrix.apply(x, y, z);
                    sum.add(x, y, z, intensity, in[28], in[29], in[30]);
                }
                left -= count;
            }
        }
    }
    report(state, sum);
}
BENCHMARK(bareCL3Loop);

void bareCLRLoop(benchmark::State& state) {
    const std::string path = benchScans().raw;
    constexpr std::size_t kBatch = 5000;
    Sum sum;
    for (auto _ : state) {
        sum = {};
        const File file = openForReading(path);
        std::vector<std::int32_t> values(kBatch * 5);
        std::uint8_t head[121];
        std::size_t got = std::fread(head, 1, sizeof head, file.get());
        while ((got = std::fread(values.data(), 20, kBatch, file.get())) > 0) {
            for (std::size_t i = 0; i < got; ++i) {
                const std::int32_t* const v = values.data() + 5 * i;
                if (v[4] <= 0) continue;
                sum.add(v[0] / 10000.0, v[1] / 10000.0, v[2] / 10000.0, static_cast<float>(v[4]), 0,
                        0, 0);
            }
        }
    }
    report(state, sum);
}
BENCHMARK(bareCLRLoop);

template <class Codec>
void readPoints(benchmark::State& state, const std::string& path) {
    Sum sum;
    for (auto _ : state) {
        sum = {};
        const std::unique_ptr<Codec, Destroyer> codec(Codec::Create());
        codec->Open(path.c_str());
        double x, y, z;
        float i;
        std::uint8_t r, g, b, a;
        bool more = codec->ReadFirstPoint(x, y, z, i, r, g, b, a);
        while (more) {
            sum.add(x, y, z, i, r, g, b);
            more = codec->ReadNextPoint(x, y, z, i, r, g, b, a);
        }
    }
    report(state, sum);
}

template <class Codec>
void readGridPoints(benchmark::State& state, const std::string& path) {
    Sum sum;
    for (auto _ : state) {
        sum = {};
        const std::unique_ptr<Codec, Destroyer> codec(Codec::Create());
        codec->Open(path.c_str());
        double x, y, z;
        float i;
        std::uint8_t r, g, b, a;
        unsigned column, row;
        bool more = codec->ReadFirstGridPoint(x, y, z, i, r, g, b, a, column, row);
        while (more) {
            sum.add(x, y, z, i, r, g, b);
            sum.cells += column + row;
            more = codec->ReadNextGridPoint(x, y, z, i, r, g, b, a, column, row);
        }
    }
    report(state, sum);
}

template <class Codec>
void readBatches(benchmark::State& state, const std::string& path) {
    constexpr std::size_t kCapacity = 4096;
    std::vector<double> positions(3 * kCapacity);
    std::vector<float> intensities(kCapacity);
    std::vector<std::uint8_t> colours(3 * kCapacity);
    std::vector<std::uint32_t> columns(kCapacity), rows(kCapacity);
    const PointArrays arrays{positions.data(), intensities.data(), colours.data(), columns.data(),
                             rows.data()};
    Sum sum;
    for (auto _ : state) {
        sum = {};
        const std::unique_ptr<Codec, Destroyer> codec(Codec::Create());
        codec->Open(path.c_str());
        PointBatchReader reader(*codec);
        std::size_t count = reader.readFirst(arrays, kCapacity);
        while (count > 0) {
            for (std::size_t k = 0; k < count; ++k) {
                sum.add(positions[3 * k], positions[3 * k + 1], positions[3 * k + 2],
                        intensities[k], colours[3 * k], colours[3 * k + 1], colours[3 * k + 2]);
                sum.cells += columns[k] + rows[k];
            }
            count = reader.readNext(arrays, kCapacity);
        }
    }
    report(state, sum);
}

void cl3ReadNextPoint(benchmark::State& s) {
    readPoints<CL3Codec>(s, benchScans().plain);
}
void cl3Batch(benchmark::State& s) {
    readBatches<CL3Codec>(s, benchScans().plain);
}
void cl3ReadNextGridPoint(benchmark::State& s) {
    readGridPoints<CL3GridCodec>(s, benchScans().indexed);
}
void cl3GridBatch(benchmark::State& s) {
    readBatches<CL3GridCodec>(s, benchScans().indexed);
}
void clrReadNextGridPoint(benchmark::State& s) {
    readGridPoints<CLRGridCodec>(s, benchScans().raw);
}
void clrBatch(benchmark::State& s) {
    readBatches<CLRGridCodec>(s, benchScans().raw);
}
BENCHMARK(cl3ReadNextPoint);
BENCHMARK(cl3Batch);
BENCHMARK(cl3ReadNextGridPoint);
BENCHMARK(cl3GridBatch);
BENCHMARK(clrReadNextGridPoint);
BENCHMARK(clrBatch);

void oneCell(benchmark::State& state) {
    CL3CellReader reader;
    reader.open(benchScans().indexed.c_str());
    const BenchGrid grid = benchGrid();
    CellPoint point;
    std::uint64_t cell = 0;
    for (auto _ : state) {
        cell = (cell + 1'234'577) % grid.cells();
        benchmark::DoNotOptimize(reader.readCell(static_cast<std::uint32_t>(cell / grid.rows),
                                                 static_cast<std::uint32_t>(cell % grid.rows),
                                                 point));
    }
}
BENCHMARK(oneCell);

}  // namespace

}  // namespace brisko::bench
