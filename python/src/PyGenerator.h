#pragma once

#include "korvane.h"

#include "fus/FloatArray.h"
#include "fus/Generator.h"

#include <memory>

namespace korvane {

/// The one generator belongs to the library.
using GeneratorClass = py::class_<fus::Generator, std::unique_ptr<fus::Generator, py::nodelete>>;

// Parts of the class that have a source of their own.
void defineDefinition(GeneratorClass& gen);
void defineBoards(GeneratorClass& gen);
void defineSettings(GeneratorClass& gen);

py::list toList(const fus::FloatArray& values);

/// Every element as a 32-bit float; one that isn't a number is pybind11's conversion error.
fus::FloatArray toFloatArray(const py::list& values);

} // namespace korvane

#define KORVANE_NOT_CONNECTED "\n:raises FUSException: ERR_NOT_CONNECTED if not connected."
