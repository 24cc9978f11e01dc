// The class FUS: the one entry point of an application.

#include "PyFUS.h"
#include "PyFUSListener.h"

#include "fus/Generator.h"
#include "fus/Mechanics.h"
#include "fus/P_LogMacros.h"

#include <cstdint>
#include <string>

namespace korvane {

using fus::FUS;

namespace {

// Counts the Python objects ever created. Nothing lowers it, on purpose: once a second one was
// made, none of them cleans up any more.
std::int32_t g_pythonInstanceCount = 0;

FUS& startedLibrary() {
    if (++g_pythonInstanceCount == 1) {
        FUS::init();
    }
    return FUS::getInstance();
}

} // namespace

PyFUS::PyFUS() : fus(startedLibrary()), gen(fus.getGenerator()), mech(fus.getMechanics()) {
    FUS_LOG(INFO, "<python> Creating KORVANE singleton");
}

PyFUS::~PyFUS() {
    if (g_pythonInstanceCount == 1 && securityOnDestruction) {
        FUS_LOG(INFO, "<python> Deleting KORVANE singleton");
        clearListeners();
        fus.disconnect();
    }
}

namespace {

// --- connection ----------------------------------------------------------------------------------

constexpr const char* CONNECT_DOC =
    R"(Connects to the generator. An open connection is closed first.

:param host: name or IP address of the generator. Can be an empty string if a definition file has been loaded.
:param port: TCP port, usually 1670, can be 0 if definition loaded.
:param timeout_ms: maximum duration of the ping and of the TCP connection, milliseconds; also used as receive timeout on success.
:return: False if the connection failed, see the log for the reason.
:raises FUSException: if the parameters or the measures of the generator can not be read (ERR_CONFIG), or if the link is lost meanwhile. Also if the clock or the thresholds of the definition can not be set: the connection is open then, but no connect event was sent.)";

constexpr const char* ANSWER_TIMEOUT_DOC =
    R"(Changes the time that commands wait for their answer.

:param timeout_ms: timeout in milliseconds, it will be rounded to a multiple of internal loop step (currently 200ms). The special value ``0x0FFFFFFF`` means infinite wait (blocking), and ``0x0FFFFFFE`` is ignored.
:return: False if the value was refused (infinite wait can not be the default).)";

void defineConnection(py::class_<PyFUS>& fus) {
    fus.def(
           "connect",
           [](PyFUS& self, const std::string& host, unsigned short port, unsigned timeout_ms) {
               return self.fus.connect(host.c_str(), port, timeout_ms);
           },
           py::arg("host") = "", py::arg("port") = 0, py::arg("timeout_ms") = 4000, CONNECT_DOC)
        .def(
            "disconnect", [](PyFUS& self) { self.fus.disconnect(); },
            "Stops the current execution and closes the connection.\n\n.. warning:: All Board and "
            "Measure objects become invalid.")
        .def(
            "isConnected", [](PyFUS& self) { return self.fus.isConnected(); },
            "Tells if there is a connection.")
        .def(
            "simulatorType", [](PyFUS& self) { return self.fus.simulatorType(); },
            R"(Tells if the connected generator is a simulator.

:return: a :class:`KORVANE.GenType`. If not connected it will not throw but return ``GenType.UNKNOWN``. Generators with older firmware (before version 3) always give ``UNKNOWN``.)")
        .def(
            "getTotalSent", [](PyFUS& self) { return self.fus.getTotalSent(); },
            "Returns the number of bytes sent on this connection, 0 if not connected.")
        .def(
            "getTotalReceived", [](PyFUS& self) { return self.fus.getTotalReceived(); },
            "Returns the number of bytes received on this connection, 0 if not connected.")
        .def(
            "getDefaultAnswerTimeout",
            [](PyFUS& self) { return self.fus.getDefaultAnswerTimeout(); },
            "Returns the time that commands wait for their answer, milliseconds.")
        .def(
            "setDefaultAnswerTimeout",
            [](PyFUS& self, unsigned timeout_ms) {
                return self.fus.setDefaultAnswerTimeout(timeout_ms);
            },
            py::arg("timeout_ms"), ANSWER_TIMEOUT_DOC)
        .def(
            "setSecureMode", [](PyFUS& self, bool enabled) { self.fus.setSecureMode(enabled); },
            py::arg("enabled"),
            "Enables or disables the checks that are made before a command is sent.\n\n.. "
            "warning:: Disabled, values go to the generator as they are.\n\n:param enabled: True "
            "(the default at start) to make the checks.")
        .def(
            "isInSecureMode", [](PyFUS& self) { return self.fus.isInSecureMode(); },
            "Tells if commands are checked before they are sent (the default).");
}

// --- description ---------------------------------------------------------------------------------

#define KORVANE_BOARD_WARNING                                                                  \
    "\n\n.. warning:: The returned Board object becomes invalid as soon as the connection is " \
    "closed. Using it afterwards will lead to crashes."
#define KORVANE_NOT_CONNECTED "\n:raises FUSException: ERR_NOT_CONNECTED if not connected."

