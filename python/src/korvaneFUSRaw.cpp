// Raw access to the connection, for tests of the hardware.

#include "PyFUS.h"

#include "fus/P_Connection.h"
#include "fus/P_FUSAccess.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"

#include <memory>
#include <string>

namespace korvane {

namespace {

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

} // namespace

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

} // namespace korvane
