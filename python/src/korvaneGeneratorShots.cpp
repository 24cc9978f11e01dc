// Shots and trajectories.

#include "PyShots.h"

#include "fus/P_LogMacros.h"

#include <pybind11/operators.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace korvane {

PyPhaseShot::~PyPhaseShot() = default;
PyElecTraj::~PyElecTraj() = default;

namespace {

// --- lists ---------------------------------------------------------------------------------------

[[noreturn]] void throwOutOfRange(const char* subject, std::size_t index, PyObject* number) {
    // one of thousands of digits has no decimal text on later interpreters
    const auto value = py::reinterpret_steal<py::object>(PyObject_Str(number));
    const char* const text = value ? PyUnicode_AsUTF8(value.ptr()) : nullptr;
    if (text == nullptr) {
        PyErr_Clear();
    }
    FUS_THROW_MSG(ERR_ARGUMENT, std::string(subject) + " value out of range at index " +
                                    std::to_string(index) + " (" + (text != nullptr ? text : "?") +
                                    ").");
}

// -1 stands for all that doesn't fit.
long long valueOf(PyObject* number) {
    int overflow = 0;
    return PyLong_AsLongLongAndOverflow(number, &overflow);
}

// An element that only says that it stands for an integer. Its own code runs here, and may even
// take it out of the list.
py::object askForInteger(PyObject* item) {
    const auto kept = py::reinterpret_borrow<py::object>(item);
    auto number = py::reinterpret_steal<py::object>(PyNumber_Index(item));
    if (!number) {
        throw py::error_already_set();
    }
    return number;
}

template <class Value>
Value checkedValue(PyObject* number, std::size_t index, const char* subject) {
    const long long value = valueOf(number);
    if (value < 0 || value > std::numeric_limits<Value>::max()) {
        throwOutOfRange(subject, index, number);
    }
    return static_cast<Value>(value);
}

template <class Value>
std::vector<Value> toArray(const py::list& list, unsigned room, const char* subject) {
    const Py_ssize_t size = PyObject_Size(list.ptr());
    if (size < 0) { // a list of the caller's own kind, whose length fails
        PyErr_Clear();
        py::pybind11_fail("Unable to compute length of object");
    }
    if (size == 0) {
        FUS_THROW_MSG(ERR_ARGUMENT, "The given list is empty.");
    }
    if (static_cast<std::size_t>(size) > room) {
        FUS_THROW_MSG(ERR_INDEX, "Too many items in the list.");
    }
    std::vector<Value> values(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < values.size(); ++i) {
        PyObject* const item = PyList_GetItem(list.ptr(), static_cast<Py_ssize_t>(i));
        if (item == nullptr) { // an element's own code has made the list shorter
            throw py::error_already_set();
        }
        if (PyLong_Check(item)) {
            values[i] = checkedValue<Value>(item, i, subject);
        } else {
            values[i] = checkedValue<Value>(askForInteger(item).ptr(), i, subject);
        }
    }
    return values;
}

template <class Get>
py::list toList(unsigned count, Get get) {
    py::list list(count);
    for (unsigned i = 0; i < count; ++i) {
        PyList_SET_ITEM(list.ptr(), static_cast<Py_ssize_t>(i), PyLong_FromUnsignedLong(get(i)));
    }
    return list;
}

using PhaseShotClass = py::class_<PyPhaseShot>;

#define KORVANE_LIST_RULES                                                               \
    "\n\n:param values: a list of ints, of the size of the array at most.\n:raises "     \
    "FUSException: ERR_ARGUMENT if the list is empty or a value out of range.\n:raises " \
    "IndexError: if there are too many items in the list."
#define KORVANE_RESIZE                                                                         \
    "\n\n:param size: new size.\n:param preserve: True to keep the present values, as far as " \
    "they fit; all others are 0."
#define KORVANE_BAD_INDEX "\n:raises IndexError: if the index is out of range."

void definePhases(PhaseShotClass& shot) {
    shot.def("phaseCount", &PyPhaseShot::phaseCount, "Returns the number of phases.")
        .def("resizePhases", &PyPhaseShot::resizePhases, py::arg("size"), py::arg("preserve"),
             "Changes the number of phases." KORVANE_RESIZE)
        .def("phase", &PyPhaseShot::phase, py::arg("index"),
             "Returns a phase.\n\n:param index: index of the phase.\n:return: a value in the range "
             "[0..255], it represents phase shifts as angle in [0..359] degrees." KORVANE_BAD_INDEX)
        .def("setPhase", &PyPhaseShot::setPhase, py::arg("index"), py::arg("value"),
             "Changes a phase.\n\n:param index: index of the phase.\n:param value: in the range "
             "[0..255], it represents phase shifts as angle in [0..359] "
             "degrees." KORVANE_BAD_INDEX)
        .def(
            "getPhases",
            [](const PyPhaseShot& self) {
                return toList(self.phaseCount(), [&](unsigned i) { return self.phase(i); });
            },
            "Returns all phases.\n\n:return: a list of ints in the range [0..255].")
        .def(
            "setPhases",
            [](PyPhaseShot& self, const py::list& values) {
                auto phases = toArray<unsigned char>(values, self.phaseCount(), "Phase");
                self.setPhases(phases.data(), static_cast<unsigned>(phases.size()));
            },
            py::arg("values"),
            "Changes all phases, in the range [0..255], it represents phase shifts as angle in "
            "[0..359] degrees. Or the first ones at least." KORVANE_LIST_RULES);
}

void defineFrequencies(PhaseShotClass& shot) {
    shot.def("frequencyCount", &PyPhaseShot::frequencyCount, "Returns the number of frequencies.")
        .def("resizeFrequencies", &PyPhaseShot::resizeFrequencies, py::arg("size"),
             py::arg("preserve"), "Changes the number of frequencies." KORVANE_RESIZE)
        .def("frequency", &PyPhaseShot::frequency, py::arg("index"),
             "Returns a frequency, in Hertz.\n\n:param index: index of the "
             "frequency." KORVANE_BAD_INDEX)
        .def("setFrequency", &PyPhaseShot::setFrequency, py::arg("index"), py::arg("value"),
             "Changes a frequency.\n\n:param index: index of the frequency.\n:param value: in "
             "Hertz." KORVANE_BAD_INDEX)
        .def(
            "getFrequencies",
            [](const PyPhaseShot& self) {
                return toList(self.frequencyCount(), [&](unsigned i) { return self.frequency(i); });
            },
            "Returns all frequencies.\n\n:return: a list of ints, in Hertz.")
        .def(
            "setFrequencies",
            [](PyPhaseShot& self, const py::list& values) {
                auto hertz = toArray<std::uint32_t>(values, self.frequencyCount(), "Frequency");
                self.setFrequencies(hertz.data(), static_cast<unsigned>(hertz.size()));
            },
            py::arg("values"),
            "Changes all frequencies, in Hertz. Or the first ones at least." KORVANE_LIST_RULES);
}

void defineAmplitudes(PhaseShotClass& shot) {
    shot.def("amplitudeCount", &PyPhaseShot::amplitudeCount, "Returns the number of amplitudes.")
        .def("resizeAmplitudes", &PyPhaseShot::resizeAmplitudes, py::arg("size"),
             py::arg("preserve"), "Changes the number of amplitudes." KORVANE_RESIZE)
        .def("amplitude", &PyPhaseShot::amplitude, py::arg("index"),
             "Returns an amplitude.\n\n:param index: index of the amplitude.\n:return: a value in "
             "the range [0..255] of the maximum." KORVANE_BAD_INDEX)
        .def("setAmplitude", &PyPhaseShot::setAmplitude, py::arg("index"), py::arg("value"),
             "Changes an amplitude.\n\n:param index: index of the amplitude.\n:param value: in the "
             "range [0..255] of the maximum." KORVANE_BAD_INDEX)
        .def(
            "getAmplitudes",
            [](const PyPhaseShot& self) {
                return toList(self.amplitudeCount(), [&](unsigned i) { return self.amplitude(i); });
            },
            "Returns all amplitudes.\n\n:return: a list of ints in the range [0..255] of the "
            "maximum.")
        .def(
            "setAmplitudes",
            [](PyPhaseShot& self, const py::list& values) {
                auto levels = toArray<unsigned char>(values, self.amplitudeCount(), "Amplitude");
                self.setAmplitudes(levels.data(), static_cast<unsigned>(levels.size()));
            },
            py::arg("values"),
            "Changes all amplitudes, in the range [0..255] of the maximum. Or the first ones at "
            "least." KORVANE_LIST_RULES);
}

} // namespace

