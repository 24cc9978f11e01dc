// The class FUS: the one entry point of an application.

#include "PyFUSListener.h"
#include "korvane.h"

#include "compat.h"

#include "fus/FUS.h"
#include "fus/Generator.h"
#include "fus/P_Connection.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <cctype>
#include <cstdint>
#include <memory>
#include <string>

namespace korvane {

using fus::FUS;

namespace {

// Counts the Python objects ever created. Nothing lowers it, on purpose: once a second one was
// made, none of them cleans up any more.
std::int32_t g_pythonInstanceCount = 0;

constexpr unsigned REBOOT_ALL = 9000;
constexpr unsigned REBOOT_SLAVES = 9001;

FUS& startedLibrary() {
    if (++g_pythonInstanceCount == 1) {
        FUS::init();
    }
    return FUS::getInstance();
}

struct PyFUS {
    FUS& fus;
    fus::Generator& gen;
    bool securityOnDestruction = true;

    PyFUS() : fus(startedLibrary()), gen(fus.getGenerator()) {
        fus::Log::getInstance().loG(fus::Log::INFO, "<python>", 0,
                                    "<python> Creating KORVANE singleton");
    }

    ~PyFUS() {
        if (g_pythonInstanceCount == 1 && securityOnDestruction) {
            fus::Log::getInstance().loG(fus::Log::INFO, "<python>", 0,
                                        "<python> Deleting KORVANE singleton");
            clearListeners();
            fus.disconnect();
        }
    }
    PyFUS(const PyFUS&) = delete;
    PyFUS& operator=(const PyFUS&) = delete;
};

fus::Log& theLog() {
    return fus::Log::getInstance();
}

// --- log -----------------------------------------------------------------------------------------

// The message goes to the logger as its format, and with no arguments. A conversion that asks for
// one would read what isn't there: it stands in the line as it was written. What asks for none
// ("%%", a stray one at the end) is the logger's business.
std::string formatWithoutArguments(const std::string& message) {
    std::string format;
    for (std::size_t i = 0; i < message.size(); ++i) {
        format += message[i];
        if (message[i] != '%' || i + 1 == message.size()) {
            continue;
        }
        format += '%';
        if (message[i + 1] == '%') {
            ++i;
        }
    }
    return format;
}

struct Place {
    std::string file = "<python>";
    unsigned line = 0;
};

Place callersPlace() {
    const py::gil_scoped_acquire lock;
    Place place;
    PyFrameObject* const frame = PyEval_GetFrame();
    if (frame == nullptr) {
        return place;
    }
    try {
        const auto name = py::reinterpret_steal<py::object>(compat::frameFileName(frame));
        if (name) {
            place.file = py::cast<std::string>(name);
            place.line = static_cast<unsigned>(PyFrame_GetLineNumber(frame));
        }
    } catch (...) {
        // the name stays "<python>"
    }
    PyErr_Clear();
    return place;
}

void log(PyFUS& /*self*/, fus::Log::Level level, const std::string& message) {
    const Place place = callersPlace();
    const std::string format = formatWithoutArguments(message);
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#endif
    theLog().loG(level, place.file.c_str(), place.line, format.c_str());
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
}

void defineLog(py::class_<PyFUS>& fus) {
    fus.def(
           "getLogLevel", [](PyFUS&) { return theLog().getLevel(); },
           "Returns the current log level.\n\n:return: a :class:`KORVANE.LogLevel`.")
        .def(
            "setLogLevel", [](PyFUS&, fus::Log::Level level) { theLog().setLevel(level); },
            py::arg("level"),
            "Changes the log level.\n\n:param level: a :class:`KORVANE.LogLevel`; messages below "
            "it are not written.")
        .def(
            "isLogStdoutEnabled", [](PyFUS&) { return theLog().isStdoutEnabled(); },
            "Tells if the log is written on the standard output.")
        .def(
            "isLogStderrEnabled", [](PyFUS&) { return theLog().isStderrEnabled(); },
            "Tells if the log is written on the standard error (the default).")
        .def(
            "isLogFileEnabled", [](PyFUS&) { return theLog().isFileEnabled(); },
            "Tells if the log is written in a file.")
        .def(
            "getLogFileName", [](PyFUS&) { return toStr(theLog().getFileName()); },
            "Returns the name of the current log file, with its date suffix if there is one.\n\n"
            ":return: the name, empty if there is no log file.")
        .def(
            "enableLogStdout", [](PyFUS&, bool enable) { theLog().enableStdout(enable); },
            py::arg("enable"), "Enables or disables the log on the standard output.")
        .def(
            "enableLogStderr", [](PyFUS&, bool enable) { theLog().enableStderr(enable); },
            py::arg("enable"), "Enables or disables the log on the standard error.")
        .def(
            "setLogFile",
            [](PyFUS&, const std::string& filename, bool append) {
                return theLog().setFile(filename.c_str(), append);
            },
            py::arg("filename"), py::arg("append") = true,
            R"(Writes the log in a file, closing the current one.

:param filename: name of the file. Use an empty string to disable file logging.
:param appendDate: True to append the current date and time and .log extension to the filename.
:return: False if the file can not be opened or created.)")
        .def("log", &log, py::arg("level"), py::arg("message"),
             "Writes the given message in the current log.\n\n:param level: a "
             ":class:`KORVANE.LogLevel`.\n:param message: the text; it is taken as a format "
             "without arguments.");
}

// --- connection ----------------------------------------------------------------------------------

constexpr const char* CONNECT_DOC =
    R"(Connects to the generator. An open connection is closed first.

:param host: name or IP address of the generator. Can be an empty string if a definition file has been loaded.
:param port: TCP port, usually 1670, can be 0 if definition loaded.
:param timeout_ms: maximum duration of the ping and of the TCP connection, milliseconds; also used as receive timeout on success.
:return: False if the connection failed, see the log for the reason.
:raises FUSException: if the parameters or the measures of the generator can not be read (ERR_CONFIG), or if the link is lost meanwhile.)";

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
            "warning:: Disabled, values go to the generator as they are.")
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
            "\n\n:param index: index (NOT address) of the board.\n:raises IndexError: if there is "
            "no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getBoardAMP", [](PyFUS& self, unsigned index) { return self.fus.getBoardAMP(index); },
            py::arg("index"),
            "Returns the description of an amplifier board." KORVANE_BOARD_WARNING
            "\n\n:param index: index (NOT address) of the board.\n:raises IndexError: if there is "
            "no such board." KORVANE_NOT_CONNECTED)
        .def(
            "getBoardMOT", [](PyFUS& self) { return self.fus.getBoardMOT(); },
            "Returns the description of the mechanical board." KORVANE_BOARD_WARNING
            "\n\n:raises IndexError: if there is no such board." KORVANE_NOT_CONNECTED);
}

