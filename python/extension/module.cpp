#include "conversions.h"
#include "errors.h"
#include "header_fields.h"
#include "interrupts.h"
#include "jobs.h"
#include "point_memory.h"
#include "scan.h"
#include "writer.h"

#include <brisko_codec/trace.h>
#include <brisko_codec/version.h>

#include <pybind11/stl.h>

#include <algorithm>

namespace brisko::python {
namespace {

namespace py = pybind11;
using namespace py::literals;

std::shared_ptr<Scan> openScan(const std::string& path, const std::string& scan, bool aligned,
                               bool colourFromPhotos,
                               const std::optional<std::pair<double, double>>& intensities,
                               const std::optional<py::bytes>& tiles) {
    scan::ReadOptions options;
    options.scan = scan;
    options.frame = aligned ? Frame::Aligned : Frame::Scanner;
    options.colourFromPhotos = colourFromPhotos;
    if (intensities) options.intensities = {{intensities->first, intensities->second}};
    if (tiles) options.tiles = toTileTable(*tiles);
    return awaitCall([path, options] { return std::make_shared<Scan>(path, options); });
}

py::dict factsOf(const Scan& open) {
    const scan::ScanInfo& info = open.info();
    return py::dict("path"_a = open.path(), "name"_a = info.name, "guid"_a = info.guid,
                    "format"_a = info.format->name, "has_grid"_a = info.hasGrid,
                    "columns"_a = info.columns, "rows"_a = info.rows, "records"_a = info.records,
                    "records_are_points"_a = info.recordsArePoints,
                    "has_colour"_a = info.storesColour, "matrix"_a = toMatrix(info.alignment),
                    "header"_a = info.header ? toFields(*info.header) : py::dict());
}

/// What an output has from another scan, and what is given for it.
scan::ScanInfo infoOf(const Scan* like, const std::optional<std::uint32_t>& columns,
                      const std::optional<std::uint32_t>& rows, const py::object& matrix,
                      const py::dict& header, const std::optional<bool>& colour, bool anyOrder) {
    scan::ScanInfo info;
    if (like) info = like->info();
    if (columns.has_value() != rows.has_value()) failValue("a grid takes both columns and rows");
    if (columns) {
        info.columns = *columns;
        info.rows = *rows;
        info.hasGrid = true;
    }
    if (columns || anyOrder) info.bandColumns = std::max(info.columns, 1U);
    if (!matrix.is_none()) info.alignment = toAlignment(matrix);
    if (!header.empty()) info.header = headerWith(info.header.get(), header);
    if (!like) info.storesColour = true;
    if (colour) info.storesColour = *colour;
    return info;
}

std::unique_ptr<Writer> createWriter(const std::string& path, const Scan* like,
                                     const std::optional<std::uint32_t>& columns,
                                     const std::optional<std::uint32_t>& rows,
                                     const py::object& matrix, const py::dict& header,
                                     const std::optional<bool>& colour, bool anyOrder,
                                     bool overwrite, bool plain) {
    const scan::ScanInfo info = infoOf(like, columns, rows, matrix, header, colour, anyOrder);
    const py::gil_scoped_release released;
    return std::make_unique<Writer>(path, info, scan::WriteOptions{overwrite, plain});
}

template <class Value>
using Packed = py::array_t<Value, py::array::c_style>;

/// The points that a mask chooses. Raises TypeError for arrays that do not lie as those of a pass do.
py::tuple marked(const Packed<double>& xyz, const Packed<float>& intensity,
                 const Packed<std::uint8_t>& colour, const Packed<std::uint32_t>& column,
                 const Packed<std::uint32_t>& row, const Packed<bool>& mask) {
    const py::ssize_t all = mask.size();
    if (xyz.size() != 3 * all || intensity.size() != all || colour.size() != 3 * all ||
        column.size() != all || row.size() != all) {
        throw py::type_error("the arrays and the mask are not of one length");
    }
    const auto count = static_cast<std::size_t>(all);
    const bool* const marks = mask.data();
    const auto some = static_cast<std::size_t>(std::count(marks, marks + count, true));
    // Few points do not keep the memory of many.
    PointMemory memory =
        PointMemory::forBatch(std::max<std::size_t>(2 * some < count ? some : count, 1));
    memory.takeMarked({xyz.data(), intensity.data(), colour.data(), column.data(), row.data()},
                      marks, count);
    return std::move(memory).toArrays(some);
}

void addScan(py::module_& module) {
    py::class_<Scan, std::shared_ptr<Scan>>(module, "Scan")
        .def(py::init(&openScan), "path"_a, "scan"_a, "aligned"_a, "colour_from_photos"_a,
             "intensity_range"_a, "tiles"_a = py::none())
        .def("facts", &factsOf)
        .def("close", &Scan::close, py::call_guard<py::gil_scoped_release>())
        .def_property_readonly("closed", &Scan::isClosed)
        .def("require_open", &Scan::requireOpen)
        .def(
            "window",
            [](Scan& scan, std::uint32_t firstRow, std::uint32_t endRow, std::uint32_t firstColumn,
               std::uint32_t endColumn, const std::vector<std::string>& wanted) {
                return scan.readWindow({firstColumn, endColumn, firstRow, endRow}, wanted);
            },
            "first_row"_a, "end_row"_a, "first_column"_a, "end_column"_a, "wanted"_a)
        .def("read", &Scan::readAll)
        .def("count", &Scan::countPoints);
    module.def("marked", &marked, "xyz"_a.noconvert(), "intensity"_a.noconvert(),
               "colour"_a.noconvert(), "column"_a.noconvert(), "row"_a.noconvert(),
               "mask"_a.noconvert());
    py::class_<Pass>(module, "Pass")
        .def(py::init<std::shared_ptr<Scan>>())
        .def("next", &Pass::next, "size"_a);
}

void addWriter(py::module_& module) {
    py::class_<Writer>(module, "Writer")
        .def(py::init(&createWriter), "path"_a, "like"_a, "columns"_a, "rows"_a, "matrix"_a,
             "header"_a, "colour"_a, "any_order"_a, "overwrite"_a, "plain"_a)
        .def(
            "write",
            [](Writer& writer, const Writer::Array<double>& xyz,
               const std::optional<Writer::Array<float>>& intensity,
               const std::optional<Writer::Array<std::uint8_t>>& colour,
               const std::optional<Writer::Array<std::uint32_t>>& column,
               const std::optional<Writer::Array<std::uint32_t>>& row, const py::object& matrix) {
                std::optional<Alignment> toScanner;
                if (!matrix.is_none()) toScanner = toAlignment(matrix);
                writer.write(xyz, intensity, colour, column, row, toScanner);
            },
            "xyz"_a, "intensity"_a, "colour"_a, "column"_a, "row"_a, "matrix"_a)
        .def("commit", &Writer::commit, "progress"_a)
        .def("discard", &Writer::discard)
        .def_property_readonly("is_open", &Writer::isOpen);
}

}  // namespace
}  // namespace brisko::python

PYBIND11_MODULE(_brisko, module) {
    using namespace brisko::python;
    brisko::setTraceOutput(false);
    translateErrors();
    module.attr("__version__") = briskoCodecVersion();
    addScan(module);
    addWriter(module);
    addJobs(module);
    addPhotos(module);
    addSimulator(module);
}
