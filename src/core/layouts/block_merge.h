#pragma once

#include <brisko_codec/compressed_lines.h>

#include "layouts/range_table.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko {

/// Merges the returns that several blocks of a CLR scan hold for the same cells, in block order, a
/// run of cells at a time. Two returns of one surface: the one that lies better in the range
/// interval of its block wins; of two surfaces the farther one.
class BlockMerge {
public:
    explicit BlockMerge(const RangeTable& table) : m_table(table) {}

    /// Starts a run of so many cells, all without a point.
    void start(std::size_t cells);
    /// Adds one block's records of the run.
    void add(const RawRecord* records, std::uint8_t flag);

    const RawRecord* merged() const { return m_merged.data(); }
    RawRecord* merged() { return m_merged.data(); }

private:
    struct Chosen {
        double range = 0;              // of the merged record, metres
        RangeInterval interval{0, 0};  // of the block it came from
    };

    bool replaces(const Chosen& chosen, double range, const RangeInterval& interval) const;

    const RangeTable& m_table;
    std::vector<RawRecord> m_merged;
    std::vector<Chosen> m_chosen;
};

}  // namespace brisko
