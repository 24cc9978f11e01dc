// What the class FUS asks the hardware about itself, and the reboot.

#include "PyFUS.h"

#include <string>

namespace korvane {

namespace {

constexpr const char* BOARD_VERSIONS_DOC =
    R"(Asks a board for its versions.

:param btype: a :class:`KORVANE.BoardType`.
:param address: address of the board: the back panel connector it is plugged into.
:return: a tuple of two :class:`KORVANE.Version`: (hardware, firmware).
:raises FUSException: ERR_ARGUMENT if the board is not in use, ERR_TIMEOUT or ERR_PACKET if it does not answer as it should, ERR_NOT_CONNECTED if not connected, and with the code of the hardware if the board refuses.
:raises IndexError: with protocol v<3.0, for another address than 0 of the processor board.)";

constexpr const char* BOARD_INFO_DOC =
    R"(Asks a board for its versions and its firmware.

:param btype: a :class:`KORVANE.BoardType`.
:param address: address of the board: the back panel connector it is plugged into.
:return: a :class:`KORVANE.BoardInfo`.
:raises FUSException: ERR_ARGUMENT if the board is not in use, ERR_TIMEOUT or ERR_PACKET if it does not answer as it should, ERR_NOT_CONNECTED if not connected, and with the code of the hardware if the board refuses.
:raises IndexError: with protocol v<3.0, for another address than 0 of the processor board.)";

constexpr const char* EXPORT_DOC =
    R"(Describes the whole system in JSON: link, back panel, boards, and the text by which the generator described itself. Returns an empty object '{}' if not connected.

.. warning:: Some objects end in a comma before the closing brace, which strict parsers refuse.

:return: the document as a str; what the hardware does not answer is 0 or empty.
:raises FUSException: ERR_NOT_CONNECTED if the connection is lost meanwhile.)";

constexpr const char* REBOOT_DOC =
    R"(Forces an immediate reboot of the hardware. It closes the connection.

:param how: ``FUS.REBOOT_ALL`` or ``FUS.REBOOT_SLAVES``.
:raises FUSException: ERR_ARGUMENT if it is something else, ERR_TIMEOUT if the generator does not answer, ERR_NOT_CONNECTED if not connected, ERR_GENERATOR or the code of the hardware if it refuses; the connection is not closed then.)";

} // namespace

void defineIntrospection(py::class_<PyFUS>& fus) {
    using fus::gprotocol::BoardType;
    fus.def(
           "readBoardVersions",
           [](PyFUS& self, BoardType btype, unsigned char address) {
               fus::Version hardware;
               fus::Version firmware;
               self.fus.readBoardVersions(btype, address, hardware, firmware);
               return py::make_tuple(hardware, firmware);
           },
           py::arg("btype"), py::arg("address"), BOARD_VERSIONS_DOC)
        .def(
            "readBoardInfo",
            [](PyFUS& self, BoardType btype, unsigned char address) {
                return self.fus.readBoardInfo(btype, address);
            },
            py::arg("btype"), py::arg("address"), BOARD_INFO_DOC)
        .def(
            "exportJSONConfig",
            [](PyFUS& self) { return toStr(self.fus.exportJSONConfig().c_str()); }, EXPORT_DOC)
        .def(
            "reboot", [](PyFUS& self, unsigned how) { self.fus.reboot(how); }, py::arg("how"),
            REBOOT_DOC)
        .def_property_readonly_static(
            "REBOOT_ALL",
            [](const py::object&) { return static_cast<unsigned>(fus::gprotocol::REBOOT_ALL); },
            "To reboot the whole system (main board + slaves) (>20 seconds)")
        .def_property_readonly_static(
            "REBOOT_SLAVES",
            [](const py::object&) { return static_cast<unsigned>(fus::gprotocol::REBOOT_SLAVES); },
            "To only reboot slave boards, then re-detect them (<5 seconds)");
}

} // namespace korvane
