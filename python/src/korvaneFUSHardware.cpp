// What the class FUS knows of the installation: its definition, and the hardware to be switched.

#include "PyFUS.h"
#include "PyGenerator.h"

#include "fus/Mask1D.h"

namespace korvane {

namespace {

#define KORVANE_TIMEOUT "\n:raises FUSException: ERR_TIMEOUT if the generator does not answer"

constexpr const char* CHECK_CONFIGURATION_DOC =
    R"(Compares the connected generator with the definition: channels, measures of the shot results, hardware version of the amplifiers, number of boards.

:raises FUSException: ERR_CONFIG if something differs (the message tells what) or if no definition is loaded, ERR_NOT_CONNECTED if not connected.)";

constexpr const char* CHECK_VOLTAGES_DOC =
    R"(Compares voltages with the ranges of the definition.

:param voltages: a list of floats, as :func:`Generator.readPowerSupplies()` returns it.
:return: the number of bad values (0 means ok); values without a range in the definition are ok, and missing values are not noticed.
:raises FUSException: ERR_CONFIG if no definition is loaded, ERR_NOT_CONNECTED if not connected.)";

// the clock's docstring is that of the thresholds, and stays so
constexpr const char* APPLY_DOC =
    R"(Applies the board measure thresholds of the generator definition, as it is done at each connection. It has no effect if they are not defined, or with protocol v<3.

.. warning:: A bound that a board refuses is skipped without an error. If the definition has both bounds of the measure, that board then has no such bound; otherwise its old one stays. :func:`Generator.readBoardThreshold()` tells what is set.

:raises FUSException: ERR_NOT_CONNECTED if not connected, ERR_TIMEOUT if the generator does not answer.)";

void defineInstallation(py::class_<PyFUS>& fus) {
    fus.def(
           "getDefinitionHost", [](PyFUS& self) { return toStr(self.fus.getDefinitionHost()); },
           "Returns the host of the generator definition, empty if no definition file has been "
           "loaded, even if connected.")
        .def(
            "getDefinitionPort", [](PyFUS& self) { return self.fus.getDefinitionPort(); },
            "Returns the port of the generator definition, 0 if no definition file has been "
            "loaded, even if connected.")
        .def(
            "checkConfiguration", [](PyFUS& self) { self.fus.checkConfiguration(); },
            CHECK_CONFIGURATION_DOC)
        .def(
            "checkVoltages",
            [](PyFUS& self, const py::list& voltages) {
                return self.fus.checkVoltages(toFloatArray(voltages));
            },
            py::arg("voltages"), CHECK_VOLTAGES_DOC)
        .def(
            "applyDefBoardMeasureThresholds",
            [](PyFUS& self) { self.fus.applyDefBoardMeasureThresholds(); }, APPLY_DOC)
        .def(
            "applyDefClock", [](PyFUS& self) { self.fus.applyDefClock(); }, APPLY_DOC);
}

constexpr const char* CLEAR_BACK_PANEL_DOC =
    R"(Clears the back panel configuration stored in FLASH memory. The connection stays open.

:raises FUSException: ERR_PROTOCOL with protocol v<3.1, ERR_NOT_CONNECTED if not connected, ERR_TIMEOUT if the generator does not answer.)";

constexpr const char* READ_BACK_PANEL_DOC =
    R"(Reads the back panel configuration: which channels of the synthesizer and of the amplifier boards are in use. The given masks will be resized to fit the received masks size. They are empty if nothing is stored in FLASH memory.

:param sntBoards: a :class:`KORVANE.ChannelMask`, takes the channels of the synthesizer boards, slot by slot.
:param ampBoards: a :class:`KORVANE.ChannelMask`, takes the channels of the amplifier boards.
:param source: :attr:`KORVANE.BackPanelStorage.RAM` or :attr:`KORVANE.BackPanelStorage.FLASH`. Note that .BOTH is not possible here.
:raises FUSException: ERR_PROTOCOL with protocol v<3.1, ERR_ARGUMENT for another source, ERR_PACKET if the answer makes no sense, ERR_NOT_CONNECTED if not connected, ERR_TIMEOUT if the generator does not answer, ERR_SOCKET_WRITE if the link fails, ERR_GENERATOR or the code of the hardware if the generator refuses.
:raises IndexError: if the answer ends too soon.)";

