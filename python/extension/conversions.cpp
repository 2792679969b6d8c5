#include "conversions.h"

#include "errors.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace brisko::python {
namespace {

namespace py = pybind11;
using scan::ConvertOptions;

double finite(const py::handle& value) {
    const auto number = py::cast<double>(value);
    if (!std::isfinite(number)) failValue("a finite number is expected");
    return number;
}

double positive(const py::handle& value) {
    const double number = finite(value);
    if (number <= 0) failValue("a number above 0 is expected");
    return number;
}

scan::IntensityRange interval(const py::handle& value) {
    const auto [low, high] = py::cast<std::pair<double, double>>(value);
    if (std::isnan(low) || std::isnan(high)) failValue("two numbers are expected");
    return {low, high};
}

scan::Box box(const py::handle& value) {
    const auto sides = py::cast<std::array<std::array<double, 3>, 2>>(value);
    scan::Box result{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (std::isnan(sides[0][axis]) || std::isnan(sides[1][axis]))
            failValue("a side is no number");
        result.min[axis] = sides[0][axis];
        result.max[axis] = sides[1][axis];
    }
    return result;
}

/// slice(100, 200), or (100, 200); None leaves an end open.
scan::GridRange range(const py::handle& value) {
    using Ends = std::pair<std::optional<std::uint32_t>, std::optional<std::uint32_t>>;
    if (!py::isinstance<py::slice>(value)) {
        const auto [first, end] = py::cast<Ends>(value);
        return {first.value_or(0), end};
    }
    if (!value.attr("step").is_none())
        failValue("columns and rows are taken without a step; see every");
    return range(py::make_tuple(value.attr("start"), value.attr("stop")));
}

std::uint32_t count(const py::handle& value) {
    const auto number = py::cast<std::uint32_t>(value);
    if (number == 0 || number > 0x7fffffff) failValue("a number from 1 is expected");
    return number;
}

std::string text(const py::handle& value) {
    return py::cast<std::string>(py::str(value));
}

struct Option {
    const char* name;
    void (*set)(ConvertOptions&, const py::handle&);
};

constexpr Option kOptions[] = {
    {"overwrite", [](ConvertOptions& o, const py::handle& v) { o.overwrite = py::cast<bool>(v); }},
    {"plain", [](ConvertOptions& o, const py::handle& v) { o.plain = py::cast<bool>(v); }},
    {"scan", [](ConvertOptions& o, const py::handle& v) { o.scan = text(v); }},
    {"intensity_range",
     [](ConvertOptions& o, const py::handle& v) {
         o.intensities = interval(v);
         if (o.intensities->min == o.intensities->max) failValue("the two numbers are the same");
     }},
    {"precision", [](ConvertOptions& o, const py::handle& v) { o.precision = positive(v); }},
    {"las_version", [](ConvertOptions& o, const py::handle& v) { o.formVersion = text(v); }},
    {"aligned",
     [](ConvertOptions& o, const py::handle& v) { o.applyAlignment = py::cast<bool>(v); }},
    {"photos",
     [](ConvertOptions& o, const py::handle& v) { o.withoutPhotos = !py::cast<bool>(v); }},
    {"occlusion",
     [](ConvertOptions& o, const py::handle& v) { o.hideOccluded = py::cast<bool>(v); }},
    {"valid", [](ConvertOptions& o, const py::handle& v) { o.validOnly = py::cast<bool>(v); }},
    {"min_distance", [](ConvertOptions& o, const py::handle& v) { o.minDistance = finite(v); }},
    {"max_distance", [](ConvertOptions& o, const py::handle& v) { o.maxDistance = finite(v); }},
    {"intensity",
     [](ConvertOptions& o, const py::handle& v) { o.intensitiesBetween = interval(v); }},
    {"box", [](ConvertOptions& o, const py::handle& v) { o.box = box(v); }},
    {"columns", [](ConvertOptions& o, const py::handle& v) { o.columns = range(v); }},
    {"rows", [](ConvertOptions& o, const py::handle& v) { o.rows = range(v); }},
    {"grid_step", [](ConvertOptions& o, const py::handle& v) { o.gridStep = positive(v); }},
    {"every", [](ConvertOptions& o, const py::handle& v) { o.every = count(v); }},
    {"voxel", [](ConvertOptions& o, const py::handle& v) { o.voxel = positive(v); }},
    {"matrix", [](ConvertOptions& o, const py::handle& v) { o.alignment = toAlignment(v); }},
    {"export_matrix", [](ConvertOptions& o, const py::handle& v) { o.alignmentOutput = text(v); }},
};

void setOption(ConvertOptions& options, const std::string& name, const py::handle& value) {
    const auto* const option = std::find_if(std::begin(kOptions), std::end(kOptions),
                                            [&](const Option& o) { return name == o.name; });
    if (option == std::end(kOptions)) {
        throw py::type_error("convert() has no option \"" + name + "\"");
    }
    try {
        option->set(options, value);
    } catch (const py::cast_error&) {
        throw py::type_error(name + ": " + text(py::repr(value)) + " is not what is expected");
    } catch (const py::value_error& error) {
        failValue(name + ": " + error.what());
    }
}

}  // namespace

Alignment toAlignment(const py::handle& matrix) {
    const auto numbers =
        py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(matrix);
    if (!numbers) throw py::error_already_set();
    if (numbers.ndim() != 2 || numbers.shape(0) != 4 || numbers.shape(1) != 4) {
        failValue("a matrix of 4 x 4 numbers is expected");
    }
    Alignment alignment;
    std::copy(numbers.data(), numbers.data() + 16, alignment.matrix);
    if (!std::all_of(numbers.data(), numbers.data() + 16,
                     [](double n) { return std::isfinite(n); })) {
        failValue("the matrix has a number that is not finite");
    }
    alignment.source = AlignmentSource::File;
    return alignment;
}

py::array_t<double> toMatrix(const Alignment& alignment) {
    py::array_t<double> matrix(std::vector<py::ssize_t>{4, 4});
    std::copy(std::begin(alignment.matrix), std::end(alignment.matrix), matrix.mutable_data());
    return matrix;
}

ConvertOptions toConvertOptions(const std::string& input, const std::string& output,
                                const py::dict& options) {
    ConvertOptions result;
    result.input = input;
    result.output = output;
    for (const auto& [name, value] : options) {
        if (!value.is_none()) setOption(result, py::cast<std::string>(name), value);
    }
    return result;
}

}  // namespace brisko::python
