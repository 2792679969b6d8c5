#pragma once

#include <pybind11/pybind11.h>

namespace brisko::python {

/// Makes ScanErrors of the library arrive as the exceptions that brisko/errors.py chooses for them.
void translateErrors();

/// Raises ValueError.
[[noreturn]] void failValue(const std::string& text);

}  // namespace brisko::python