constexpr const char* SET_BACK_PANEL_DOC =
    R"(Changes the back panel configuration. Important: this command closes the current connection. The generator works with the new configuration from the next connection on. It may take some seconds.

:param sntBoards: a :class:`KORVANE.ChannelMask`, the channels of the synthesizer boards to be used, slot by slot.
:param ampBoards: a :class:`KORVANE.ChannelMask` of the same size and with as many active channels, the same for the amplifier boards.
:param target: :attr:`KORVANE.BackPanelStorage.RAM` or :attr:`KORVANE.BackPanelStorage.BOTH`. Note that .FLASH is not possible here.
:raises FUSException: ERR_PROTOCOL with protocol v<3.1, ERR_ARGUMENT for another target or if the masks do not go together, ERR_NOT_CONNECTED if not connected, ERR_TIMEOUT if the generator does not answer, ERR_SOCKET_WRITE if the link fails, ERR_GENERATOR or the code of the hardware if the generator refuses. The connection is as before then, unless the link itself failed.
:raises IndexError: without secure mode, if the sizes of the masks differ.)";

constexpr const char* APPLY_BACK_PANEL_DOC =
    R"(Applies the back panel configuration of the generator definition, as it is done at each connection. It has no effect if it is not defined, or if it is what the generator already has.

:return: False if nothing was modified and the connection is still open, True if the configuration was modified and the connection closed.
:raises FUSException: the errors of :func:`FUS.readBackPanelConfiguration()` and :func:`FUS.setBackPanelConfiguration()`.)";

void defineBackPanel(py::class_<PyFUS>& fus) {
    using fus::Mask1D;
    using fus::gprotocol::BackPanelStorage;
    fus.def(
           "clearBackPanelConfiguration",
           [](PyFUS& self) { self.fus.clearBackPanelConfiguration(); }, CLEAR_BACK_PANEL_DOC)
        .def(
            "readBackPanelConfiguration",
            [](PyFUS& self, Mask1D& snt, Mask1D& amp, BackPanelStorage source) {
                self.fus.readBackPanelConfiguration(snt, amp, source);
            },
            py::arg("sntBoards"), py::arg("ampBoards"), py::arg("source"), READ_BACK_PANEL_DOC)
        .def(
            "setBackPanelConfiguration",
            [](PyFUS& self, const Mask1D& snt, const Mask1D& amp, BackPanelStorage target) {
                self.fus.setBackPanelConfiguration(snt, amp, target);
            },
            py::arg("sntBoards"), py::arg("ampBoards"), py::arg("target"), SET_BACK_PANEL_DOC)
        .def(
            "applyDefBackPanel", [](PyFUS& self) { return self.fus.applyDefBackPanel(); },
            APPLY_BACK_PANEL_DOC);
}

void definePeripherals(py::class_<PyFUS>& fus) {
    using fus::gprotocol::Peripheral;
    fus.def(
           "readPeripheralState",
           [](PyFUS& self, Peripheral peripheral) {
               return self.gen.readPeripheralState(peripheral);
           },
           py::arg("peripheral"),
           "Reads the state of a peripheral.\n\n:param peripheral: a "
           ":class:`KORVANE.Peripheral`.\n:return: true for enabled, false for "
           "disabled." KORVANE_TIMEOUT ".")
        .def(
            "setPeripheralState",
            [](PyFUS& self, Peripheral peripheral, bool state) {
                self.gen.setPeripheralState(peripheral, state);
            },
            py::arg("peripheral"), py::arg("state"),
            "Changes the state of a peripheral.\n\n:param peripheral: a "
            ":class:`KORVANE.Peripheral`.\n:param state: true for enabled, false for "
            "disabled." KORVANE_TIMEOUT ".");
}

} // namespace

void defineHardware(py::class_<PyFUS>& fus) {
    defineInstallation(fus);
    defineBackPanel(fus);
    definePeripherals(fus);
}

} // namespace korvane
