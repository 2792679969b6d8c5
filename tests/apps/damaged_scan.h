#pragma once

#include "apps/made_scan.h"
#include "layouts/alignment_matrix.h"
#include "scan/formats/native/native_layout.h"
#include "scan/formats/scan_input.h"
#include "support/scan_bytes.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

namespace brisko::test {

/// The bytes with some of them replaced.
inline Bytes patched(Bytes bytes, std::size_t offset, const Bytes& with) {
    std::copy(with.begin(), with.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    return bytes;
}

inline std::uint32_t wordAt(const Bytes& bytes, std::size_t offset) {
    EXPECT_LE(offset + 4, bytes.size());
    return loadU32(bytes.data() + offset);
}

/// A point and its cell, in a form that can be compared and sorted.
using CellTuple = std::tuple<std::uint32_t, std::uint32_t, double, double, double, float>;

/// All points of a scan in the scanner's frame, or in the aligned one.
inline std::vector<CellPoint> readAll(const std::string& path,
                                      const scan::ReadOptions& options = {}) {
    const std::unique_ptr<scan::ScanInput> input = scan::openScan(path, options);
    std::vector<CellPoint> all, some;
    for (input->read(some); !some.empty(); input->read(some))
        all.insert(all.end(), some.begin(), some.end());
    return all;
}
inline std::vector<CellPoint> readAligned(const std::string& path) {
    const AlignmentMatrix matrix(scan::openScan(path)->info().alignment);
    std::vector<CellPoint> all = readAll(path);
    for (CellPoint& p : all)
        matrix.apply(p.x, p.y, p.z);
    return all;
}

/// The same, sorted; without a grid all are in cell (0, 0).
inline std::vector<CellTuple> pointsIn(const std::string& path) {
    std::vector<CellTuple> all;
    for (const CellPoint& p : readAll(path))
        all.emplace_back(p.column, p.row, p.x, p.y, p.z, p.intensity);
    std::sort(all.begin(), all.end());
    return all;
}

/// The same without their cells.
inline std::vector<CellTuple> withoutCells(std::vector<CellTuple> points) {
    for (CellTuple& point : points) {
        std::get<0>(point) = 0;
        std::get<1>(point) = 0;
    }
    std::sort(points.begin(), points.end());
    return points;
}

/// Writes a scan with its companions, as a.cl3 or a.clr and so on, and takes their bytes.
struct ScanFiles {
    Bytes scan, index, alignment;
};

/// Four tiles, 300 x 270 cells, an alignment; made as folder/name.cl3.
inline ScanFiles writeTiledScan(const TempFolder& folder, const std::string& name) {
    const std::string ptx = folder / "made.ptx";
    writeFile(ptx, madeScan(300, 270, {170, -0.5, 40, -0.25}, true, kTurnedLines));
    convert(ptx, folder / (name + ".cl3"));
    std::filesystem::remove(ptx);
    return {readFile(folder / (name + ".cl3")), readFile(folder / (name + ".ij")),
            readFile(folder / (name + ".alg"))};
}

/// Where each block of a CL3 file of point format 1 begins.
inline std::vector<std::size_t> blockOffsets(const Bytes& scan) {
    std::vector<std::size_t> offsets;
    for (std::size_t at = 115; at < scan.size(); at += 5 + 31 * std::size_t{wordAt(scan, at)})
        offsets.push_back(at);
    return offsets;
}

constexpr std::size_t kTileBytes = 12 + 4 * 256 * 256;

/// A double that is none.
inline Bytes notANumber() {
    return {0, 0, 0, 0, 0, 0, 0xf8, 0x7f};
}

}  // namespace brisko::test
