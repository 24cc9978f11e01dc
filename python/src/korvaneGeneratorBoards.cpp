// The definition of the installation, and the boards of the generator.

#include "PyGenerator.h"

#include <cstddef>
#include <string>

namespace korvane {

using namespace fus::gprotocol;
using fus::Generator;

py::list toList(const fus::FloatArray& values) {
    py::list list(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        list[i] = values.get(i);
    }
    return list;
}

fus::FloatArray toFloatArray(const py::list& values) {
    fus::FloatArray array(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
        array.set(i, values[i].cast<float>());
    }
    return array;
}

// --- definition ----------------------------------------------------------------------------------

namespace {

#define KORVANE_DEFINITION_DOC                                                                  \
    "\n\nThe definition is necessary to compute the power in the shot results. Load it before " \
    "connecting: loaded afterwards, only its polynomials are used.\n\n"

bool loadDefinition(Generator& gen, const std::string& filename) {
    return gen.loadDefinition(filename.c_str());
}

bool loadDefinitionString(Generator& gen, const std::string& definition) {
    return gen.loadDefinitionString(definition.c_str());
}

} // namespace

void defineDefinition(GeneratorClass& gen) {
    gen.def("loadDefinition", &loadDefinition, py::arg("filename"),
            "Loads a generator definition from a file." KORVANE_DEFINITION_DOC
            ":param filename: path of the file. Same as clearDefinition() if empty (then returns "
            "False).\n:return: False if the file can not be read or is not a valid definition, see "
            "the log for the reason.")
        .def("loadDefinitionString", &loadDefinitionString, py::arg("definition"),
             "Loads a generator definition from a string." KORVANE_DEFINITION_DOC
             ":param definition: the text of the definition. Same as clearDefinition() if empty "
             "(then returns False).\n:return: False if it is not a valid definition, see the log "
             "for the reason.")
        .def("clearDefinition", &Generator::clearDefinition,
             "Forgets the generator definition, which disables the conversion of shot results.")
        .def("isDefinitionLoaded", &Generator::isDefinitionLoaded,
             "Tells if a generator definition is loaded.")
        .def("isShotResultConversionEnabled", &Generator::isShotResultConversionEnabled,
             "Tells if shot results are converted to physical units: a definition was loaded and "
             "the connected hardware is compatible. Always False when disconnected.");
}

// --- boards --------------------------------------------------------------------------------------

#define KORVANE_BOARD_ARGUMENTS                                                             \
    ":param boardType: a :class:`KORVANE.BoardType`.\n:param boardAddress: address of the " \
    "board.\n"
#define KORVANE_BOARD_ERRORS                                                                    \
    "\n:raises FUSException: ERR_PROTOCOL with protocol v<3, ERR_ARGUMENT if there is no such " \
    "board, ERR_TIMEOUT if it does not answer, other codes if it refuses."

void defineBoards(GeneratorClass& gen) {
    gen.def("readBoardParam", &Generator::readBoardParam, py::arg("boardType"),
            py::arg("boardAddress"), py::arg("param"),
            "Reads a parameter of a board.\n\n" KORVANE_BOARD_ARGUMENTS
            ":param param: number of the parameter.\n:return: its value." KORVANE_BOARD_ERRORS)
        .def("writeBoardParam", &Generator::writeBoardParam, py::arg("boardType"),
             py::arg("boardAddress"), py::arg("param"), py::arg("value"),
             "Writes a parameter of a board.\n\n" KORVANE_BOARD_ARGUMENTS
             ":param param: number of the parameter.\n:param value: its new "
             "value." KORVANE_BOARD_ERRORS)
        .def(
            "readBoardMeasures",
            [](Generator& self, BoardType boardType, unsigned boardAddress, bool ADConly) {
                fus::FloatArray values;
                self.readBoardMeasures(boardType, boardAddress, values, ADConly);
                return toList(values);
            },
            py::arg("boardType"), py::arg("boardAddress"), py::arg("ADConly"),
            "Reads all measures of a board.\n\n" KORVANE_BOARD_ARGUMENTS
            ":param ADConly: True to get raw ADC values, False to convert them using the "
            "corresponding polynomial.\n:return: a list of floats." KORVANE_BOARD_ERRORS)
        .def("readBoardThreshold", &Generator::readBoardThreshold, py::arg("boardType"),
             py::arg("boardAddress"), py::arg("measureIndex"), py::arg("upper"),
             "Reads a threshold of a board measure.\n\n" KORVANE_BOARD_ARGUMENTS
             ":param measureIndex: index of the measure.\n:param upperBound: True for the upper "
             "threshold, False for the lower one.\n:return: the threshold as an ADC "
             "value." KORVANE_BOARD_ERRORS "\n:raises IndexError: if there is no such measure.")
        .def("setBoardThreshold", &Generator::setBoardThreshold, py::arg("boardType"),
             py::arg("boardAddress"), py::arg("measureIndex"), py::arg("upper"),
             py::arg("threshold"),
             "Changes a threshold of a board measure.\n\n" KORVANE_BOARD_ARGUMENTS
             ":param measureIndex: index of the measure.\n:param upperBound: True for the upper "
             "threshold, False for the lower one.\n:param ADCValue: the threshold as an ADC "
             "value." KORVANE_BOARD_ERRORS "\n:raises IndexError: if there is no such measure.")
        .def("refreshBoardsStatus", &Generator::refreshBoardsStatus,
             "Asks for the status of all boards, for :func:`Generator.getBoardStatus()`.\n\n"
             ":return: True if no board has a problem.\n:raises FUSException: ERR_PROTOCOL with "
             "protocol v<3, ERR_TIMEOUT if the generator does not answer.")
        .def("getBoardStatus", &Generator::getBoardStatus, py::arg("boardType"),
             py::arg("boardAddress"),
             "Returns the status of a board, as last refreshed.\n\n" KORVANE_BOARD_ARGUMENTS
             ":return: :class:`KORVANE.BoardStatus` bits, 0 if all is well.\n:raises FUSException: "
             "ERR_PROTOCOL with protocol v<3, ERR_ARGUMENT if there is no such board.");
}

} // namespace korvane
