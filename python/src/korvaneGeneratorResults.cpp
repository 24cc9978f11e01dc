// The results of shots and executions.

#include "korvane.h"

#include "fus/ExecResult.h"
#include "fus/ShotResult.h"

namespace korvane {

using fus::ExecResult;
using fus::ShotResult;

namespace {

#define KORVANE_CHANNEL_ARGUMENTS                                                                \
    "\n\n:param channel: index of the channel.\n:param measure: index of the measure.\n:raises " \
    "IndexError: if an index is out of range."
#define KORVANE_BOARD_ARGUMENTS                                                      \
    "\n\n:param board: index of the amplifier board.\n:param measure: index of the " \
    "measure.\n:raises IndexError: if an index is out of range."
#define KORVANE_NO_DATA "\n:raises FUSException: ERR_NOT_AVAILABLE if there are no measures."

void defineShotResult(py::module_& module) {
    py::class_<ShotResult>(module, "ShotResult", "Holds the results of an electronic shot.")
        .def("execIndex", &ShotResult::execIndex,
             "Returns the index of the execution (starts at 0).")
        .def("shotIndex", &ShotResult::shotIndex,
             "Returns the index of the shot in its trajectory (starts at 0).")
        .def("index", &ShotResult::shotIndex, "**Deprecated, use shotIndex().**")
        .def("channelCount", &ShotResult::channelCount, "Returns the number of channels.")
        .def("componentCount", &ShotResult::channelMeasureCount,
             "**Deprecated, use channelMeasureCount().**")
        .def("amplifierType", &ShotResult::amplifierType,
             "Returns the type of the amplifiers.\n\n:return: a :class:`KORVANE.AmplifierType`.")
        .def("duration", &ShotResult::duration, "Real shooting duration, microseconds.")
        .def("totalGap", &ShotResult::totalGap,
             "Difference with requested (duration+delay), microseconds.")
        .def("component", &ShotResult::channelRawValue, py::arg("channel"), py::arg("measure"),
             "**Deprecated, use channelRawValue().**" KORVANE_CHANNEL_ARGUMENTS
             "\n:return: the ADC value." KORVANE_NO_DATA)
        .def("value", &ShotResult::channelPhysicalValue, py::arg("channel"), py::arg("measure"),
             "**Deprecated, use channelPhysicalValue().**" KORVANE_CHANNEL_ARGUMENTS
             "\n:return: the value in physical unit, -1.0 if it was not converted.")
        .def("power", &ShotResult::power, py::arg("channel"),
             "Computed emitted power for specified channel.\n\n:param channel: index of the "
             "channel.\n:return: the power in watts, -1.0 if it was not computed.\n:raises "
             "IndexError: if the index is out of range.")
        .def("containsBoardData", &ShotResult::containsBoardData,
             "Tells if there are measures of the amplifier boards.")
        .def("boardCount", &ShotResult::boardCount, "Returns the number of amplifier boards.")
        .def("channelMeasureCount", &ShotResult::channelMeasureCount,
             "Returns the number of measures of each channel.")
        .def("boardMeasureCount", &ShotResult::boardMeasureCount,
             "Returns the number of measures of each amplifier board.")
        .def("channelRawValue", &ShotResult::channelRawValue, py::arg("channel"),
             py::arg("measure"),
             "Returns a measure of a channel, as an ADC "
             "value." KORVANE_CHANNEL_ARGUMENTS KORVANE_NO_DATA)
        .def("channelPhysicalValue", &ShotResult::channelPhysicalValue, py::arg("channel"),
             py::arg("measure"),
             "Returns a measure of a channel, in physical unit, -1.0 if it was not "
             "converted." KORVANE_CHANNEL_ARGUMENTS)
        .def("boardRawValue", &ShotResult::boardRawValue, py::arg("board"), py::arg("measure"),
             "Returns a measure of an amplifier board, as an ADC "
             "value." KORVANE_BOARD_ARGUMENTS KORVANE_NO_DATA)
        .def("boardPhysicalValue", &ShotResult::boardPhysicalValue, py::arg("board"),
             py::arg("measure"),
             "Returns a measure of an amplifier board, in physical unit, -1.0 if it was not "
             "converted." KORVANE_BOARD_ARGUMENTS);
}

void defineExecResult(py::module_& module) {
    py::class_<ExecResult>(module, "ExecResult", "Results of an electronic trajectory execution.")
        .def("id", &ExecResult::id, "Returns the identifier that executeTrajectory() has returned.")
        .def("index", &ExecResult::index, "Returns the index of the execution (starts at 0).")
        .def("status", &ExecResult::status,
             "Returns the status.\n\n:return: a :class:`KORVANE.ExecStatus`.")
        .def(
            "statusName", [](const ExecResult& self) { return toStr(self.statusName()); },
            "Returns the name of the status.")
        .def("remaining", &ExecResult::remaining, "Returns the number of executions still to come.")
        .def(
            "errorMessage", [](const ExecResult& self) { return toStr(self.errorMessage()); },
            "Returns the error message of the generator, empty if there is none.")
        .def("isFinished", &ExecResult::isFinished,
             "Tells if no more executions follow, because of success or not.")
        .def("isError", &ExecResult::isError,
             "Tells if there was an error. Stopped by the user is not an error.");
}

} // namespace

void defineResults(py::module_& module) {
    defineShotResult(module);
    defineExecResult(module);
}

} // namespace korvane
