#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace brisko::scan {

/// A set of small cubes of space (voxels), exact, in a table without links: 4 x 4 x 4 neighbours share
/// a slot of 16 bytes, so that the surfaces of a scan take about a byte a voxel.
class VoxelSet {
public:
    /// Coordinates from 0 up to, not including, kSpan.
    static constexpr std::uint32_t kSpan = 1 << 23;
    struct Voxel {
        std::uint32_t x, y, z;
    };
    enum class Added { New, Known, Full };

    /// mostSlots: how large the table may become, a power of two from 2 on.
    explicit VoxelSet(std::size_t mostSlots);

    /// Which of the blocks of neighbours a voxel is in, as a number that is spread evenly.
    static std::uint64_t blockOf(const Voxel& voxel);

    /// Adds a voxel with its block. Full: there is no slot left for it, and it was not added.
    Added add(std::uint64_t block, const Voxel& voxel);
    /// Forgets the blocks above one.
    void keepUpTo(std::uint64_t block);
    /// Forgets all.
    void clear();

private:
    struct Slot {
        std::uint64_t block = 0;
        std::uint64_t voxels = 0;  // a bit for each of the block; 0: the slot is free
    };

    Slot& find(std::uint64_t block);
    bool isFull() const { return m_used >= m_slots.size() / 4 * 3; }
    void grow();

    std::size_t m_mostSlots;
    std::vector<Slot> m_slots;
    std::size_t m_used = 0;
};

}  // namespace brisko::scan
