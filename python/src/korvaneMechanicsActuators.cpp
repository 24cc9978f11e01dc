// What a definition says about each actuator, and the conversions that follow from it.

#include "PyMechanics.h"

namespace korvane {

using fus::Mechanics;

namespace {

// isActuatorOriginFound() has the sentence of getActuatorName(), and keeps it
#define KORVANE_NAME_DOC \
    "Returns the name of the actuator.\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR

void defineIdentity(MechanicsClass& mech) {
    mech.def("isActuatorOriginFound", &Mechanics::isActuatorOriginFound, py::arg("actuator"),
             KORVANE_NAME_DOC)
        .def("getActuatorAddress", &Mechanics::getActuatorAddress, py::arg("actuator"),
             "Returns the address of the actuator: the number of its slot on the "
             "board.\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR)
        .def(
            "getActuatorName",
            [](const Mechanics& self, unsigned actuator) {
                return toStr(self.getActuatorName(actuator));
            },
            py::arg("actuator"), KORVANE_NAME_DOC)
        .def("getActuatorMotionType", &Mechanics::getActuatorMotionType, py::arg("actuator"),
             "Returns the type of motion of the actuator.\n\n" KORVANE_ACTUATOR
             "\n:return: a :class:`KORVANE.MotionType`." KORVANE_BAD_ACTUATOR)
        .def(
            "getActuatorMotionName",
            [](const Mechanics& self, unsigned actuator) {
                return toStr(self.getActuatorMotionName(actuator));
            },
            py::arg("actuator"),
            "Returns the name of the type of motion of the actuator, for example "
            "'TRANSLATION'.\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR)
        .def("getActuatorUnit", &Mechanics::getActuatorUnit, py::arg("actuator"),
             "Returns the physical unit of the actuator.\n\n" KORVANE_ACTUATOR
             "\n:return: a :class:`KORVANE.MotionUnit`." KORVANE_BAD_ACTUATOR)
        .def(
            "getActuatorUnitName",
            [](const Mechanics& self, unsigned actuator) {
                return toStr(self.getActuatorUnitName(actuator));
            },
            py::arg("actuator"),
            "Returns the name of the physical unit of the actuator, 'mm' or "
            "'rad'.\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR)
        .def("getActuatorZeroTopology", &Mechanics::getActuatorZeroTopology, py::arg("actuator"),
             "Returns the kind of encoder of the actuator.\n\n" KORVANE_ACTUATOR
             "\n:return: a :class:`KORVANE.ZeroTopology`." KORVANE_BAD_ACTUATOR)
        .def("getActuatorZeroCount", &Mechanics::getActuatorZeroCount, py::arg("actuator"),
             "Returns the number of optical references of the actuator.\n\n" KORVANE_ACTUATOR
                 KORVANE_BAD_ACTUATOR);
}

void defineRange(MechanicsClass& mech) {
    mech.def("getActuatorLowerBound", &Mechanics::getActuatorLowerBound, py::arg("actuator"),
             "Returns the lower bound of the range of the actuator, in steps, can be positive or "
             "negative, always smaller than the upper one.\n\n" KORVANE_ACTUATOR
                 KORVANE_BAD_ACTUATOR)
        .def("getActuatorUpperBound", &Mechanics::getActuatorUpperBound, py::arg("actuator"),
             "Returns the upper bound of the range of the actuator, in steps, can be positive or "
             "negative, always greater than the lower one.\n\n" KORVANE_ACTUATOR
                 KORVANE_BAD_ACTUATOR)
        .def("getActuatorTargetTolerance", &Mechanics::getActuatorTargetTolerance,
             py::arg("actuator"),
             "Returns the tolerance of the actuator around its destination, in step (in "
             "float!).\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR)
        .def("getActuatorMovingTolerance", &Mechanics::getActuatorMovingTolerance,
             py::arg("actuator"),
             "Returns the tolerance of the actuator while it moves, in step (in "
             "float!).\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR)
        .def("getActuatorCenterMove", &Mechanics::getActuatorCenterMove, py::arg("actuator"),
             "Returns a Move object whose position is the center of this actuator range, and delay "
             "is half the time required to travel its full range at default "
             "speed.\n\n" KORVANE_ACTUATOR
             "\n:return: a :class:`KORVANE.Move`." KORVANE_BAD_ACTUATOR);
}

#define KORVANE_NO_ORIGIN "\n:raises FUSException: ERR_MECH_NO_ORIGIN if origin is not found."

void defineConversions(MechanicsClass& mech) {
    mech.def("getActuatorUnitToStep", &Mechanics::getActuatorUnitToStep, py::arg("actuator"),
             py::arg("value"),
             "Converts a value in the physical unit of the actuator into steps, rounded to the "
             "nearest.\n\n" KORVANE_ACTUATOR
             "\n:param int value: in millimeters or radians.\n:return: steps." KORVANE_BAD_ACTUATOR)
        .def("getActuatorStepToUnit", &Mechanics::getActuatorStepToUnit, py::arg("actuator"),
             py::arg("steps"),
             "Converts steps into the physical unit of the actuator.\n\n" KORVANE_ACTUATOR
             "\n:param steps: an int.\n:return: millimeters or radians, a "
             "float." KORVANE_BAD_ACTUATOR)
        .def("getActuatorRelativePosition", &Mechanics::getActuatorRelativePosition,
             py::arg("actuator"), py::arg("abspos"),
             "Converts an absolute position into one relative to the "
             "origin.\n\n" KORVANE_ACTUATOR
             "\n:param abspos: encoder counter value, in steps.\n:return: "
             "steps." KORVANE_BAD_ACTUATOR KORVANE_NO_ORIGIN)
        .def("getActuatorAbsolutePosition", &Mechanics::getActuatorAbsolutePosition,
             py::arg("actuator"), py::arg("relpos"),
             "Converts a position relative to the origin into an absolute "
             "one.\n\n" KORVANE_ACTUATOR
             "\n:param relpos: in steps.\n:return: encoder counter value, in "
             "steps." KORVANE_BAD_ACTUATOR KORVANE_NO_ORIGIN)
        .def("getActuatorMinDelayForRange", &Mechanics::getActuatorMinDelayForRange,
             py::arg("actuator"),
             "Returns the time required to travel the full range of the actuator at maximum speed, "
             "in milliseconds.\n\n" KORVANE_ACTUATOR KORVANE_BAD_ACTUATOR)
        .def("getActuatorMinDelayForDistance", &Mechanics::getActuatorMinDelayForDistance,
             py::arg("actuator"), py::arg("distance"),
             "Returns the time required to travel a distance at maximum speed, in "
             "milliseconds.\n\n" KORVANE_ACTUATOR
             "\n:param distance: in steps (at least 0)." KORVANE_BAD_ACTUATOR)
        .def("getActuatorDefaultDelayForDistance", &Mechanics::getActuatorDefaultDelayForDistance,
             py::arg("actuator"), py::arg("distance"),
             "Returns the time required to travel a distance at default speed, in "
             "milliseconds.\n\n" KORVANE_ACTUATOR
             "\n:param distance: in steps (at least 0)." KORVANE_BAD_ACTUATOR);
}

} // namespace

// getMaxActuatorCount() speaks of 0 where it raises ERR_MECH_NO_CONFIG, and keeps it
void defineActuators(MechanicsClass& mech) {
    mech.def("getActuatorCount", &Mechanics::getActuatorCount,
             "Returns the number of actuators in the definition, 0 if none is loaded.")
        .def("getMaxActuatorCount", &Mechanics::getMaxActuatorCount,
             "Returns the number of actuators that the board supports, 0 if the configuration is "
             "not sent.");
    defineIdentity(mech);
    defineRange(mech);
    defineConversions(mech);
}

} // namespace korvane