// --- raw access ----------------------------------------------------------------------------------

std::shared_ptr<fus::Connection> connectionOf(PyFUS& self) {
    return fus::FUSAccess::getConnection(self.fus);
}

// 0 stands for a wait without limit in the raw methods.
unsigned rawTimeout(unsigned timeout_ms) {
    return timeout_ms == 0 ? fus::TIMEOUT_INFINITE : timeout_ms;
}

std::string contentOf(const fus::NetPacket* packet) {
    return packet == nullptr
               ? std::string()
               : std::string(reinterpret_cast<const char*>(packet->data()), packet->size());
}

std::string readAnswer(PyFUS& self, unsigned id, unsigned short expectedType, unsigned timeout_ms) {
    std::unique_ptr<fus::NetPacket> packet;
    unsigned short found = fus::gprotocol::ANSWER_ANY;
    if (!connectionOf(self)->readAnswer(id, expectedType, &packet, rawTimeout(timeout_ms),
                                        &found)) {
        if (found != fus::gprotocol::ANSWER_ANY) {
            FUS_THROW_MSG(ERR_PACKET, "Unexpected packet type found.");
        }
        FUS_THROW_MSG(ERR_TIMEOUT, "Answer not found.");
    }
    return contentOf(packet.get());
}

std::string readBoardAnswer(PyFUS& self, fus::gprotocol::HardwareID hwtype, unsigned hwindex,
                            unsigned id, unsigned short expectedType, unsigned timeout_ms) {
    fus::NetPacket data(1);
    const unsigned size = connectionOf(self)->readBoardAnswer(hwtype, hwindex, id, expectedType,
                                                              data, rawTimeout(timeout_ms));
    return contentOf(&data).substr(0, size);
}

