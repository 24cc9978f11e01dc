// What the mechanical system takes and gives: enumerations, moves, displacements, its status.

#include "PyMechanics.h"

#include <iterator>

namespace korvane {

using namespace fus::mprotocol;
using fus::MechanicalActuator;
using fus::MechanicalDisplacement;
using fus::MechanicalStatus;
using fus::Move;

namespace {

// --- enumerations --------------------------------------------------------------------------------

constexpr const char* MOTION_TYPE_DOCS[] = {"uninitialized/invalid value to trigger an error.",
                                            "motion along a line.", "motion around an axis."};

constexpr const char* MOTION_UNIT_DOCS[] = {"uninitialized/invalid value.",
                                            "millimeters, a length unit for translations.",
                                            "radian, an angle unit for rotations."};

constexpr const char* ZERO_TOPOLOGY_DOCS[] = {"Invalid value or uninitialized",
                                              "Linear encoder with **ONE** optical reference",
                                              "Linear encoder with **TWO** optical references",
                                              "Rotary encoder with **ONE** optical reference"};

constexpr const char* MECH_RESULT_DOCS[] = {
    "Success for all actuators.",      "Mechanical command stopped manually.",
    "Not connected to the generator.", "No configuration loaded or sent.",
    "Internal communication error.",   "Timeout error (communication or motion).",
    "Mechanical error (see hwcode).",  "Unexpected internal error.",
};

constexpr auto PARAM_UNDEFINED = static_cast<MechParam>(0xCACA);

// one for each row of the library's table
constexpr const char* MECH_PARAM_DOCS[] = {
    "[uint32] Encoder counter value.",
    "[bool]   Set if the axis is initialized. This parameter can only be reset by the user. It is "
    "set by the system if the initialization is complete.",
    "[uint32] Zero position (0 if not found) in steps.",
    "[uint32] Secondary zero position (0 if not found/not used) in steps.",
    "[bool]   To be set (by the user) if the output of the motor is inverted (command with Dac "
    "value > 127 makes the encoder counting down).",
    "[float]  Proportional coefficient of PID.",
    "[float]  Integral coefficient of PID.",
    "[float]  Derivate coefficient of PID.",
    "[float]  Maximum integral error for PID.",
    "[uint8]  Number of Zero.",
    "[uint32] Maximum speed of the axis (step/ms).",
    "[uint8]  Minimum DAC value to move when the speed is negative.",
    "[uint8]  Minimum DAC value to move when the speed is positive.",
    "[uint8]  Dynamic Tolerance during a move.",
    "[uint8]  Tolerance around the destination point.",
    "[int32]  UpperBoundary of the range (in steps).",
    "[int32]  LowerBoundary of the range (in steps).",
    "[float]  Acceleration used for the last feedback controlled move of the axis (step.ms-2).",
    "[uint8]  Debug plotting mode while moving using a trajectory",
    "[uint8]  Number of points in the trajectory and (only in CLI) all the points position and "
    "speed.",
    "[int8]   Last asynchronous error of the system (motionController error see "
    "motionControllerError document).",
    "[bool]   Is set when the motor is connected.",
    "[uint8]  Acceleration and deceleration time for the axis (NOTE: same for every axes).",
    "[uint8]  Total number of axes supported by the board (NOTE: same for every axes).",
    "[uint8]  Size of the Trajectory buffer (NOTE: same for every axes).",
    "[uint8]  Depth of the log (number of lines).",
    "[bool]   To be set to activate ABS feature for the axis (non FC move), default is 1.",
    "[bool]   To be set to activate encoder cable partial disconnection feature (non FC move), "
    "default is 0.",
    "[uint8]   The final DAC value used during last init procedure (even if it fails).",
};

static_assert(std::size(MECH_PARAM_DOCS) == std::size(MECH_PARAMS), "a docstring for each");

void defineEnums(py::module_& module) {
    defineEnum<MechanicalActuator::MotionType>(module, "MotionType", "Types of actuator motion.",
                                               MechanicalActuator::MOTION_TYPES, MOTION_TYPE_DOCS);
    defineEnum<MechanicalActuator::Unit>(module, "MotionUnit", "Types of actuator unit.",
                                         MechanicalActuator::UNITS, MOTION_UNIT_DOCS);
    defineEnum<MechanicalActuator::ZeroTopology>(
        module, "ZeroTopology", "Topology identifiers used during the initialization.",
        MechanicalActuator::ZERO_TOPOLOGIES, ZERO_TOPOLOGY_DOCS);
    defineEnum<MechResult>(module, "MechResult",
                           "Possible result code received after a mechanical command.",
                           MECH_RESULTS, MECH_RESULT_DOCS);
    py::enum_<MechParam> params(
        module, "MechParam",
        "Motor board internal variables. Names beginning by R_* are read-only.");
    params.value("UNDEFINED", PARAM_UNDEFINED, "Special invalid parameter to generate an error.");
    for (const MechParamRow& row : MECH_PARAMS) {
        params.value(row.shortName(), row.value, MECH_PARAM_DOCS[row.value]);
    }
}

// --- moves and displacements ---------------------------------------------------------------------

constexpr const char* MOVE_DOC =
    R"(Creates a move.

:param position: the position to reach, relative to the origin, in steps.
:param delay: the time given to reach the position, in milliseconds (max=65535).)";

constexpr const char* SET_DELAY_DOC =
    R"(Changes the delay of the move.

:param delay: the time given to reach the position, in milliseconds (max=65535), the value will be automatically reduced to that max if above.)";

