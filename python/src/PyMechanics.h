#pragma once

#include "korvane.h"

#include "fus/Mechanics.h"

#include <memory>

namespace korvane {

/// The one mechanical system belongs to the library.
using MechanicsClass = py::class_<fus::Mechanics, std::unique_ptr<fus::Mechanics, py::nodelete>>;

// Parts of the definition that have a source of their own.
void defineMechanicalTypes(py::module_& module);
void defineActuators(MechanicsClass& mech);

} // namespace korvane

#define KORVANE_ACTUATOR ":param actuator: actuator index (in [0, getActuatorCount()-1])."
#define KORVANE_BAD_ACTUATOR "\n:raises IndexError: if there is no such actuator."