void defineRawAccess(py::class_<PyFUS>& fus) {
    using fus::gprotocol::HardwareID;
    fus.def(
           "sendRawData",
           [](PyFUS& self, const std::string& data) {
               return connectionOf(self)->sendRawData(data.data(),
                                                      static_cast<unsigned>(data.size()));
           },
           py::arg("data"),
           "Sends bytes on the connection as they are, no header added.\n\n:param data: the "
           "bytes, as a str (UTF-8).\n:return: the number of bytes really sent.")
        .def(
            "sendCommand",
            [](PyFUS& self, unsigned short type, const std::string& data) {
                return connectionOf(self)->sendCommand(type, data.data(),
                                                       static_cast<unsigned>(data.size()));
            },
            py::arg("type"), py::arg("data"),
            "Sends a command, in the basic packet of the generator.\n\n:param type: number of the "
            "command.\n:param data: its content, as a str (UTF-8).\n:return: a unique identifier "
            "of the packet sent.")
        .def(
            "sendBoardCommand",
            [](PyFUS& self, HardwareID hwtype, unsigned hwindex, unsigned timeout_ms,
               unsigned short cmd, const std::string& data) {
                return connectionOf(self)->sendBoardCommand(hwtype, hwindex, timeout_ms, cmd,
                                                            data.data(),
                                                            static_cast<unsigned>(data.size()));
            },
            py::arg("hwtype"), py::arg("hwindex"), py::arg("timeout_ms"), py::arg("cmd"),
            py::arg("data"),
            R"(Sends a command to a board, this function returns immediately.

:param hwtype: a :class:`KORVANE.HardwareID`.
:param hwindex: address of the board.
:param timeout_ms: time the generator should wait for the execution (0 = synchronous, >0 = asynchronous), milliseconds.
:param cmd: number of the board command.
:param data: its content, as a str (UTF-8).
:return: a unique identifier of the packet sent.)")
        .def(
            "checkAnswer",
            [](PyFUS& self, unsigned id, unsigned short expectedType) {
                return connectionOf(self)->checkAnswer(id, expectedType);
            },
            py::arg("id"), py::arg("expectedType"),
            "Checks if an answer has been received, without waiting.\n\n:param id: identifier of "
            "the packet sent.\n:param expectedType: type of the answer, 0 for any.\n:return: True "
            "if one of this type has arrived.")
        .def("readAnswer", &readAnswer, py::arg("id"), py::arg("expectedType"),
             py::arg("timeout_ms"),
             R"(Waits for the answer of a command.

:param id: identifier of the packet sent.
:param expectedType: type of the answer, 0 for any.
:param timeout_ms: milliseconds, 0 means infinite.
:return: the content of the answer, as a str (UTF-8).
:raises FUSException: ERR_PACKET if another type of packet arrived, ERR_TIMEOUT if none did.)")
        .def("readBoardAnswer", &readBoardAnswer, py::arg("hwtype"), py::arg("hwindex"),
             py::arg("id"), py::arg("expectedType"), py::arg("timeout_ms") = 0,
             R"(Waits for the answer of a board command.

:param hwtype: a :class:`KORVANE.HardwareID`.
:param hwindex: address of the board.
:param id: identifier of the packet sent.
:param expectedType: number of the board command, 0 for any.
:param timeout_ms: milliseconds, 0 means infinite.
:return: the data of the answer, as a str (UTF-8).
:raises FUSException: ERR_PACKET if the answer is another one, ERR_TIMEOUT if none arrived.)");
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
        .def_property_readonly_static(
            "REBOOT_ALL", [](const py::object&) { return REBOOT_ALL; },
            "To reboot the whole system (main board + slaves) (>20 seconds)")
        .def_property_readonly_static(
            "REBOOT_SLAVES", [](const py::object&) { return REBOOT_SLAVES; },
            "To only reboot slave boards, then re-detect them (<5 seconds)")
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
    defineRawAccess(fus);
}

} // namespace korvane
