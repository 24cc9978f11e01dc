// The mechanical system: its definition, origins, motions, and parameters.

#include "PyMechanics.h"

#include <cstdint>
#include <limits>
#include <string>

namespace korvane {

using fus::Mechanics;
using fus::mprotocol::MechParam;

namespace {

#define KORVANE_BOARD_ERRORS                                                                    \
    "\n:raises FUSException: ERR_NOT_CONNECTED if not connected, ERR_MECHANICS if there is no " \
    "mechanical board, ERR_TIMEOUT if it does not answer, or what it refuses"

// --- definition ----------------------------------------------------------------------------------

constexpr const char* LOAD_DOC =
    R"(Loads the definition of the mechanical system from an INI file, in place of the former one. Nothing is sent to the board, see :func:`Mechanics.sendConfig()`.

:param filename: name of the file. Same as clearDefinition() if empty (and returns False).
:return: False if the definition can not be used, see the log for the reason. There is no definition then.)";

constexpr const char* LOAD_STRING_DOC =
    R"(Loads the definition of the mechanical system from a string, in place of the former one. Nothing is sent to the board, see :func:`Mechanics.sendConfig()`.

:param definition: content of an INI file. Same as clearDefinition() if empty (and returns False).
:return: False if the definition can not be used, see the log for the reason. There is no definition then.)";

constexpr const char* SEND_CONFIG_DOC =
    R"(Initializes the board with the loaded definition.

:param force: If False (default), it first compares the current board state with the configuration parameters, and returns success if all is ok. On failure or if True, it performs the real init, i.e. writes the parameters to the board. The board then forgets its origins.
:return: False if it failed, see the log for the reason.)";

void defineDefinition(MechanicsClass& mech) {
    mech.def("getProtocolVersion", &Mechanics::getProtocolVersion,
             "Returns the protocol version (NOT the firmware version) of the currently connected "
             "MOT board.\n\n:return: an int, 0 if the configuration is not sent.")
        .def("readStatus", &Mechanics::readStatus,
             "Reads the current status of the board, and writes it in the log.\n\n:return: a "
             ":class:`KORVANE.MechanicalStatus`." KORVANE_BOARD_ERRORS ".")
        .def("clearDefinition", &Mechanics::clearDefinition,
             "Forgets the definition. Nothing is sent to the board.")
        .def("isDefinitionLoaded", &Mechanics::isDefinitionLoaded,
             "Tells if a definition is loaded.")
        .def(
            "loadDefinition",
            [](Mechanics& self, const std::string& filename) {
                return self.loadDefinition(filename.c_str());
            },
            py::arg("filename"), LOAD_DOC)
        .def(
            "loadDefinitionString",
            [](Mechanics& self, const std::string& definition) {
                return self.loadDefinitionString(definition.c_str());
            },
            py::arg("definition"), LOAD_STRING_DOC)
        .def("isConfigSent", &Mechanics::isConfigSent,
             "Tells if the board works by the definition, see :func:`Mechanics.sendConfig()`.")
        .def("sendConfig", &Mechanics::sendConfig, py::arg("force") = false, SEND_CONFIG_DOC);
}

// --- origins -------------------------------------------------------------------------------------

constexpr const char* FIND_ALL_DOC =
    R"(Finds the origins of all actuators, one after the other, and parks them.

Asynchronous = returns immediately and sends its result by event (:func:`FUSListener.onMechOrigin()`).

.. warning:: If the board already knows its references, it only parks, and blocks as long as that takes. The event comes all the same.

:param force: If False (default), it first checks the board state and skips the procedure if it already knows its references. It will still park though.
:raises FUSException: ERR_MECH_NO_CONFIG if the configuration is not sent, ERR_MECH_ORIGINS_BUSY if it is already running.)";

// The method returns nothing.
constexpr const char* FIND_ORIGIN_DOC =
    R"(Finds the origin of one actuator.

Synchronous (and blocking).