void defineDescription(py::class_<PyFUS>& fus) {
    using fus::gprotocol::BoardType;
    fus.def(
           "getProtocolVersion", [](PyFUS& self) { return self.fus.getProtocolVersion(); },
           "Returns the version of the protocol of the connected generator.\n\n:return: a "
           ":class:`KORVANE.Version`." KORVANE_NOT_CONNECTED)
        .def(
            "getFirmwareVersion",
            [](PyFUS& self, BoardType btype) { return self.fus.getFirmwareVersion(btype); },
            py::arg("btype"),
            "Returns the firmware version of the boards of a type.\n\n:param btype: a "
            ":class:`KORVANE.BoardType`.\n:return: a :class:`KORVANE.Version`, 0.0.0.0 if there "
            "is no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getHardwareVersion",
            [](PyFUS& self, BoardType btype) { return self.fus.getHardwareVersion(btype); },
            py::arg("btype"),
            "Returns the hardware version of the boards of a type.\n\n:param btype: a "
            ":class:`KORVANE.BoardType`.\n:return: a :class:`KORVANE.Version`, 0.0.0.0 if there "
            "is no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getBoardCount",
            [](PyFUS& self, BoardType btype) { return self.fus.getBoardCount(btype); },
            py::arg("btype"),
            "Returns the number of boards of a type that are in use.\n\n:param btype: a "
            ":class:`KORVANE.BoardType`." KORVANE_NOT_CONNECTED)
        .def(
            "getDetectedBoardCount",
            [](PyFUS& self, BoardType btype) { return self.fus.getDetectedBoardCount(btype); },
            py::arg("btype"),
            "Returns the number of boards of a type that are plugged in, used or not.\n\n:param "
            "btype: a :class:`KORVANE.BoardType`." KORVANE_NOT_CONNECTED)
        .def(
            "getBoard",
            [](PyFUS& self, BoardType btype, unsigned index) {
                return self.fus.getBoard(btype, index);
            },
            py::arg("btype"), py::arg("index"),
            "Returns the description of a board." KORVANE_BOARD_WARNING
            "\n\n:param btype: a :class:`KORVANE.BoardType`.\n:param index: index (NOT address) "
            "of the board, in [0, getDetectedBoardCount(btype)-1].\n:raises IndexError: if there "
            "is no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getBoardUPB", [](PyFUS& self) { return self.fus.getBoardUPB(); },
            "Returns the description of the processor board." KORVANE_BOARD_WARNING
            "\n" KORVANE_NOT_CONNECTED)
        .def(
            "getBoardSNT", [](PyFUS& self, unsigned index) { return self.fus.getBoardSNT(index); },
            py::arg("index"),
            "Returns the description of a synthesizer board." KORVANE_BOARD_WARNING
            "\n\n:param index: index (NOT address) of the board, in [0, "
            "getDetectedBoardCount(btype)-1].\n:raises IndexError: if there is "
            "no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getBoardAMP", [](PyFUS& self, unsigned index) { return self.fus.getBoardAMP(index); },
            py::arg("index"),
            "Returns the description of an amplifier board." KORVANE_BOARD_WARNING
            "\n\n:param index: index (NOT address) of the board, in [0, "
            "getDetectedBoardCount(btype)-1].\n:raises IndexError: if there is "
            "no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getBoardMOT", [](PyFUS& self) { return self.fus.getBoardMOT(); },
            "Returns the description of the mechanical board." KORVANE_BOARD_WARNING
            "\n\n:raises IndexError: if there is no such board." KORVANE_NOT_CONNECTED);
}

} // namespace

void defineFUS(py::module_& module) {
    py::class_<PyFUS> fus(module, "FUS",
                          "The singleton object that represents the whole hardware.");
    fus.def(py::init<>(), "Base constructor. The first one starts the library.")
        .def_property_readonly(
            "gen", [](PyFUS& self) -> fus::Generator& { return self.gen; },
            py::return_value_policy::reference_internal,
            "The generator subsystem, used to execute shooting trajectories.")
        .def_property_readonly(
            "mech", [](PyFUS& self) -> fus::Mechanics& { return self.mech; },
            py::return_value_policy::reference_internal,
            "The mechanical subsystem, used to move the transducer.")
        .def(
            "setSecurityOnDestruction",
            [](PyFUS& self, bool disconnect) { self.securityOnDestruction = disconnect; },
            py::arg("disconnect"),
            "Disables security operations executed by default when this Python object is "
            "destroyed.\n\nIt means closing the existing connection and removing all "
            "listeners.\n\n:param disconnect: False to disable them.")
        .def(
            "hasSecurityOnDestruction", [](PyFUS& self) { return self.securityOnDestruction; },
            "Tells if security operations are executed when this Python object is destroyed.")
        .def(
            "registerListener", [](PyFUS&, PyFUSListener* listener) { registerListener(listener); },
            py::arg("listener"),
            "Adds a listener, which will receive all events.\n\n:param listener: a "
            ":class:`KORVANE.FUSListener`; keep a reference to it as long as it is registered.")
        .def(
            "unregisterListener",
            [](PyFUS&, PyFUSListener* listener) { unregisterListener(listener); },
            py::arg("listener"),
            "Removes a listener.\n\n:param listener: a :class:`KORVANE.FUSListener`.")
        .def(
            "clearListeners", [](PyFUS&) { clearListeners(); }, "Removes all listeners.");
    defineLog(fus);
    defineConnection(fus);
    defineDescription(fus);
    defineIntrospection(fus);
    defineHardware(fus);
    defineRawAccess(fus);
}

} // namespace korvane
