#include "scan/jobs/voxel_set.h"

#include <algorithm>
#include <iterator>

namespace brisko::scan {
namespace {

constexpr std::size_t kFirstSlots = 1 << 12;

std::uint64_t bitOf(const VoxelSet::Voxel& v) {
    return std::uint64_t{1} << ((v.x & 3) | (v.y & 3) << 2 | (v.z & 3) << 4);
}

}  // namespace

VoxelSet::VoxelSet(std::size_t mostSlots)
    : m_mostSlots(std::max<std::size_t>(mostSlots, 4)),
      m_slots(std::min(kFirstSlots, m_mostSlots)) {
}

std::uint64_t VoxelSet::blockOf(const Voxel& v) {
    // 21 bits an axis; then steps that can each be undone, so that two blocks never get one number.
    std::uint64_t key = std::uint64_t{v.x >> 2} << 42 | std::uint64_t{v.y >> 2} << 21 | v.z >> 2;
    key = (key ^ key >> 33) * 0xff51afd7ed558ccd;
    key = (key ^ key >> 33) * 0xc4ceb9fe1a85ec53;
    return key ^ key >> 33;
}

VoxelSet::Slot& VoxelSet::find(std::uint64_t block) {
    const std::size_t mask = m_slots.size() - 1;
    std::size_t i = static_cast<std::size_t>(block) & mask;
    while (m_slots[i].voxels != 0 && m_slots[i].block != block)
        i = (i + 1) & mask;
    return m_slots[i];
}

VoxelSet::Added VoxelSet::add(std::uint64_t block, const Voxel& voxel) {
    const std::uint64_t bit = bitOf(voxel);
    Slot* slot = &find(block);
    if (slot->voxels == 0) {
        if (isFull()) {
            if (m_slots.size() >= m_mostSlots) return Added::Full;
            grow();
            slot = &find(block);
        }
        slot->block = block;
        ++m_used;
    } else if ((slot->voxels & bit) != 0) {
        return Added::Known;
    }
    slot->voxels |= bit;
    return Added::New;
}

void VoxelSet::grow() {
    std::vector<Slot> old(m_slots.size() * 2);
    old.swap(m_slots);
    for (const Slot& slot : old) {
        if (slot.voxels != 0) find(slot.block) = slot;
    }
}

void VoxelSet::keepUpTo(std::uint64_t block) {
    std::vector<Slot> kept;
    std::copy_if(m_slots.begin(), m_slots.end(), std::back_inserter(kept),
                 [block](const Slot& slot) { return slot.voxels != 0 && slot.block <= block; });
    clear();
    for (const Slot& slot : kept)
        find(slot.block) = slot;
    m_used = kept.size();
}

void VoxelSet::clear() {
    std::fill(m_slots.begin(), m_slots.end(), Slot{});
    m_used = 0;
}

}  // namespace brisko::scan
