#pragma once

#include <pybind11/numpy.h>

#include <brisko_scan/scan_writer.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace brisko::python {

/// A scan that is being written from arrays.
class Writer {
public:
    Writer(const std::string& path, const scan::ScanInfo& info, const scan::WriteOptions& options);

    template <class Value>
    using Array = pybind11::array_t<Value, pybind11::array::c_style | pybind11::array::forcecast>;

    /// Points as arrays of one length: xyz (n, 3) metres; the others (n), colour (n, 3), or nothing.
    ///   matrix  that takes the points into the scanner's frame; or nothing
    /// Raises ValueError for arrays that do not fit each other, points that are not finite, and cells
    /// outside of the grid. Throws ScanError.
    void write(const Array<double>& xyz, const std::optional<Array<float>>& intensity,
               const std::optional<Array<std::uint8_t>>& colour,
               const std::optional<Array<std::uint32_t>>& column,
               const std::optional<Array<std::uint32_t>>& row,
               const std::optional<Alignment>& matrix);
    /// Puts the output in place. Returns: the number of points stored.
    std::uint64_t commit(const pybind11::object& progress);
    /// Leaves nothing of an output that is not in place.
    void discard();

    bool isOpen() const { return m_writer != nullptr; }

private:
    struct Points;

    void requireOpen() const;
    void take(const Points& points, std::size_t first, std::size_t count);

    std::string m_path;
    scan::ScanInfo m_info;
    std::mutex m_mutex;
    std::unique_ptr<scan::ScanWriter> m_writer;
    std::vector<CellPoint> m_part;
};

}  // namespace brisko::python