void definePhaseShot(py::module_& module) {
    PhaseShotClass shot(module, "PhaseShot", "Item of an :class:`KORVANE.ElectronicTrajectory`.");
    shot.def(py::init<>(), "Base constructor (all arrays empty).")
        .def(py::init<const PyPhaseShot&>(), py::arg("shot"),
             "Copy constructor\n\n:param shot: the shot to copy.")
        .def(py::init<unsigned, unsigned, unsigned>(), py::arg("nbPhases"),
             py::arg("nbFrequencies"), py::arg("nbAmplitudes"),
             "Creates a shot with arrays of these sizes, filled with 0.\n\nThese sizes must be 1 "
             "or equal to the number of active channels in the trajectory.\n\n:param nbPhases: "
             "number of phases.\n:param nbFrequencies: number of frequencies.\n:param "
             "nbAmplitudes: number of amplitudes.")
        .def("duration", &PyPhaseShot::duration, "Returns the shooting duration, microseconds.")
        .def("delay", &PyPhaseShot::delay, "Returns the delay after shooting, microseconds.")
        .def("totalDuration", &PyPhaseShot::totalDuration,
             "Returns the sum of duration and delay, microseconds.")
        .def("setDuration", &PyPhaseShot::setDuration, py::arg("duration_us"), py::arg("delay_us"),
             "Changes the timings of the shot.\n\n:param duration_us: shooting duration, "
             "microseconds.\n:param delay_us: delay after shooting, microseconds.")
        .def(
            "__eq__",
            [](const PyPhaseShot& self, const PyPhaseShot& other) { return self == other; },
            py::is_operator(), "Tells if all timings and values are the same.");
    definePhases(shot);
    defineFrequencies(shot);
    defineAmplitudes(shot);
}

