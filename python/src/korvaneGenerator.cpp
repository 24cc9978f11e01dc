// The generator: its enumerations and its commands.

#include "PyGenerator.h"
#include "PyShots.h"

#include "fus/ExecResult.h"
#include "fus/Generator.h"

namespace korvane {

using namespace fus::gprotocol;
using fus::Generator;

namespace {

// --- enumerations --------------------------------------------------------------------------------

constexpr const char* ELEC_EXEC_MODE_DOCS[] = {
    "This is the default mode. There is one ShotResult per shot, and one ExecResult per "
    "execution. For example 3 executions of a trajectory of 2 shots give: Shot0, Shot1, Exec0, "
    "Shot0, Shot1, Exec1, Shot0, Shot1, Exec2.",
    "**Deprecated with protocol v>=3.** This mode allows shorter timings. There is no restriction "
    "on phases and amplitudes, but two possible configurations for frequencies: the same value "
    "for all channels, possibly changing from shot to shot, or different values in the first shot "
    "and then 0 frequencies (= copy the first one) in all the rest. There is no ShotResult, only "
    "ExecResults.",
    "This mode allows the shortest timings. There is no restriction on frequency per channel. The "
    "trajectory can only contain _one_ shot. The delay between execution (useless in this case) "
    "must be 0 (protocol v>=3). There is no ShotResult, and one ExecResult in the end.",
    "**Deprecated with protocol v>=3.** This is an experimental mode that allows to execute up to "
    "four very short consecutive shots (of about 400us). Like REPEAT mode for the rest.",
    "No electronic part (mechanical only).",
};

constexpr const char* ELEC_MECH_MODE_DOCS[] = {
    "No mechanical displacement.",
    "The mechanical displacement goes on during the electronic execution.",
};

constexpr const char* TRIGGER_MODE_DOCS[] = {
    "Ignores all signals from the trigger input, this is the default.",
    "Waits for a signal to start, then executes all repetitions. Any other signal during the "
    "execution is an error and stops it, unless EXEC_FLAG_IGNORE_UNEXP_TRIGGER is used.",
    "Each execution of the trajectory needs a signal. Any other signal during the execution is an "
    "error and stops it, unless EXEC_FLAG_IGNORE_UNEXP_TRIGGER is used. The delay between "
    "trajectories must be 0.",
    "Each shot of each repeated trajectory needs a signal. In this case the delay specified in "
    "the shots is used before shooting (instead of after). Any other signal during the execution "
    "is an error and stops it, unless EXEC_FLAG_IGNORE_UNEXP_TRIGGER is used. The delay between "
    "trajectories must be 0.",
};

constexpr const char* EXEC_FLAG_DOCS[] = {
    "Set: the phase counter continues at a new shot, in this case the shot delays must be set to "
    "0 (all but the last one). Unset (default): it is reset on each shot.",
    "Set: the exec result is sent only on the last execution. Unset (default): on each execution. "
    "Not compatible with REPEAT mode, since they are already skipped.",
    "Set: shot durations and delays are not checked, both locally and by the generator. Unset "
    "(default): they are.",
    "Set: board measures are added to the shot results. Unset (default): they are not. Not "
    "compatible with OMIT_ALL_MEASURES and REPEAT mode.",
    "Set: an unexpected trigger-in signal is ignored. Unset (default): the execution stops with "
    "an error.",
    "Set: the trajectory can be stopped and replaced by one from another buffer. Unset (default): "
    "it can not. Only available in NORMAL and QUICK modes.",
    "Set: no AMP measurements are made and no ShotResult is sent, which allows shorter shot "
    "durations. Unset (default): they are. Only available in NORMAL mode. Not compatible with "
    "ADD_BOARD_MEASURES.",
};

constexpr const char* AMPLIFIER_TYPE_DOCS[] = {
    "Unknown type.",
    "3 measurements (forward power(W), reverse power(W), phase shift(rad) between voltage and the "
    "internal reference signal)",
    "4 measurements (voltage(V), current intensity(A), phase shift(rad) between voltage and "
    "current, phase shift(rad) between voltage and the internal reference signal)",
    "3 measurements (forward voltage(V), reverse voltage(V), phase shift(rad) between voltage and "
    "the internal reference signal).",
};

struct Row {
    unsigned value;
    const char* shortName;
};

constexpr Row EXEC_STATUSES[] = {
    {fus::ExecResult::EXEC_UNKNOWN, "UNKNOWN"},
    {fus::ExecResult::EXEC_OK_CONTINUE, "OK_CONTINUE"},
    {fus::ExecResult::EXEC_OK_FINISHED, "OK_FINISHED"},
    {fus::ExecResult::EXEC_STOP_INTERNAL_ERROR, "STOP_INTERNAL_ERROR"},
    {fus::ExecResult::EXEC_STOP_BY_USER, "STOP_BY_USER"},
    {fus::ExecResult::EXEC_STOP_AMPLIFIER_CURRENT, "STOP_AMPLIFIER_CURRENT"},
    {fus::ExecResult::EXEC_STOP_AMPLIFIER_TEMP, "STOP_AMPLIFIER_TEMP"},
    {fus::ExecResult::EXEC_STOP_MECHANICAL_ERROR, "STOP_MECHANICAL_ERROR"},
    {fus::ExecResult::EXEC_STOP_TRIGGER_INPUT, "STOP_TRIGGER_INPUT"},
    {fus::ExecResult::EXEC_STOP_TIMING, "STOP_TIMING"},
    {fus::ExecResult::EXEC_STOP_WATCHDOG, "STOP_WATCHDOG"},
    {fus::ExecResult::EXEC_STOP_HEARTBEAT, "STOP_HEARTBEAT"},
};

constexpr const char* EXEC_STATUS_DOCS[] = {
    "Undefined.",
    "Success, more executions follow.",
    "Success, this was the last execution.",
    "Stopped by an internal error of the generator.",
    "Stopped by the user.",
    "Stopped because the current of an amplifier is too high.",
    "Stopped because the temperature of an amplifier is too high.",
    "Stopped by an error of the mechanical system.",
    "Stopped by an unexpected signal on the trigger input.",
    "Stopped because of a timing error.",
    "Stopped by the watchdog.",
    "Stopped because no heart-beat was received in time.",
};

constexpr const char* BOARD_STATUS_DOCS[] = {
    "The board has been reset unexpectedly, does not apply to UPB. Once set, requires a call to "
    "reboot(slaves) to unset.",
    "Bad CRC on slave board, does not apply to UPB.",
    "Invalid state of power supply for this board, only apply to AMP and UPB (for global switch).",
};

constexpr const char* PERIPHERAL_DOCS[] = {
    "this is the amplifier power supply, disabling it will also stop its fan and thus reduce the "
    "noise, but it prevents from shooting of course.",
    "can be used to reset (initialize) slave boards (including mechanical system) by "
    "disabling/wait 1 second/enabling.",
};

void defineEnums(py::module_& module) {
    defineEnum<ElecExecMode>(module, "ElecExecMode", "Electronic trajectory execution mode",
                             ELEC_EXEC_MODES, ELEC_EXEC_MODE_DOCS);
    defineEnum<MechExecMode>(
        module, "ElecMechMode",
        "Mechanical trajectory execution mode when used with an electronic one.", MECH_EXEC_MODES,
        ELEC_MECH_MODE_DOCS);
    defineEnum<TriggerMode>(module, "TriggerMode",
                            "Electronic trajectory execution can be started on external signal.",
                            TRIGGER_MODES, TRIGGER_MODE_DOCS);
    defineEnum<ExecFlag>(module, "ExecFlag",
                         "Trajectory execution flags (used in "
                         ":func:`Generator.sendTrajectory()`). They can be combined with ``|``.",
                         EXEC_FLAGS, EXEC_FLAG_DOCS, py::arithmetic());
    defineEnum<AmplifierType>(module, "AmplifierType",
                              "Types of amplifier boards (based on the measures they provide).",
                              AMPLIFIER_TYPES, AMPLIFIER_TYPE_DOCS);
    defineEnum<fus::ExecResult::Status>(module, "ExecStatus", "Trajectory execution result status",
                                        EXEC_STATUSES, EXEC_STATUS_DOCS);
    defineEnum<BoardStatus>(module, "BoardStatus",
                            "Enumeration of board status, as reported by "
                            ":func:`Generator.getBoardStatus()`.",
                            BOARD_STATUSES, BOARD_STATUS_DOCS, py::arithmetic());
    defineEnum<Peripheral>(module, "Peripheral",
                           "Peripheral that can be activated/deactivated on demand.", PERIPHERALS,
                           PERIPHERAL_DOCS);
}

// --- commands ------------------------------------------------------------------------------------

#define KORVANE_MODE ":param mode: a :class:`KORVANE.ElecExecMode`."

void defineCounts(GeneratorClass& gen) {
    gen.def("getChannelCount", &Generator::getChannelCount,
            "Returns the number of channels.\n" KORVANE_NOT_CONNECTED)
        .def("getBufferCount", &Generator::getBufferCount,
             "Returns the number of trajectory buffers.\n" KORVANE_NOT_CONNECTED)
        .def("getChannelMeasureCount", &Generator::getChannelMeasureCount,
             "Returns the number of measures per channel in the shot "
             "results.\n" KORVANE_NOT_CONNECTED)
        .def("getAmplifierBoardMeasureCount", &Generator::getAmplifierBoardMeasureCount,
             "Returns the number of measures per amplifier board.\n" KORVANE_NOT_CONNECTED)
        .def("getAmplifierCurrentCount", &Generator::getAmplifierCurrentCount,
             "Returns the number of current measures of the amplifiers.\n" KORVANE_NOT_CONNECTED)
        .def("getAmplifierTemperatureCount", &Generator::getAmplifierTemperatureCount,
             "Returns the number of temperature measures of the "
             "amplifiers.\n" KORVANE_NOT_CONNECTED)
        .def("getPowerSupplyCount", &Generator::getPowerSupplyCount,
             "Returns the number of power supplies.\n" KORVANE_NOT_CONNECTED)
        .def("hasMultiplexer", &Generator::hasMultiplexer,
             "Tells if the generator has a multiplexer.\n" KORVANE_NOT_CONNECTED)
        .def("hasTriggerInput", &Generator::hasTriggerInput,
             "Tells if the generator has a trigger input.\n" KORVANE_NOT_CONNECTED)
        .def("hasShotRamp", &Generator::hasShotRamp,
             "Tells if the amplitude of shots can be ramped.\n" KORVANE_NOT_CONNECTED);
}

void defineTimings(GeneratorClass& gen) {
    gen.def("getMaxTrajectorySize", &Generator::getMaxTrajectorySize, py::arg("mode"),
            "Returns the maximum number of shots in a "
            "trajectory.\n\n" KORVANE_MODE KORVANE_NOT_CONNECTED)
        .def("getMinShootingDuration", &Generator::getMinShootingDuration, py::arg("mode"),
             "Returns the minimum shooting duration of a shot, "
             "microseconds.\n\n" KORVANE_MODE KORVANE_NOT_CONNECTED)
        .def("getMaxShootingDuration", &Generator::getMaxShootingDuration, py::arg("mode"),
             "Returns the maximum shooting duration of a shot, "
             "microseconds.\n\n" KORVANE_MODE KORVANE_NOT_CONNECTED)
        .def("getMinTotalShotDuration", &Generator::getMinTotalShotDuration, py::arg("mode"),
             py::arg("flags") = 0,
             "Returns the minimum total duration of a shot (duration+delay), "
             "microseconds.\n\n" KORVANE_MODE
             "\n:param flags: :class:`KORVANE.ExecFlag` values." KORVANE_NOT_CONNECTED)
        .def("getMaxTotalShotDuration", &Generator::getMaxTotalShotDuration, py::arg("mode"),
             "Returns the maximum total duration of a shot (duration+delay), "
             "microseconds.\n\n" KORVANE_MODE KORVANE_NOT_CONNECTED)
        .def("getMinRepeatShotDelay", &Generator::getMinRepeatShotDelay,
             "Returns the minimum delay of the shot in REPEAT mode without trigger, "
             "microseconds.\n" KORVANE_NOT_CONNECTED)
        .def("getMinTrajectoryDelay", &Generator::getMinTrajectoryDelay,
             "Returns the minimum delay between executions, microseconds.\n" KORVANE_NOT_CONNECTED)
        .def("getMaxTrajectoryDelay", &Generator::getMaxTrajectoryDelay, py::arg("mode"),
             "Returns the maximum delay between executions, "
             "microseconds.\n\n" KORVANE_MODE KORVANE_NOT_CONNECTED)
        .def("getMaxRampDuration", &Generator::getMaxRampDuration,
             "Returns the maximum duration of a ramp, microseconds.\n" KORVANE_NOT_CONNECTED);
}

constexpr const char* SEND_DOC =
    R"(Checks a trajectory and sends it into a buffer of the generator.

:param buffer: index of the buffer, in [0, getBufferCount()-1].
:param trajectory: the :class:`KORVANE.ElectronicTrajectory`; it is not modified.
:param elecMode: a :class:`KORVANE.ElecExecMode`.
:param trigMode: a :class:`KORVANE.TriggerMode`.
:param mechMode: a :class:`KORVANE.ElecMechMode`.
:param execFlags: :class:`KORVANE.ExecFlag` values, must be 0 with protocol v<3.1.
:param slice: true to slice too long shots into a series of smaller ones to fit in the generator limits, false (default) will reject this kind of trajectory. This is only useful in NORMAL mode, and ignored (=false) in REPEAT mode.
:raises FUSException: ERR_ARGUMENT if something does not fit this generator (the message tells what), ERR_SLICE if the shots can not be sliced, ERR_TIMEOUT if the generator does not answer.
:raises IndexError: if there is no such buffer.)";

constexpr const char* EXECUTE_DOC =
    R"(Executes the trajectory of a buffer.

:param buffer: index of the buffer.
:param execCount: number of executions (at least 1).
:param delay_us: delay between executions, microseconds.
:param sendResults: False if no results are wanted.
:return: a unique identifier that will be referenced in events, or 0 if sendResults is False.
:raises FUSException: ERR_ARGUMENT if the count or the delay is not possible, ERR_TIMEOUT if the generator does not answer.
:raises IndexError: if there is no such buffer.)";