void defineMove(py::module_& module) {
    py::class_<Move>(module, "Move", "Atomic motion for trajectory description.")
        .def(py::init<int, unsigned>(), py::arg("position"), py::arg("delay"), MOVE_DOC)
        .def("delay", &Move::delay,
             "Returns the time given to reach the position, in milliseconds.")
        .def("setDelay", &Move::setDelay, py::arg("delay"), SET_DELAY_DOC)
        .def("position", &Move::position,
             "Returns the position to reach, relative to the origin, in steps.")
        .def("setPosition", &Move::setPosition, py::arg("position"),
             "Changes the position to reach.\n\n:param position: relative to the origin, in steps.")
        .def(
            "__eq__", [](const Move& self, const Move& other) { return self == other; },
            py::is_operator(), "Tells if position and delay are the same.");
}

#define KORVANE_ACT_INDEX "\n\n:param actIndex: actuator index (in [0, actuatorCount()-1])."
#define KORVANE_MOVE ":param move: a :class:`KORVANE.Move`, it is copied."
#define KORVANE_BAD_INDEX "\n:raises IndexError: if an index is out of range."

void defineDisplacement(py::module_& module) {
    py::class_<MechanicalDisplacement>(
        module, "MechanicalDisplacement",
        "Mechanical trajectory description. Set of :class:`KORVANE.Move`")
        .def(py::init<unsigned>(), py::arg("nbActuators"),
             "Creates an empty displacement.\n\n:param actuators: number of actuators.")
        .def("actuatorCount", &MechanicalDisplacement::actuatorCount,
             "Returns the number of actuators.")
        .def("actuatorMoveCount", &MechanicalDisplacement::actuatorMoveCount, py::arg("actIndex"),
             "Returns the number of moves of an actuator." KORVANE_ACT_INDEX KORVANE_BAD_INDEX)
        .def("getMove", &MechanicalDisplacement::getMove, py::arg("actIndex"), py::arg("index"),
             "Returns a copy of a move." KORVANE_ACT_INDEX
             "\n:param index: index of the move.\n:return: a "
             ":class:`KORVANE.Move`." KORVANE_BAD_INDEX)
        .def("addMove", &MechanicalDisplacement::addMove, py::arg("actIndex"), py::arg("move"),
             "Adds a move at the end." KORVANE_ACT_INDEX "\n" KORVANE_MOVE KORVANE_BAD_INDEX)
        .def("insertMove", &MechanicalDisplacement::insertMove, py::arg("actIndex"),
             py::arg("index"), py::arg("move"),
             "Inserts a move before another one." KORVANE_ACT_INDEX
             "\n:param index: in [0, actuatorMoveCount(actIndex)], the greatest value adds it at "
             "the end.\n" KORVANE_MOVE KORVANE_BAD_INDEX)
        .def("setMove", &MechanicalDisplacement::setMove, py::arg("actIndex"), py::arg("index"),
             py::arg("move"),
             "Replaces a move." KORVANE_ACT_INDEX
             "\n:param index: index of the move.\n" KORVANE_MOVE KORVANE_BAD_INDEX)
        .def("removeMove", &MechanicalDisplacement::removeMove, py::arg("actIndex"),
             py::arg("index"),
             "Removes a move." KORVANE_ACT_INDEX
             "\n:param index: index of the move." KORVANE_BAD_INDEX)
        .def("clear", &MechanicalDisplacement::clear,
             "Removes all moves. The number of actuators stays.")
        .def("totalDuration", &MechanicalDisplacement::totalDuration,
             "Returns the total duration, in milliseconds (maximum of all axes).");
}

// --- status --------------------------------------------------------------------------------------

void defineStatus(py::module_& module) {
    py::class_<MechanicalStatus>(module, "MechanicalStatus",
                                 "Structure returned by the mechanical system to describe its "
                                 "status (i.e. an error).")
        .def(py::init<const MechanicalStatus&>(), "Copy constructor.")
        .def("ok", &MechanicalStatus::ok,
             "A shortcut to know if all is ok, i.e. not in error state.")
        .def("module", &MechanicalStatus::module, "Returns the family of the error.")
        .def("errorCode", &MechanicalStatus::errorCode,
             "Returns the error code, 0 if there is none.")
        .def("actuator", &MechanicalStatus::actuator,
             "Returns the index of the actuator that has the error.")
        .def("argument", &MechanicalStatus::argument,
             "Returns the argument of the error, its meaning depends on the code.")
        .def(
            "message", [](const MechanicalStatus& self) { return toStr(self.message()); },
            "Returns the message of the error.")
        .def("log", &MechanicalStatus::log,
             "Writes a description of the current status in the log (with INFO level).")
        .def("__str__", &MechanicalStatus::toString,
             "Returns a description of the status in one line.");
}

} // namespace

void defineMechanicalTypes(py::module_& module) {
    defineEnums(module);
    defineMove(module);
    defineDisplacement(module);
    defineStatus(module);
}

} // namespace korvane
