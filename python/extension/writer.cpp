#include "writer.h"

#include "errors.h"
#include "interrupts.h"

#include <algorithm>
#include <cmath>

namespace brisko::python {
namespace {

namespace py = pybind11;

constexpr std::size_t kPart =
    1 << 11;  // points that are on their way at a time, in the nearest caches

void requireShape(const py::array& array, const std::string& name, py::ssize_t points,
                  bool isTriple) {
    const bool fits = array.ndim() == (isTriple ? 2 : 1) && array.shape(0) == points &&
                      (!isTriple || array.shape(1) == 3);
    if (fits) return;
    failValue(name + " must have the shape (" + std::to_string(points) +
              (isTriple ? ", 3)" : ",)"));
}

template <class Value>
const Value* dataOf(const std::optional<Writer::Array<Value>>& array, const std::string& name,
                    py::ssize_t points, bool isTriple) {
    if (!array) return nullptr;
    requireShape(*array, name, points, isTriple);
    return array->data();
}

}  // namespace

/// What stands in the arrays of one call; null where there is none.
struct Writer::Points {
    const double* xyz;
    const float* intensity;
    const std::uint8_t* colour;
    const std::uint32_t* column;
    const std::uint32_t* row;
    const Alignment* matrix;
};

Writer::Writer(const std::string& path, const scan::ScanInfo& info,
               const scan::WriteOptions& options)
    : m_path(path),
      m_info(info),
      m_writer(std::make_unique<scan::ScanWriter>(scan::ScanWriter::create(path, info, options))) {
}

void Writer::requireOpen() const {
    if (!m_writer) failValue(m_path + ": the writer is closed");
}

void Writer::write(const Array<double>& xyz, const std::optional<Array<float>>& intensity,
                   const std::optional<Array<std::uint8_t>>& colour,
                   const std::optional<Array<std::uint32_t>>& column,
                   const std::optional<Array<std::uint32_t>>& row,
                   const std::optional<Alignment>& matrix) {
    requireOpen();
    const py::ssize_t count = xyz.ndim() > 0 ? xyz.shape(0) : 0;
    requireShape(xyz, "xyz", count, true);
    const Points points{xyz.data(),
                        dataOf(intensity, "intensity", count, false),
                        dataOf(colour, "colour", count, true),
                        dataOf(column, "column", count, false),
                        dataOf(row, "row", count, false),
                        matrix ? &*matrix : nullptr};
    if (m_info.hasGrid && (!points.column || !points.row)) {
        failValue(m_path + ": the cells of the points are needed: column and row");
    }
    const py::gil_scoped_release released;
    const std::lock_guard lock(m_mutex);
    Interrupts interrupts;
    const auto all = static_cast<std::size_t>(count);
    try {
        for (std::size_t first = 0; first < all; first += kPart) {
            take(points, first, std::min(kPart, all - first));
            requireOpen();
            m_writer->write(m_part.data(), m_part.size());
            interrupts.check();
        }
    } catch (...) {
        // With a part of these points alone, the output is not to be completed any more.
        m_writer.reset();
        throw;
    }
}

/// Makes records of some points. Nothing of a part with a point that cannot be stored is written.
void Writer::take(const Points& points, std::size_t first, std::size_t count) {
    m_part.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = first + i;
        CellPoint& p = m_part[i];
        p = {points.xyz[3 * at], points.xyz[3 * at + 1], points.xyz[3 * at + 2]};
        if (points.matrix) applyAlignment(points.matrix->matrix, p.x, p.y, p.z);
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
            failValue(m_path + ": point " + std::to_string(at) +
                      " has a coordinate that is not finite");
        }
        if (points.intensity) p.intensity = points.intensity[at];
        if (points.colour) {
            p.red = points.colour[3 * at];
            p.green = points.colour[3 * at + 1];
            p.blue = points.colour[3 * at + 2];
        }
        if (points.column) p.column = points.column[at];
        if (points.row) p.row = points.row[at];
        if (m_info.hasGrid && (p.column >= m_info.columns || p.row >= m_info.rows)) {
            failValue(m_path + ": point " + std::to_string(at) + " has the cell (row " +
                      std::to_string(p.row) + ", column " + std::to_string(p.column) +
                      "), outside of the grid");
        }
    }
}

std::uint64_t Writer::commit(const py::object& progress) {
    return JobProgress(progress).run([&](const scan::ProgressFunction& function) {
        const std::lock_guard lock(m_mutex);
        requireOpen();
        const std::unique_ptr<scan::ScanWriter> writer = std::move(m_writer);
        return writer->commit(function);
    });
}

void Writer::discard() {
    const py::gil_scoped_release released;
    const std::lock_guard lock(m_mutex);
    m_writer.reset();
}

}  // namespace brisko::python
