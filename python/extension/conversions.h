#pragma once

#include <pybind11/numpy.h>

#include <brisko_codec/alignment.h>
#include <brisko_scan/convert.h>

namespace brisko::python {

/// A matrix of (4, 4) numbers. Raises ValueError where it is none, or has one that is not finite.
Alignment toAlignment(const pybind11::handle& matrix);
pybind11::array_t<double> toMatrix(const Alignment& alignment);

/// Options of a conversion by their names in Python. Raises TypeError for a name that is none of them,
/// and ValueError for a value that makes no sense.
scan::ConvertOptions toConvertOptions(const std::string& input, const std::string& output,
                                      const pybind11::dict& options);

}  // namespace brisko::python
