#pragma once

#include <pybind11/numpy.h>

#include <brisko_codec/point_batch.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace brisko::python {

/// First touches of small pages take longer than the points. Only advice: failure does not matter.
void useLargePages(void* memory, std::size_t bytes);

/// Room for points that becomes five NumPy arrays without a copy: xyz (n, 3) float64, intensity (n) float32,
/// colour (n, 3) uint8, column and row (n) uint32.
class PointMemory {
public:
    /// Takes memory that earlier points of the same capacity have left, where there is some: new pages cost
    /// as much as reading the points into them.
    /// Throws std::bad_alloc.
    static PointMemory forBatch(std::size_t capacity);
    /// Memory that can grow.
    PointMemory() = default;

    PointArrays arrays(std::size_t first) const;
    std::size_t capacity() const { return m_capacity; }
    void resize(std::size_t capacity);

    /// Where the points to be copied lie.
    struct Source {
        const double* positions;
        const float* intensities;
        const std::uint8_t* colours;
        const std::uint32_t* columns;
        const std::uint32_t* rows;
    };
    /// Copies the marked ones of some points to the start of this memory, which has room for them.
    void takeMarked(const Source& points, const bool* marks, std::size_t count);

    /// A tuple of the arrays, which own the memory from here on.
    pybind11::tuple toArrays(std::size_t count) &&;

private:
    struct Free {
        void operator()(void* memory) const { std::free(memory); }
    };
    template <class Value>
    using Array = std::unique_ptr<Value, Free>;
    class Spares;

    template <class Value>
    static void resize(Array<Value>& array, std::size_t values);

    Array<double> m_positions;
    Array<float> m_intensities;
    Array<std::uint8_t> m_colours;
    Array<std::uint32_t> m_columns, m_rows;
    std::size_t m_capacity = 0;
};

}  // namespace brisko::python
