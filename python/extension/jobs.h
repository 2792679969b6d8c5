#pragma once

#include <pybind11/pybind11.h>

namespace brisko::python {

/// Adds the whole jobs: convert, check, describe, summarize.
void addJobs(pybind11::module_& module);
/// Adds photos: the pictures of a scan.
void addPhotos(pybind11::module_& module);
/// Adds simulate.
void addSimulator(pybind11::module_& module);

}  // namespace brisko::python
