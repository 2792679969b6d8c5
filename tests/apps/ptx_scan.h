#pragma once

#include "scan/formats/ptx/ptx_reader.h"

#include <string>
#include <vector>

namespace brisko::test {

/// Everything that a PTX file holds.
struct PtxScan {
    scan::PtxHeader header;
    bool hasColour = false;
    std::vector<CellPoint> points;
};

inline PtxScan readPtx(const std::string& path, std::size_t capacity = 10000) {
    scan::PtxReader reader(path);
    PtxScan scan{reader.header(), reader.hasColour(), {}};
    std::vector<CellPoint> some;
    for (reader.read(some, capacity); !some.empty(); reader.read(some, capacity))
        scan.points.insert(scan.points.end(), some.begin(), some.end());
    return scan;
}

}  // namespace brisko::test