The procedure will move using the first DAC value, and if it fails will retry with a value increased by stepDAC. It will repeat until maxDAC is reached, then fail.

)" KORVANE_ACTUATOR R"(
:param timeout_ms: maximum duration of the procedure, in milliseconds.
:param firstDAC: first DAC value (0 to 255, 127 = no motion).
:param maxDAC: last DAC value, on the same side of 127 as the first one and further from it.
:param stepDAC: how much the DAC value is increased, at least 1.
:param park: tells if the actuator should be moved to their configured parking position.
:return: True if the origin was found.
:raises FUSException: ERR_MECH_NO_CONFIG if the configuration is not sent, ERR_ARGUMENT if the DAC values do not fit together (the message tells how), ERR_USER_STOP (code 25) if it was stopped, ERR_TIMEOUT or an error of the board if the origin was not found.)" KORVANE_BAD_ACTUATOR;

void defineOrigins(MechanicsClass& mech) {
    mech.def("isAllOriginsFound", &Mechanics::isAllOriginsFound,
             "Tells if all origins are known, see :func:`Mechanics.findAllOrigins()`.")
        .def("findAllOrigins", &Mechanics::findAllOrigins, py::arg("force") = false, FIND_ALL_DOC)
        .def("clearAllOrigins", &Mechanics::clearAllOrigins,
             "Makes the board forget all origins.\n" KORVANE_BOARD_ERRORS ".")
        .def("isOriginFound", &Mechanics::isOriginFound, py::arg("actuator"),
             "Asks the board if it knows the origin of the actuator.\n\n" KORVANE_ACTUATOR
                 KORVANE_BOARD_ERRORS "." KORVANE_BAD_ACTUATOR)
        .def("findOrigin", &Mechanics::findOrigin, py::arg("actuator"), py::arg("timeout_ms"),
             py::arg("firstDAC"), py::arg("maxDAC"), py::arg("stepDAC"), py::arg("park"),
             FIND_ORIGIN_DOC);
}

// --- motion --------------------------------------------------------------------------------------

#define KORVANE_STATES                                                                       \
    "\n:raises FUSException: ERR_MECH_NO_CONFIG if the configuration is not sent, "          \
    "ERR_MECH_NO_ORIGIN if the origins are not known, ERR_MECH_ORIGINS_BUSY while they are " \
    "searched"
#define KORVANE_ASYNCHRONOUS                                             \
    "Asynchronous = returns immediately and sends its result by event (" \
    ":func:`FUSListener.onMechResult()`).\n\n"
#define KORVANE_EXEC_ID ":return: a unique identifier that will be referenced in listener events."

void definePositions(MechanicsClass& mech) {
    mech.def("readAbsoluteActuatorPosition", &Mechanics::readAbsoluteActuatorPosition,
             py::arg("actuator"),
             "Reads the position of the actuator.\n\n" KORVANE_ACTUATOR
             "\n:return: encoder counter value, in steps." KORVANE_BOARD_ERRORS
             "." KORVANE_BAD_ACTUATOR)
        .def("readActuatorPosition", &Mechanics::readActuatorPosition, py::arg("actuator"),
             "Reads the position of the actuator.\n\n" KORVANE_ACTUATOR
             "\n:return: position relative to the origin, in steps." KORVANE_BOARD_ERRORS
             ", ERR_MECH_NO_ORIGIN if origin is not found." KORVANE_BAD_ACTUATOR);
}

constexpr const char* SEND_DISPLACEMENT_DOC =
    R"(Sends a displacement to the board, in place of the former one.

:param displacement: a :class:`KORVANE.MechanicalDisplacement`, with at most getMaxDisplacementSize() moves per actuator. All delays must be above 0, and all positions within the bounds of the actuators. The move to the first position is not checked for speed, all others are.)" KORVANE_STATES
    R"(, ERR_ARGUMENT if a move is not possible (the message tells why).
:raises IndexError: if there are more actuators than in the definition.)";

constexpr const char* EXECUTE_DOC =
    R"(Executes the displacement that was sent.

)" KORVANE_ASYNCHRONOUS
    R"(:param execCount: number of executions (at least 1, at most 255 if the protocol version of the board is 1).
:param execDelay_ms: delay between executions, in milliseconds.
:param timeout_ms: how many milliseconds to wait for complete execution (including repetitions), 0 will compute a value.
)" KORVANE_EXEC_ID KORVANE_STATES
    ", ERR_ARGUMENT if the count or the timeout is not possible, or if no displacement was sent.";

