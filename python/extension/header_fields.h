#pragma once

#include <pybind11/pybind11.h>

#include <brisko_codec/file_header.h>

#include <memory>

namespace brisko::python {

/// The fields of a header by name, texts without their padding: {"model": "RVX1000", ...}.
pybind11::dict toFields(const CLFileHeader& header);

/// A header with fields of a mapping put over those of another one, if there is one.
/// Raises ValueError for a name that is no field's.
std::shared_ptr<const CLFileHeader> headerWith(const CLFileHeader* base,
                                               const pybind11::dict& fields);

}  // namespace brisko::python