#define KORVANE_CHANNEL_INDEX "\n\n:param index: index of the channel."
#define KORVANE_CHANNEL_STATE "\n:param state: True to enable."
#define KORVANE_SHOT_INDEX "\n\n:param index: index of the shot."
#define KORVANE_SHOT "\n:param shot: a :class:`KORVANE.PhaseShot`."

void defineTrajectory(py::module_& module) {
    py::class_<PyElecTraj>(module, "ElectronicTrajectory", "A list of electronic shots.")
        .def(py::init<unsigned>(), py::arg("nbChannels"),
             "Creates an empty trajectory, with all channels enabled.\n\nThe operator [] can be "
             "used to read a shot at given index, but **note that it will return a copy**.\n\n"
             ":param nbChannels: number of channels of the generator.")
        .def("size", &PyElecTraj::size, "Returns the number of shots.")
        .def("__len__", &PyElecTraj::size, "Returns the number of shots.")
        .def("channels", &PyElecTraj::channels, "Returns the number of channels.")
        .def("setChannelCount", &PyElecTraj::setChannelCount, py::arg("channels"),
             "Changes the number of channels. If the new size is greater, added channels are "
             "enabled.\n\n:param channels: new number of channels.")
        .def("activeChannels", &PyElecTraj::activeChannels,
             "Returns the number of enabled channels.")
        .def("channelEnabled", &PyElecTraj::channelEnabled, py::arg("index"),
             "Tells if a channel is enabled." KORVANE_CHANNEL_INDEX KORVANE_BAD_INDEX)
        .def("enableChannel", &PyElecTraj::enableChannel, py::arg("index"), py::arg("state"),
             "Enables or disables a channel." KORVANE_CHANNEL_INDEX KORVANE_CHANNEL_STATE
                 KORVANE_BAD_INDEX)
        .def("enableAllChannels", &PyElecTraj::enableAllChannels, py::arg("state"),
             "Enables or disables all channels.\n" KORVANE_CHANNEL_STATE)
        .def(
            "__getitem__",
            [](const PyElecTraj& self, unsigned index) { return PyPhaseShot(self.shot(index)); },
            py::arg("index"),
            "Returns a copy of a shot." KORVANE_SHOT_INDEX
            "\n:return: a :class:`KORVANE.PhaseShot`." KORVANE_BAD_INDEX)
        .def(
            "__setitem__",
            [](PyElecTraj& self, unsigned index, const PyPhaseShot& shot) {
                self.setShot(index, shot);
            },
            py::arg("index"), py::arg("shot"),
            "Replaces a shot." KORVANE_SHOT_INDEX KORVANE_SHOT KORVANE_BAD_INDEX)
        .def(
            "addShot", [](PyElecTraj& self, const PyPhaseShot& shot) { self.addShot(shot); },
            py::arg("shot"), "Adds a copy of a shot at the end.\n" KORVANE_SHOT)
        .def(
            "insertShot",
            [](PyElecTraj& self, unsigned index, const PyPhaseShot& shot) {
                self.insertShot(index, shot);
            },
            py::arg("index"), py::arg("shot"),
            "Inserts a copy of a shot before the given index, or at the end if it is "
            "size()." KORVANE_SHOT_INDEX KORVANE_SHOT KORVANE_BAD_INDEX)
        .def("removeShot", &PyElecTraj::removeShot, py::arg("index"),
             "Removes a shot." KORVANE_SHOT_INDEX KORVANE_BAD_INDEX)
        .def("clear", &PyElecTraj::clear, "Removes all shots, the channels are not changed.")
        .def("totalDuration", &PyElecTraj::totalDuration,
             "Returns the sum of all durations and delays, microseconds.")
        .def("sliceShots", &PyElecTraj::sliceShots, py::arg("emode"),
             "Slices too long shots into series of smaller ones.\n\nThis method requires an open "
             "connection to the generator to read the minimum and maximum time constraints to "
             "apply.\n\n:param emode: a :class:`KORVANE.ElecExecMode`.\n:raises FUSException: "
             "ERR_SLICE if a shot can not be sliced, ERR_NOT_CONNECTED if not connected.");
}

} // namespace korvane
