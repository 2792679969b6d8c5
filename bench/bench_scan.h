#pragma once

#include <brisko_codec/brisko_codec.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace brisko::bench {

/// The grid that all benchmarks work on; BRISKO_BENCH_COLUMNS sets the columns (default 800, of 2500
/// rows each: 2 million cells).
struct BenchGrid {
    std::uint32_t columns;
    std::uint32_t rows;

    std::uint64_t cells() const { return std::uint64_t{columns} * rows; }
};
BenchGrid benchGrid();

/// A made-up but lively point for a cell, quick to make; every ninth cell is empty.
struct BenchPoint {
    double x, y, z;
    float intensity;
    std::uint8_t red, green, blue;
    bool present;
};
BenchPoint benchPoint(std::uint32_t column, std::uint32_t row);

CL3FileHeader benchHeader();

/// Files for reading, written once into a folder of the process that goes at its end.
struct BenchScans {
    std::string plain;    // scan.cl3 with scan.alg
    std::string indexed;  // grid.cl3, grid.ij, grid.alg
    std::string raw;      // raw.clr, one block
};
const BenchScans& benchScans();
/// A path in the same folder for output.
std::string benchOutput(const std::string& name);

struct Destroyer {
    void operator()(BriskoCodec* codec) const { BriskoCodec::Destroy(codec); }
};

}  // namespace brisko::bench
