#pragma once

// What the sources of the module share.

#include "fus/GProtocol.h"

#include <pybind11/pybind11.h>

#include <cstddef>
#include <string>

namespace korvane {

namespace py = pybind11;

// The definitions, in the order in which the module runs them.
void defineException(py::module_& module);
void defineFUS(py::module_& module);
void defineGeneral(py::module_& module);
void defineListener(py::module_& module);
void defineGenerator(py::module_& module);
void defineResults(py::module_& module);
void defineMechanics(py::module_& module);

/// Sees to it that no event enters Python any more once the interpreter begins to end.
void guardInterpreterExit();

/// Declares an enumeration from a table of the library. `docs` go with the rows, one by one;
/// `py::arithmetic()` is for bits.
template <class Enum, class Row, std::size_t N, class... Extra>
void defineEnum(py::module_& module, const char* name, const char* doc, const Row (&rows)[N],
                const char* const (&docs)[N], const Extra&... extra) {
    py::enum_<Enum> enumeration(module, name, doc, extra...);
    for (std::size_t i = 0; i < N; ++i) {
        enumeration.value(rows[i].shortName, static_cast<Enum>(rows[i].value), docs[i]);
    }
}

/// Text of the library as a str; bytes that are no UTF-8 are replaced, null is the empty str.
py::str toStr(const char* text);

} // namespace korvane
