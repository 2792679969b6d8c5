#include "base/spill_file.h"

#include "base/private_folder.h"

#include <span>

namespace brisko {

bool SpillFile::create() {
    OutputPlace place;
    if (!place.find(m_beside)) return false;
    const auto folder = PrivateFolder::create(place);
    if (!folder) return false;
    // The open file outlives its name, which goes with the folder.
    const std::string name = folder->newStem();
    folder->add(name);
    if (!folder->createFile(name)) return false;
    m_file = openFile(folder->pathOf(name).c_str(), "r+b");
    return m_file != nullptr;
}

bool SpillFile::append(const void* bytes, std::size_t size) {
    if (!m_file && !create()) return false;
    const std::span<const std::uint8_t> all(static_cast<const std::uint8_t*>(bytes), size);
    if (writeAt(m_file.get(), m_end, all) < size) return false;
    m_end += size;
    return true;
}

bool SpillFile::read(std::uint64_t offset, void* out, std::size_t size) const {
    return m_file && readAt(m_file.get(), offset, out, size) == size;
}

}  // namespace brisko
