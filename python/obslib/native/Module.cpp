// SPDX-License-Identifier: Apache-2.0
/// @file
/// The module obslib._native: what the package's Python code calls, and the exceptions that it raises.

#include <cstring>

#include "Call.h"

namespace obslib {

namespace {

/// KeyUnknown and BadLine are classes of the package; the others are Python's own.
void translate(const std::exception_ptr& thrown, void*) {
    auto raise = [](const char* name, const auto&... arguments) {
        const nb::object type = nb::module_::import_("obslib._errors").attr(name);
        const nb::object value = type(arguments...);
        PyErr_SetObject(type.ptr(), value.ptr());
    };
    try {
        std::rethrow_exception(thrown);
    } catch (const KeyUnknown& failure) { raise("KeyUnknown", failure.what()); } catch (const BadLine& failure) {
        raise("BadLine", failure.what(), failure.line);
    } catch (const SystemError& failure) {
        const nb::object name = nb::steal(PyUnicode_DecodeFSDefault(failure.what()));
        const nb::object value = nb::handle(PyExc_OSError)(failure.number, std::strerror(failure.number), name);
        PyErr_SetObject(reinterpret_cast<PyObject*>(Py_TYPE(value.ptr())), value.ptr());
    } catch (const Refused& failure) { PyErr_SetString(PyExc_ValueError, failure.what()); }
}

}  // namespace

}  // namespace obslib

NB_MODULE(_native, m) {
    m.doc() = "The calls of the library that the package is made of.";
    nanobind::register_exception_translator(obslib::translate);
    obslib::collectMessages();
    obslib::bindColumns(m);
    obslib::bindFamily(m);
    obslib::bindLines(m);
    obslib::bindLoading(m);
    obslib::bindPieces(m);
    obslib::bindStore(m);
}
