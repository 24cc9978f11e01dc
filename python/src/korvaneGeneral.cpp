// General enumerations, values, and the description of boards and measures.

#include "korvane.h"

#include "fus/Board.h"
#include "fus/BoardInfo.h"
#include "fus/Log.h"
#include "fus/Mask1D.h"
#include "fus/Measure.h"
#include "fus/Version.h"

#include <pybind11/operators.h>

#include <string>

namespace korvane {

using namespace fus::gprotocol;
using fus::Mask1D;

namespace {

// --- enumerations --------------------------------------------------------------------------------

struct Row {
    int value;
    const char* shortName;
};

constexpr Row LOG_LEVELS[] = {
    {fus::Log::DEBUG, "DEBUG"}, {fus::Log::VERBOSE, "VERBOSE"},     {fus::Log::INFO, "INFO"},
    {fus::Log::ERROR, "ERROR"}, {fus::Log::EXCEPTION, "EXCEPTION"}, {fus::Log::NONE, "NONE"},
};

constexpr const char* LOG_LEVEL_DOCS[] = {
    "Only use this level when in big troubles (can impact performance).",
    "Detailed information on all commands.",
    "General informative messages (typically results of commands).",
    "Only errors and exceptions.",
    "Only exceptions.",
    "No log message at all.",
};

constexpr const char* BOARD_TYPE_DOCS[] = {"UPB board", "SNT board", "AMP board", "MOT board"};

constexpr const char* HARDWARE_ID_DOCS[] = {"UPB board", "SNT board", "AMP board", "MOT board",
                                            "BKP board"};

constexpr const char* GEN_TYPE_DOCS[] = {
    "Not connected or old firmware (and we dont'know).",
    "Sure to be connected to a real hardware generator.",
    "Sure to be connected to a simulator (software).",
};

constexpr const char* UNIT_DOCS[] = {
    "Undefined or not yet initialized.", "Volt", "Ampere", "Watt", "Radian", "Degree Celsius"};

constexpr const char* BACK_PANEL_STORAGE_DOCS[] = {
    "Operates on RAM stored config ONLY.",
    "Operates on FLASH stored config ONLY.",
    "Operates both on RAM and FLASH stored configs.",
};

constexpr Row RESIZE_EXISTING[] = {{100, "LOST"}, {101, "COPY"}, {102, "SET_0"}, {103, "SET_1"}};

constexpr const char* RESIZE_EXISTING_DOCS[] = {
    "Leave new allocated memory as is, content is random. Ok if you overwrite it immediately.",
    "Copy previous content to new allocated memory (common range).",
    "Write 0s in place of previous content.",
    "Write 1s in place of previous content.",
};

constexpr Row RESIZE_EXTRA[] = {{200, "RANDOM"}, {201, "SET_0"}, {202, "SET_1"}};

constexpr const char* RESIZE_EXTRA_DOCS[] = {
    "Do nothing on the extra part, the content is random.",
    "Fill the extra part with 0s.",
    "Fill the extra part with 1s.",
};

void defineEnums(py::module_& module) {
    defineEnum<fus::Log::Level>(module, "LogLevel",
                                "Log level identifiers. Enabling one level will also enable all "
                                "levels following it in the list.",
                                LOG_LEVELS, LOG_LEVEL_DOCS);
    defineEnum<BoardType>(module, "BoardType", "Internal circuit board types.", BOARD_TYPES,
                          BOARD_TYPE_DOCS);
    defineEnum<HardwareID>(module, "HardwareID",
                           "Internal components, used only for tests with "
                           ":func:`KORVANE.FUS.sendBoardCommand()` and "
                           ":func:`KORVANE.FUS.readBoardAnswer()`.",
                           HARDWARE_IDS, HARDWARE_ID_DOCS);
    defineEnum<GenType>(module, "GenType",
                        "Types of generators. Values returned by "
                        ":func:`KORVANE.FUS.simulatorType()`.",
                        GEN_TYPES, GEN_TYPE_DOCS);
    defineEnum<BackPanelStorage>(module, "BackPanelStorage",
                                 "List of parameters for the back panel commands. Note that all "
                                 "combinations are not possible with all commands.",
                                 BACK_PANEL_STORAGES, BACK_PANEL_STORAGE_DOCS);
    defineEnum<Unit>(module, "Unit", "Possible units used in measurements.", UNITS, UNIT_DOCS);
    defineEnum<Mask1D::ResizeExistingParam>(
        module, "MaskResizeExisting",
        "Possible values for the 'exist' parameter of :func:`ChannelMask.resize()`: what to do in "
        "the common range between old and new size.",
        RESIZE_EXISTING, RESIZE_EXISTING_DOCS);
    defineEnum<Mask1D::ResizeExtraParam>(
        module, "MaskResizeExtra",
        "Possible values for the 'extra' parameter of :func:`ChannelMask.resize()`.", RESIZE_EXTRA,
        RESIZE_EXTRA_DOCS);
}

// --- values --------------------------------------------------------------------------------------

constexpr const char* VERSION_DOC =
    R"(Simple object to represent a 4-tuple (v1.v2.v3.v4).

Versions can be compared with the operators ==, !=, <, <=, >, >=.)";

void defineVersion(py::module_& module) {
    using fus::Version;
    py::class_<Version>(module, "Version", VERSION_DOC)
        .def(py::init<>(), "Base constructor (0.0.0.0).")
        .def(py::init<unsigned, unsigned, unsigned, unsigned>(), py::arg("v1"), py::arg("v2"),
             py::arg("v3"), py::arg("v4"),
             "Creates a version object (v1.v2.v3.v4).\n\n:param v1: first component.\n:param v2: "
             "second component.\n:param v3: third component.\n:param v4: fourth component.")
        .def(py::init([](const std::string& text) { return Version(text.c_str()); }),
             py::arg("text"),
             "Creates a version object from a string\n\n:param text: for example '1.2.3.4' or "
             "'UPB_1.2.3'; a string that is no version gives 0.0.0.0.")
        .def(
            "setFromString",
            [](Version& self, const std::string& text) { return self.setFromString(text.c_str()); },
            py::arg("text"),
            "Sets the value from a string.\n\n:param text: for example '1.2.3.4' or 'UPB_1.2.3'."
            "\n:return: False if the string is no version, nothing is changed then.")
        .def("clear", &Version::clear, "Sets the value to 0.0.0.0.")
        .def(py::self == py::self, "Tells if all components are the same.")
        .def(py::self < py::self, "Compares component by component, the first one decides.")
        .def("__str__", &Version::toString, "Returns a string representation ('v1.v2.v3.v4')")
        .def_readwrite("v1", &Version::v1, "first component")
        .def_readwrite("v2", &Version::v2, "second component")
        .def_readwrite("v3", &Version::v3, "third component")
        .def_readwrite("v4", &Version::v4, "fourth component");
}

#define KORVANE_CHANNEL_STATE                                                            \
    "\n\n:param index: index of the channel.\n:param value: True for enabled.\n:raises " \
    "IndexError: if there is no such channel."

void defineMask(py::module_& module) {
    py::class_<Mask1D>(module, "ChannelMask", "A mask to select active channels.")
        .def(py::init<>(), "Base constructor (empty mask).")
        .def(py::init<std::size_t, bool>(), py::arg("size"), py::arg("value"),
             "Creates a mask.\n\n:param size: number of channels.\n:param value: state of all "
             "channels (default is True).")
        .def(py::init([](const std::string& string, std::size_t length) {
                 return Mask1D(string.c_str(), length);
             }),
             py::arg("string"), py::arg("length") = 0,
             "Creates a mask from a string.\n\n:param string: the characters '0' and '1' are the "
             "channels, all others are skipped.\n:param length: number of characters to read, 0 "
             "for all.")
        .def(py::init<const Mask1D&>(), py::arg("copy"),
             "Copy constructor.\n\n:param copy: the mask to copy.")
        .def("size", &Mask1D::size, "Returns the number of channels.")
        .def("__len__", &Mask1D::size, "Returns the number of channels.")
        .def("clear", &Mask1D::clear, "Set the size to 0, all content is lost.")
        .def("resize", &Mask1D::resize, py::arg("size"), py::arg("exist"), py::arg("extra"),
             "Changes the size.\n\n:param size: new number of channels.\n:param exist: a "
             ":class:`KORVANE.MaskResizeExisting`.\n:param extra: a "
             ":class:`KORVANE.MaskResizeExtra`.")
        .def(py::self == py::self, "Tells if size and content are the same.")
        .def(py::self != py::self, "Tells if size or content are different.")
        .def("isComparable", &Mask1D::isComparable, py::arg("mask"),
             "Compares two masks that may have different sizes.\n\n:param mask: the other mask."
             "\n:return: True if the common range is the same and the rest is only 0s.")
        .def("set", &Mask1D::set, py::arg("index"), py::arg("value"),
             "Changes the state of a channel." KORVANE_CHANNEL_STATE)
        .def(
            "setFromString",
            [](Mask1D& self, const std::string& string, std::size_t length) {
                self.setFromString(string.c_str(), length);
            },
            py::arg("string"), py::arg("length"),
            "Changes size and content from a string.\n\n:param string: the characters '0' and '1' "
            "are the channels, all others are skipped.\n:param length: number of characters to "
            "read, 0 for all.")
        .def("setAll", &Mask1D::setAll, py::arg("value"),
             "Changes the state of all channels.\n\n:param value: True for enabled.")
        .def("activeCount", &Mask1D::activeCount, "Returns the number of enabled channels.")
        .def("__getitem__", &Mask1D::get, py::arg("index"),
             "Returns the state of a channel.\n\n:param index: index of the channel.\n:return: "
             "True if it is enabled.\n:raises IndexError: if there is no such channel.")
        .def("__setitem__", &Mask1D::set, py::arg("index"), py::arg("value"),
             "Changes the state of a channel." KORVANE_CHANNEL_STATE);
}

// --- boards --------------------------------------------------------------------------------------

#define KORVANE_MEASURE_WARNING                                                                  \
    "\n\n.. warning:: The returned Measure object becomes invalid as soon as the connection is " \
    "closed. Using it afterwards will lead to crashes."

void defineMeasure(py::module_& module) {
    using fus::Measure;
    py::class_<Measure>(module, "Measure",
                        "Information about one type of measure performed by the generator.")
        .def(
            "name", [](const Measure& self) { return toStr(self.name()); },
            "Returns the name of this measure (unique identifier), usually a 3 letters symbol.")
        .def("size", &Measure::size, "Returns the size of one value, bytes.")
        .def("minADCValue", &Measure::minADCValue, "Returns the smallest ADC value.")
        .def("maxADCValue", &Measure::maxADCValue, "Returns the greatest ADC value.")
        .def("lowerThreshold", &Measure::lowerThreshold,
             "Returns the default lower threshold of the board, an ADC integer.\n\nThis value is "
             "only available for board (BO) measures, and will return 0 for channel (CH) measures.")
        .def("upperThreshold", &Measure::upperThreshold,
             "Returns the default upper threshold of the board, an ADC integer.\n\nThis value is "
             "only available for board (BO) measures, and will return 0 for channel (CH) measures.")
        .def("unit", &Measure::unit, "Returns the unit.\n\n:return: a :class:`KORVANE.Unit`.")
        .def(
            "unitSymbol", [](const Measure& self) { return toStr(self.unitSymbol()); },
            "Returns the symbol of the unit, for example 'A' for UNIT_AMPERE.")
        .def(
            "unitName", [](const Measure& self) { return toStr(self.unitName()); },
            "Returns the name of the unit, for example 'Ampere' for UNIT_AMPERE.")
        .def("physicalFromADC", &Measure::physicalFromADC, py::arg("adcValue"),
             "Converts an ADC value into physical unit.\n\n:param adcValue: the ADC "
             "value.\n:return: the value in physical unit, 0.0 for a measure without a conversion "
             "(all channel measures, and all measures with protocol v<3).")
        .def("physicalToADC", &Measure::physicalToADC, py::arg("phyValue"),
             "Converts a value in physical unit into ADC value.\n\n:param phyValue: the value in "
             "physical unit.\n:return: the ADC value, rounded down; 0 if it would be negative, or "
             "without a conversion. It may exceed :func:`Measure.maxADCValue()`.");
}

// The docstrings of the two versions are swapped, and stay so.
void defineBoard(py::module_& module) {
    using fus::Board;
    py::class_<Board>(module, "Board",
                      "Abstract class that contains all common attributes of a generator board.")
        .def("firmwareVersion", &Board::firmwareVersion, "Returns the hardware version")
        .def("hardwareVersion", &Board::hardwareVersion, "Returns the firmware version")
        .def("uniqueID", &Board::uniqueID, "Returns the unique identifier of the board.")
        .def("CRC", &Board::CRC, "Returns the 32-bits integer CRC of the firmware binary.")
        .def(
            "buildTime", [](const Board& self) { return toStr(self.buildTime()); },
            "Returns the build time of the firmware.")
        .def(
            "revisionHash", [](const Board& self) { return toStr(self.revisionHash()); },
            "Returns the revision of the firmware, its format depends on the VCS used (usually "
            "git).")
        .def("boardType", &Board::boardType,
             "Returns the type of the board.\n\n:return: a :class:`KORVANE.BoardType`.")
        .def("address", &Board::address,
             "Returns the address of the board: the back panel connector it is plugged into.")
        .def("isActive", &Board::isActive,
             "Tells if this board is currently used in this back panel configuration.")
        .def("boardMeasureCount", &Board::boardMeasureCount,
             "Returns the number of measures of the board itself (BO).")
        .def("boardMeasure", &Board::boardMeasure, py::arg("measureIndex"),
             "Returns the description of a measure of the board itself "
             "(BO)." KORVANE_MEASURE_WARNING
             "\n\n:param measureIndex: in [0, boardMeasureCount()-1].\n:raises IndexError: if "
             "there is no such measure.");
}

void defineBoardKinds(py::module_& module) {
    using namespace fus;
    py::class_<BoardUPB, Board>(module, "BoardUPB", "Description of a UPB (micro-processor) board.")
        .def("bufferCount", &BoardUPB::bufferCount, "Returns the number of trajectory buffers.")
        .def("bufferMaxSize", &BoardUPB::bufferMaxSize,
             "Maximum size (in terms of Shots) of a trajectory.")
        .def("hasTriggerInput", &BoardUPB::hasTriggerInput, "Tells if there is a trigger input.")
        .def("hasMultiplexer", &BoardUPB::hasMultiplexer, "Tells if there is a multiplexer.");

    py::class_<BoardSNT, Board>(module, "BoardSNT", "Description of a SNT (synthesizer) board.")
        .def("channelMask", &BoardSNT::channelMask,
             "Returns the channels of the board.\n\n:return: a :class:`KORVANE.ChannelMask`.")
        .def("synthesizerCount", &BoardSNT::synthesizerCount,
             "Number of synthesizer chips on the board.")
        .def("hasHardwareShotDuration", &BoardSNT::hasHardwareShotDuration,
             "Tells if the shot duration is controlled by hardware.")
        .def("hasWatchdogErrorDetection", &BoardSNT::hasWatchdogErrorDetection,
             "Tells if the board detects watchdog errors.");

    py::class_<BoardAMP, Board>(module, "BoardAMP", "Description of a AMP (amplifier) board.")
        .def("channelMeasureCount", &BoardAMP::channelMeasureCount,
             "Returns the number of measures of each channel (CH).")
        .def("channelMeasure", &BoardAMP::channelMeasure, py::arg("measureIndex"),
             "Returns the description of a measure of the channels (CH)." KORVANE_MEASURE_WARNING
             "\n\n:param measureIndex: in [0, channelMeasureCount()-1].\n:raises IndexError: if "
             "there is no such measure.")
        .def("channelMask", &BoardAMP::channelMask,
             "Returns the channels of the board.\n\n:return: a :class:`KORVANE.ChannelMask`.")
        .def("hasHardwareShotDuration", &BoardAMP::hasHardwareShotDuration,
             "Tells if the shot duration is controlled by hardware.")
        .def("hasPowerSupplyControl", &BoardAMP::hasPowerSupplyControl,
             "Tells if the power supply of the board can be controlled.");

    py::class_<BoardMOT, Board>(module, "BoardMOT",
                                "Description of a MOT (mechanical system) board.");
}

void defineBoardInfo(py::module_& module) {
    using fus::BoardInfo;
    py::class_<BoardInfo>(module, "BoardInfo", "Information about an internal board.")
        .def("hardwareVersion", &BoardInfo::hardwareVersion,
             "Returns the hardware version.\n\n:return: a :class:`KORVANE.Version`.")
        .def("firmwareVersion", &BoardInfo::firmwareVersion,
             "Returns the firmware version.\n\n:return: a :class:`KORVANE.Version`.")
        .def("firmwareSize", &BoardInfo::firmwareSize,
             "Returns the firmware binary size in bytes. May be 0 on old versions.")
        .def("firmwareCRC", &BoardInfo::firmwareCRC,
             "Returns the CRC of the firmware binary. Can be 16 or 32 bits wide.")
        .def(
            "firmwareDatetime",
            [](const BoardInfo& self) { return toStr(self.firmwareDatetime()); },
            "Returns the build date and time as a string (not the installation time).");
}

} // namespace

void defineGeneral(py::module_& module) {
    defineEnums(module);
    defineVersion(module);
    defineBoardInfo(module);
    defineMeasure(module);
    defineBoard(module);
    defineBoardKinds(module);
    defineMask(module);
}

} // namespace korvane