// The method has no defaults.
constexpr const char* PREPARE_DOC =
    R"(Prepares a mixed execution. The displacement that was sent will begin with the execution of the trajectory.

You should NOT call executeDisplacement() in this case, all is controlled by the Generator::executeTrajectory(..., MECH_CONTINUE, ...);

:param execCount: number of executions (default is 1, at most 255).
:param execDelay_ms: delay between executions, in milliseconds (default is 0).
:return: a unique identifier. The listener events refer to the one of the trajectory.)" KORVANE_STATES
    ", ERR_ARGUMENT if the count is not possible, or if no displacement was sent.";

void defineDisplacements(MechanicsClass& mech) {
    mech.def("getMaxDisplacementSize", &Mechanics::getMaxDisplacementSize,
             "Returns the maximum number of moves of an actuator in a displacement.\n\n:raises "
             "FUSException: ERR_MECH_NO_CONFIG if the configuration is not sent.")
        .def("clearDisplacement", &Mechanics::clearDisplacement,
             "Makes the board forget the displacement that was sent.\n" KORVANE_BOARD_ERRORS ".")
        .def("sendDisplacement", &Mechanics::sendDisplacement, py::arg("displacement"),
             SEND_DISPLACEMENT_DOC)
        .def("executeDisplacement", &Mechanics::executeDisplacement, py::arg("execCount") = 1,
             py::arg("execDelay_ms") = 0, py::arg("timeout_ms") = 0, EXECUTE_DOC)
        .def("prepareDisplacement", &Mechanics::prepareDisplacement, py::arg("execCount"),
             py::arg("execDelay_ms"), PREPARE_DOC);
}

void defineMoves(MechanicsClass& mech) {
    mech.def("moveActuatorTo", &Mechanics::moveActuatorTo, py::arg("actuator"), py::arg("position"),
             py::arg("duration_ms"),
             "Moves one actuator.\n\n" KORVANE_ASYNCHRONOUS KORVANE_ACTUATOR
             "\n:param position: relative to the origin, in steps.\n:param duration_ms: the time "
             "given to reach the position, in milliseconds.\n" KORVANE_EXEC_ID
             "\n:raises FUSException: ERR_MECH_NO_CONFIG if the configuration is not sent, "
             "ERR_MECH_NO_ORIGIN if origin is not found, ERR_ARGUMENT if the duration is "
             "0." KORVANE_BAD_ACTUATOR)
        .def("moveTo", &Mechanics::moveTo, py::arg("displacement"),
             "Moves several actuators at once. The displacement that was sent is not "
             "modified.\n\n" KORVANE_ASYNCHRONOUS
             ":param displacement: a :class:`KORVANE.MechanicalDisplacement`. It should contain "
             "only one Move per axis (or none to ignore it) and the same delay (max of all axes) "
             "is used for every axes.\n" KORVANE_EXEC_ID KORVANE_STATES
             ", ERR_ARGUMENT if an actuator has several moves, if none has one, or if all delays "
             "are 0.")
        .def("stop", &Mechanics::stop,
             "Stops all motions and the search of the origins. It is no error if nothing "
             "moves.\n" KORVANE_BOARD_ERRORS ".");
}

#define KORVANE_RAW_MOTION                                                                    \
    "This is a raw motion, meaning it does not require any origin to move, but also that it " \
    "will apply the given DAC value without any protection.\n\n"
#define KORVANE_DAC                                                                              \
    ":param DAC: the motion speed/amplitude to apply (8-bits value) (0 to 127 = one direction, " \
    "127 to 255 = other direction, 127 = no motion)."

void defineRawMoves(MechanicsClass& mech) {
    mech.def("rawMoveSomeTime", &Mechanics::rawMoveSomeTime, py::arg("actuator"),
             py::arg("duration_ms"), py::arg("DAC"),
             "Moves one actuator for some time.\n\n" KORVANE_ASYNCHRONOUS KORVANE_RAW_MOTION
                 KORVANE_ACTUATOR "\n:param duration_ms: duration of the motion, in "
             "milliseconds.\n" KORVANE_DAC "\n" KORVANE_EXEC_ID
             "\n:raises FUSException: ERR_ARGUMENT if the actuator or the DAC value is above 255.")
        .def("rawMoveSomeSteps", &Mechanics::rawMoveSomeSteps, py::arg("actuator"),
             py::arg("steps"), py::arg("DAC"), py::arg("timeout_ms") = 0,
             "Moves one actuator by a number of steps.\n\n" KORVANE_ASYNCHRONOUS KORVANE_RAW_MOTION
                 KORVANE_ACTUATOR "\n:param steps: length of the motion (at least 1).\n" KORVANE_DAC
             "\n:param timeout_ms: how many milliseconds the motion may last, 0 will compute a "
             "value using the full range and the default speed.\n" KORVANE_EXEC_ID
             "\n:raises FUSException: ERR_ARGUMENT if the actuator or the DAC value is above 255, "
             "or if there are no steps." KORVANE_BAD_ACTUATOR);
}

