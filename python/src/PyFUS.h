#pragma once

#include "korvane.h"

#include "fus/FUS.h"

namespace korvane {

/// What an object of Python's class FUS holds: references into the one library.
///
/// As long as it is the only one ever made, its end removes all listeners and disconnects, unless
/// it was told not to.
struct PyFUS {
    PyFUS();
    ~PyFUS();
    PyFUS(const PyFUS&) = delete;
    PyFUS& operator=(const PyFUS&) = delete;

    fus::FUS& fus;
    fus::Generator& gen;
    fus::Mechanics& mech;
    bool securityOnDestruction = true;
};

// Parts of the class that have a source of their own.
void defineLog(py::class_<PyFUS>& fus);
void defineIntrospection(py::class_<PyFUS>& fus);
void defineHardware(py::class_<PyFUS>& fus);
void defineRawAccess(py::class_<PyFUS>& fus);

} // namespace korvane
