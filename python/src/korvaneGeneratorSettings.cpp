// What can be set on the generator: thresholds, ramps, the clock, the heart-beat; test commands.

#include "PyGenerator.h"

#include "fus/Mask1D.h"

namespace korvane {

using fus::Generator;

namespace {

#define KORVANE_TIMEOUT "\n:raises FUSException: ERR_TIMEOUT if the generator does not answer"
#define KORVANE_V3 ", ERR_PROTOCOL with protocol v<3"
#define KORVANE_ARGUMENT(what) ", ERR_ARGUMENT if " what

/// Binds a reading that fills an array as a method that returns a list.
template <void (Generator::*READ)(fus::FloatArray&, bool)>
py::list readList(Generator& gen, bool max) {
    fus::FloatArray values;
    (gen.*READ)(values, max);
    return toList(values);
}

template <void (Generator::*WRITE)(const fus::FloatArray&)>
void writeList(Generator& gen, const py::list& values) {
    (gen.*WRITE)(toFloatArray(values));
}

/// Binds a reading that gives its value through an argument as a method that returns it.
template <class Value, void (Generator::*READ)(Value&)>
Value readValue(Generator& gen) {
    Value value{};
    (gen.*READ)(value);
    return value;
}

#define KORVANE_MAX_ARGUMENT                                                                \
    ":param max: indicates if current values (False) or threshold values (True) should be " \
    "read.\n"
#define KORVANE_BAD_READING " A reading that the generator marks as bad is -1000."

void defineAmplifiers(GeneratorClass& gen) {
    gen.def("readAmplifierTemperatures", &readList<&Generator::readAmplifierTemperatures>,
            py::arg("max"),
            "Reads the temperatures of the amplifiers.\n\n" KORVANE_MAX_ARGUMENT
            ":return: a list of floats, degrees Celsius." KORVANE_BAD_READING KORVANE_TIMEOUT
            ", ERR_NOT_AVAILABLE if the amplifiers measure no temperature.")
        .def(
            "setMaxAmplifierTemperatures", &writeList<&Generator::setMaxAmplifierTemperatures>,
            py::arg("values"),
            "Changes the temperatures at which the generator stops an execution.\n\nOn reaching "
            "a value, execution is stopped automatically and immediately.\n\n:param values: a "
            "list of floats, degrees Celsius in [0, 256]; its size must be "
            ":func:`Generator.getAmplifierTemperatureCount()`." KORVANE_TIMEOUT KORVANE_ARGUMENT(
                "the size or a value is not possible (the message tells which)") ", "
                                                                                 "ERR_NOT_"
                                                                                 "AVAILABLE if the "
                                                                                 "amplifiers do "
                                                                                 "not measure it "
                                                                                 "(protocol v>=3).")
        .def("readAmplifierCurrents", &readList<&Generator::readAmplifierCurrents>, py::arg("max"),
             "Reads the input currents of the amplifiers.\n\n" KORVANE_MAX_ARGUMENT
             ":return: a list of floats, amperes." KORVANE_BAD_READING KORVANE_TIMEOUT
             ", ERR_NOT_AVAILABLE if the amplifiers measure no current.")
        .def(
            "setMaxAmplifierCurrents", &writeList<&Generator::setMaxAmplifierCurrents>,
            py::arg("values"),
            "Changes the input currents at which the generator stops an execution.\n\nOn "
            "reaching a value, execution is stopped automatically and immediately, and the "
            "corresponding board is disabled.\n\n:param values: a list of floats, amperes in "
            "[0, 256]; its size must be :func:`FUS.getBoardCount()` (of the "
            "amplifiers)." KORVANE_TIMEOUT KORVANE_ARGUMENT(
                "the size or a value is not possible (the message tells which)") ", "
                                                                                 "ERR_NOT_"
                                                                                 "AVAILABLE if the "
                                                                                 "amplifiers do "
                                                                                 "not measure it "
                                                                                 "(protocol v>=3).")
        .def(
            "readPowerSupplies",
            [](Generator& self) {
                fus::FloatArray values;
                self.readPowerSupplies(values);
                return toList(values);
            },
            "Reads the power supplies.\n\n:return: a list of floats, volts." KORVANE_TIMEOUT ".")
        .def("enableAmplifierPowerSupplies", &Generator::enableAmplifierPowerSupplies,
             py::arg("state"),
             "Switches the power supply of all amplifiers: the main one, and the switches on each "
             "amplifier board. Boards that the back panel disabled are ignored.\n\n:param state: "
             "True to switch on." KORVANE_TIMEOUT KORVANE_V3 ".");
}

void defineLevels(GeneratorClass& gen) {
    gen.def("readMultiplexerValue", &readValue<unsigned, &Generator::readMultiplexerValue>,
            "Reads the value of the multiplexer.\n\n:return: an int in [0, 255]." KORVANE_TIMEOUT
            ", ERR_PROTOCOL with protocol v>=3.")
        .def("setMultiplexerValue", &Generator::setMultiplexerValue, py::arg("value"),
             "Changes the value of the multiplexer.\n\n:param value: an int in [0, "
             "255]." KORVANE_TIMEOUT KORVANE_ARGUMENT(
                 "the value is above 255") ", ERR_PROTOCOL with protocol v>=3.")
        .def("readAmplitudeThreshold",
             &readValue<unsigned char, &Generator::readAmplitudeThreshold>,
             "Reads the maximum amplitude that trajectories may use.\n\n:return: an int in [0, "
             "255]." KORVANE_TIMEOUT ".")
        .def("setAmplitudeThreshold", &Generator::setAmplitudeThreshold, py::arg("value"),
             "Changes the maximum amplitude that trajectories may use.\n\n:param value: an int in "
             "[0, 255]." KORVANE_TIMEOUT KORVANE_ARGUMENT("the value is above 255") ".")
        .def("readOutCurrentThreshold",
             &readValue<unsigned char, &Generator::readOutCurrentThreshold>,
             "Reads the threshold of the output current, which limits the emitted "
             "power.\n\n:return: an int in [0, 255]." KORVANE_TIMEOUT ".")
        .def("setOutCurrentThreshold", &Generator::setOutCurrentThreshold, py::arg("value"),
             "Changes the threshold of the output current, which limits the emitted "
             "power.\n\n:param value: an int in [0, 255]." KORVANE_TIMEOUT KORVANE_ARGUMENT(
                 "the value is above 255") ".")
        .def("readChannelsState", &readValue<fus::Mask1D, &Generator::readChannelsState>,
             "Reads which channels emit. The generator may also disable channels by itself: the "
             "state is the mask that was set, without the channels that it shut off.\n\n:return: "
             "a :class:`KORVANE.ChannelMask`." KORVANE_TIMEOUT
             ", ERR_PACKET if the answer does not fit this generator.")
        .def("setChannelsState", &Generator::setChannelsState, py::arg("mask"),
             "Enables or disables channels for the next executions. With protocol v>=3 this is the "
             "only way to mask channels.\n\n:param mask: a :class:`KORVANE.ChannelMask`; its size "
             "must be :func:`Generator.getChannelCount()`." KORVANE_TIMEOUT KORVANE_ARGUMENT(
                 "the size is another one") ".");
}

void defineTimes(GeneratorClass& gen) {
    gen.def("setHeartBeatTimeout", &Generator::setHeartBeatTimeout, py::arg("timeout_us"),
            "Changes the time within which the application must call "
            ":func:`Generator.sendHeartBeat()` while a trajectory is executed, otherwise the "
            "generator stops it.\n\n:param timeout_us: delay in microseconds, can be 0 to "
            "disable. Values below 50ms will be rejected. Values longer than the whole execution "
            "are useless but accepted." KORVANE_TIMEOUT KORVANE_V3 KORVANE_ARGUMENT(
                "the value is too low") ".")
        .def("readHeartBeatTimeout", &Generator::readHeartBeatTimeout,
             "Reads the time-out of the heart-beat.\n\n:return: microseconds, 0 if "
             "disabled." KORVANE_TIMEOUT KORVANE_V3 ".")
        .def("sendHeartBeat", &Generator::sendHeartBeat,
             "Tells the generator that the application is alive. This function returns "
             "immediately.\n\n:raises FUSException: ERR_NOT_CONNECTED if not "
             "connected" KORVANE_V3 ".")
        .def("readShotRampDuration", &Generator::readShotRampDuration, py::arg("start"),
             "Reads the duration of the ramp of all shots.\n\n:param start: True for the ramp at "
             "the start of a shot, False for the one at its end.\n:return: the time to reach the "
             "maximum amplitude (255), microseconds." KORVANE_TIMEOUT ".")
        .def("setShotRampDuration", &Generator::setShotRampDuration, py::arg("start"),
             py::arg("value"),
             "Changes the duration of the ramp of all shots.\n\n:param start: True for the ramp "
             "at the start of a shot, False for the one at its end.\n:param value: the time to "
             "reach the maximum amplitude (255), microseconds; at most "
             ":func:`Generator.getMaxRampDuration()`." KORVANE_TIMEOUT KORVANE_ARGUMENT(
                 "the value is too high") ".")
        .def("readClockFrequency", &Generator::readClockFrequency,
             "Reads the frequency of the clock.\n\n:return: Hertz." KORVANE_TIMEOUT KORVANE_V3 ".")
        .def("setClockFrequency", &Generator::setClockFrequency, py::arg("freq_hz"),
             "Changes the frequency of the clock.\n\n:param freq_hz: Hertz. For now, there is "
             "actually only two values allowed (24000000 and 25000000)." KORVANE_TIMEOUT KORVANE_V3
                 KORVANE_ARGUMENT("it is another value") ".");
}

#define KORVANE_TOLERANCE                                                                       \
    " The generator checks every shot during the execution, and stops it with an error if the " \
    "tolerance is exceeded.\n\n"

void defineTolerances(GeneratorClass& gen) {
    gen.def("readShootingDurationTolerance", &Generator::readShootingDurationTolerance,
            "Reads the tolerance on the shooting duration." KORVANE_TOLERANCE
            ":return: microseconds." KORVANE_TIMEOUT KORVANE_V3 ".")
        .def("setShootingDurationTolerance", &Generator::setShootingDurationTolerance,
             py::arg("tolerance_us"),
             "Changes the tolerance on the shooting duration." KORVANE_TOLERANCE
             ":param tolerance_us: microseconds." KORVANE_TIMEOUT KORVANE_V3 ".")
        .def("readTotalShotDurationTolerance", &Generator::readTotalShotDurationTolerance,
             "Reads the tolerance on the total duration of a shot "
             "(duration+delay)." KORVANE_TOLERANCE
             ":return: microseconds." KORVANE_TIMEOUT KORVANE_V3 ".")
        .def("setTotalShotDurationTolerance", &Generator::setTotalShotDurationTolerance,
             py::arg("tolerance_us"),
             "Changes the tolerance on the total duration of a shot "
             "(duration+delay)." KORVANE_TOLERANCE
             ":param tolerance_us: microseconds." KORVANE_TIMEOUT KORVANE_V3 ".");
}

void defineTestCommands(GeneratorClass& gen) {
    gen.def("simulateTriggerInPulse", &Generator::simulateTriggerInPulse,
            "Acts as a pulse on the trigger input would.\n\n:return: False when no execution is "
            "running, when it needs no trigger pulse, or when the pulse falls during an already "
            "triggered shot; also if no answer came.\n:raises FUSException: ERR_PROTOCOL with "
            "protocol v<3.")
        .def("wait", &Generator::wait, py::arg("delay_us"),
             "Makes the generator wait.\n\n.. warning:: This command will block the treatment of "
             "any subsequent command, and for example delay a stop command during an execution "
             "until the wait is over.\n\n:param delay_us: microseconds, at most "
             "60000000. Longer than the default answer timeout, it raises ERR_TIMEOUT, as do the "
             "commands that follow, while the generator goes on waiting." KORVANE_TIMEOUT KORVANE_V3
                 KORVANE_ARGUMENT("the delay is too large") ".")
        .def("checkWatchdog", &Generator::checkWatchdog,
             "Checks that the watchdog of the generator works: runs a trajectory with an invalid "
             "shot, longer than the allowed limit, with some securities disabled, and checks that "
             "the generator stops it. Nothing else may shoot meanwhile.\n\n.. warning:: Remove "
             "your listeners first: a callback waits until this method is over, and the event "
             "that tells how the shot ended waits behind it.\n\n:return: True if the watchdog "
             "stopped the shot. False if not, and also if that could not be told, as with a "
             "listener registered." KORVANE_TIMEOUT KORVANE_V3 ".");
}

} // namespace

void defineSettings(GeneratorClass& gen) {
    defineAmplifiers(gen);
    defineLevels(gen);
    defineTimes(gen);
    defineTolerances(gen);
    defineTestCommands(gen);
}

} // namespace korvane
