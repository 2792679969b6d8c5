#pragma once

#include <brisko_codec/cell_reader.h>

#include <bit>
#include <cstdint>

namespace brisko::scan {

/// All points of a scan in one number that does not depend on their order.
struct PointTally {
    std::uint64_t points = 0;
    std::uint64_t sum = 0;

    void add(const CellPoint& p, bool withCell) {
        std::uint64_t one = mixed(1, std::bit_cast<std::uint64_t>(p.x));
        one = mixed(one, std::bit_cast<std::uint64_t>(p.y));
        one = mixed(one, std::bit_cast<std::uint64_t>(p.z));
        const std::uint32_t colour =
            p.red | std::uint32_t{p.green} << 8 | std::uint32_t{p.blue} << 16;
        one = mixed(one, std::uint64_t{std::bit_cast<std::uint32_t>(p.intensity)} << 32 | colour);
        if (withCell) one = mixed(one, std::uint64_t{p.column} << 32 | p.row);
        ++points;
        sum += one;
    }

private:
    static std::uint64_t mixed(std::uint64_t sum, std::uint64_t bits) {
        // Odd factors of no structure; the shift brings high bits down.
        sum = (sum ^ bits) * 0x9e3779b97f4a7c15u;
        return sum ^ sum >> 29;
    }
};

}  // namespace brisko::scan