// The caller's trajectory stays as it is, slicing included.
void sendTrajectory(Generator& gen, unsigned buffer, PyElecTraj& trajectory, ElecExecMode elecMode,
                    TriggerMode trigMode, MechExecMode mechMode, unsigned execFlags,
                    bool canSlice) {
    gen.sendTrajectory(buffer, trajectory, elecMode, trigMode, mechMode, execFlags, canSlice,
                       false);
}

void defineExecution(GeneratorClass& gen) {
    gen.def("clearBuffer", &Generator::clearBuffer, py::arg("buffer"),
            "Empties a trajectory buffer of the generator.\n\n:param buffer: index of the buffer."
            "\n:raises IndexError: if there is no such buffer." KORVANE_NOT_CONNECTED)
        .def("sendTrajectory", &sendTrajectory, py::arg("buffer"), py::arg("trajectory"),
             py::arg("elecMode") = EXEC_ELEC_NORMAL, py::arg("trigMode") = EXEC_TRIGGER_IGNORED,
             py::arg("mechMode") = EXEC_MECH_NONE, py::arg("execFlags") = 0,
             py::arg("canSlice") = false, SEND_DOC)
        .def("executeTrajectory", &Generator::executeTrajectory, py::arg("buffer"),
             py::arg("execCount"), py::arg("delay_us"), py::arg("sendResults") = true, EXECUTE_DOC)
        .def("stopTrajectory", &Generator::stopTrajectory,
             "Stops the current execution.\n\nThis function returns immediately, the outcome "
             "arrives as an :class:`KORVANE.ExecResult`.\n" KORVANE_NOT_CONNECTED);
}

} // namespace

void defineGenerator(py::module_& module) {
    defineEnums(module);
    // needed by the signatures
    definePhaseShot(module);
    defineTrajectory(module);
    GeneratorClass gen(module, "Generator", "The generator system (to shoot focused ultrasound).");
    defineDefinition(gen);
    defineCounts(gen);
    defineTimings(gen);
    defineExecution(gen);
    defineBoards(gen);
    defineSettings(gen);
}

} // namespace korvane
