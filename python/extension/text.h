#pragma once

#include <pybind11/pybind11.h>

#include <string>

namespace brisko::python {

/// Texts of a file may hold bytes that are no UTF-8.
inline pybind11::object toText(const std::string& text) {
    return pybind11::reinterpret_steal<pybind11::object>(PyUnicode_DecodeUTF8(
        text.data(), static_cast<Py_ssize_t>(text.size()), "backslashreplace"));
}

}  // namespace brisko::python