// --- parameters ----------------------------------------------------------------------------------

// The setters' docstrings begin with the sentence of the getters, and keep it.
#define KORVANE_INT_PARAMETER                                                                   \
    "Reads an internal variable of the motor board (signed or unsigned integers and booleans)." \
    "\n\n" KORVANE_ACTUATOR "\n:param param: a :class:`KORVANE.MechParam`.\n"
#define KORVANE_FLOAT_PARAMETER                               \
    "Reads an internal variable of the motor board (floats)." \
    "\n\n" KORVANE_ACTUATOR "\n:param param: a :class:`KORVANE.MechParam`.\n"
#define KORVANE_PARAMETER_ERRORS \
    KORVANE_BOARD_ERRORS ", ERR_ARGUMENT for an invalid parameter." KORVANE_BAD_ACTUATOR

// The board takes 32 bits; those of a negative number are the two's complement.
void setIntParameter(Mechanics& mech, unsigned actuator, MechParam param, std::int64_t value) {
    if (value < std::numeric_limits<std::int32_t>::min() ||
        value > std::numeric_limits<std::uint32_t>::max()) {
        throw py::type_error("the value must have 32 bits");
    }
    mech.setIntParameter(actuator, param, static_cast<std::uint32_t>(value));
}

void defineParameters(MechanicsClass& mech) {
    mech.def("readIntParameter", &Mechanics::readIntParameter, py::arg("actuator"),
             py::arg("param"),
             KORVANE_INT_PARAMETER ":return: an int; a boolean is 0 or 1, and a negative value "
                                   "comes as unsigned 32 bits." KORVANE_PARAMETER_ERRORS)
        .def("readFloatParameter", &Mechanics::readFloatParameter, py::arg("actuator"),
             py::arg("param"), KORVANE_FLOAT_PARAMETER ":return: a float." KORVANE_PARAMETER_ERRORS)
        .def("setIntParameter", &setIntParameter, py::arg("actuator"), py::arg("param"),
             py::arg("value"),
             KORVANE_INT_PARAMETER ":param value: the new value, an int." KORVANE_PARAMETER_ERRORS)
        .def("setFloatParameter", &Mechanics::setFloatParameter, py::arg("actuator"),
             py::arg("param"), py::arg("value"),
             KORVANE_FLOAT_PARAMETER
             ":param value: the new value, a float." KORVANE_PARAMETER_ERRORS)
        .def("getLastAsyncError", &Mechanics::getLastAsyncError, py::arg("actuator"),
             "Reads the last asynchronous error of the actuator, 0 if there is "
             "none.\n\n" KORVANE_ACTUATOR KORVANE_BOARD_ERRORS "." KORVANE_BAD_ACTUATOR)
        .def("logHistory", &Mechanics::logHistory, py::arg("actuator"),
             "Writes the history that the board keeps of the actuator in the log (with INFO "
             "level).\n\n" KORVANE_ACTUATOR)
        .def("logAllHistory", &Mechanics::logAllHistory,
             "Writes the history that the board keeps of all actuators in the log (with INFO "
             "level).");
}

} // namespace

void defineMechanics(py::module_& module) {
    defineMechanicalTypes(module);
    MechanicsClass mech(module, "Mechanics", "The mechanical system (to move the transducer).");
    defineDefinition(mech);
    defineOrigins(mech);
    defineActuators(mech);
    definePositions(mech);
    defineDisplacements(mech);
    defineMoves(mech);
    defineRawMoves(mech);
    defineParameters(mech);
}

} // namespace korvane
