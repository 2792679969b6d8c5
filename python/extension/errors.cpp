#include "errors.h"

#include "text.h"

#include <brisko_scan/scan_error.h>

#include <exception>
#include <optional>
#include <utility>

namespace brisko::python {
namespace {

namespace py = pybind11;

const char* nameOf(scan::ErrorKind kind) {
    switch (kind) {
        case scan::ErrorKind::Request:
            return "request";
        case scan::ErrorKind::Damaged:
            return "damaged";
        case scan::ErrorKind::NotWritten:
            return "not written";
        case scan::ErrorKind::Cancelled:
            return "cancelled";
    }
    return "damaged";
}

py::object toObject(const std::optional<std::uint64_t>& number) {
    return number ? py::object(py::int_(*number)) : py::none();
}

void raise(const scan::ScanError& error) {
    const py::object exception =
        py::module_::import("brisko.errors")
            .attr("exception_for")(nameOf(error.kind()), toText(error.file()),
                                   toObject(error.place().block), toObject(error.place().offset),
                                   toText(error.reason()), toText(error.advice()),
                                   toText(error.what()));
    PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(exception.ptr())), exception.ptr());
}

}  // namespace

void translateErrors() {
    py::register_local_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(std::move(thrown));
        } catch (const scan::ScanError& error) {
            try {
                raise(error);
            } catch (py::error_already_set& failure) {
                failure.restore();
            }
        }
    });
}

void failValue(const std::string& text) {
    throw py::value_error(text);
}

}  // namespace brisko::python
