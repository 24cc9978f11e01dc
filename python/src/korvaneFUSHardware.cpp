// What the class FUS knows of the installation: its definition, and the hardware to be switched.

#include "PyFUS.h"
#include "PyGenerator.h"

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
    definePeripherals(fus);
}

} // namespace korvane
