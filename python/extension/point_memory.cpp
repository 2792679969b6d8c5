#include "point_memory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

namespace brisko::python {

namespace py = pybind11;

/// Memory of batches that nobody looks at any more, for the next ones.
class PointMemory::Spares {
public:
    /// Never destroyed: arrays may outlive everything else at the end of the process.
    static Spares& get() {
        static Spares& spares = *new Spares;
        return spares;
    }

    PointMemory take(std::size_t capacity) {
        const std::lock_guard lock(m_mutex);
        while (!m_memory.empty()) {
            PointMemory memory = std::move(m_memory.back());
            m_memory.pop_back();
            if (memory.capacity() == capacity) return memory;
        }
        return {};
    }

    void give(PointMemory memory) {
        if (memory.capacity() > kLargest) return;
        const std::lock_guard lock(m_mutex);
        if (m_memory.size() < kMost) m_memory.push_back(std::move(memory));
    }

private:
    static constexpr std::size_t kLargest = 1 << 18;  // points
    static constexpr std::size_t kMost = 4;

    std::mutex m_mutex;
    std::vector<PointMemory> m_memory;
};

PointMemory PointMemory::forBatch(std::size_t capacity) {
    PointMemory memory = Spares::get().take(capacity);
    if (memory.capacity() != capacity) memory.resize(capacity);
    return memory;
}

void useLargePages(void* memory, std::size_t bytes) {
    constexpr std::uintptr_t kPage = 4096;
    if (bytes < (std::size_t{4} << 20)) return;
    const std::size_t before = (kPage - reinterpret_cast<std::uintptr_t>(memory) % kPage) % kPage;
    const std::size_t whole = (bytes - before) / kPage * kPage;
    madvise(static_cast<std::byte*>(memory) + before, whole, MADV_HUGEPAGE);
}

template <class Value>
void PointMemory::resize(Array<Value>& array, std::size_t values) {
    if (values > std::numeric_limits<std::size_t>::max() / sizeof(Value)) throw std::bad_alloc();
    void* const memory = std::realloc(array.get(), values * sizeof(Value));
    if (!memory) throw std::bad_alloc();
    static_cast<void>(array.release());
    array.reset(static_cast<Value*>(memory));
    useLargePages(memory, values * sizeof(Value));
}

void PointMemory::resize(std::size_t capacity) {
    if (capacity > std::numeric_limits<std::size_t>::max() / 32) throw std::bad_alloc();
    // Of large arrays the system moves the pages, not the bytes.
    resize(m_positions, 3 * capacity);
    resize(m_intensities, capacity);
    resize(m_colours, 3 * capacity);
    resize(m_columns, capacity);
    resize(m_rows, capacity);
    m_capacity = capacity;
}

PointArrays PointMemory::arrays(std::size_t first) const {
    return {m_positions.get() + 3 * first, m_intensities.get() + first, m_colours.get() + 3 * first,
            m_columns.get() + first, m_rows.get() + first};
}

void PointMemory::takeMarked(const Source& points, const bool* marks, std::size_t count) {
    std::size_t taken = 0;
    // What is chosen of a scan lies together mostly: run by run, in every array.
    for (std::size_t first = 0; first < count;) {
        const bool* const start = std::find(marks + first, marks + count, true);
        const bool* const end = std::find(start, marks + count, false);
        first = static_cast<std::size_t>(start - marks);
        const auto some = static_cast<std::size_t>(end - start);
        std::copy_n(points.positions + 3 * first, 3 * some, m_positions.get() + 3 * taken);
        std::copy_n(points.intensities + first, some, m_intensities.get() + taken);
        std::copy_n(points.colours + 3 * first, 3 * some, m_colours.get() + 3 * taken);
        std::copy_n(points.columns + first, some, m_columns.get() + taken);
        std::copy_n(points.rows + first, some, m_rows.get() + taken);
        taken += some;
        first += some;
    }
}

py::tuple PointMemory::toArrays(std::size_t count) && {
    auto owned = std::make_unique<PointMemory>(std::move(*this));
    const PointArrays start = owned->arrays(0);
    const py::capsule owner(owned.get(), [](void* memory) {
        const std::unique_ptr<PointMemory> last(static_cast<PointMemory*>(memory));
        Spares::get().give(std::move(*last));
    });
    static_cast<void>(owned.release());
    const auto points = static_cast<py::ssize_t>(count);
    const std::vector<py::ssize_t> one{points}, three{points, 3};
    return py::make_tuple(py::array_t<double>(three, start.positions, owner),
                          py::array_t<float>(one, start.intensities, owner),
                          py::array_t<std::uint8_t>(three, start.colours, owner),
                          py::array_t<std::uint32_t>(one, start.columns, owner),
                          py::array_t<std::uint32_t>(one, start.rows, owner));
}

}  // namespace brisko::python
