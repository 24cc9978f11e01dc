#include "fus/GProtocol.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MProtocol.h"

#include <cstddef>

namespace fus::gprotocol {

std::atomic<unsigned> g_defaultAnswerTimeout{5000};

namespace {

/// The row of a value, null if the table has none.
template <class Row, std::size_t N>
const Row* findRow(const Row (&rows)[N], std::uint32_t value) {
    for (const Row& row : rows) {
        if (row.value == value) {
            return &row;
        }
    }
    return nullptr;
}

template <std::size_t N>
const char* findName(const EnumRow (&rows)[N], std::uint32_t value) {
    const EnumRow* row = findRow(rows, value);
    return row != nullptr ? row->name : nullptr;
}

template <std::size_t N>
const char* findName(const WireRow (&rows)[N], int value) {
    for (const WireRow& row : rows) {
        if (value >= row.value && value < row.value + row.count) {
            return row.name;
        }
    }
    return nullptr;
}

/// Which hardware id a board type has, and what a command is called that this board doesn't know;
/// null where the board has commands of its own.
struct BoardRow {
    BoardType type;
    HardwareID value;
    const char* unknownCommand;
};

constexpr BoardRow BOARDS[] = {{BOARD_PROCESSOR, HWID_PROCESSOR, "UNKNOWN_PROCESSOR_CMD"},
                               {BOARD_SYNTHESIZER, HWID_SYNTHESIZER, "UNKNOWN_SYNTHESIZER_CMD"},
                               {BOARD_AMPLIFIER, HWID_AMPLIFIER, "UNKNOWN_AMPLIFIER_CMD"},
                               {BOARD_MECHANICS, HWID_MECHANICS, nullptr}};

/// What an unknown hardware id is reported against: one above the greatest one.
constexpr std::uint32_t HWID_BOUND = HWID_BACK_PANEL + 1;

const UnitRow& unitRow(std::uint32_t unit) {
    const UnitRow* row = findRow(UNITS, unit);
    if (row == nullptr) {
        FUS_LOG(ERROR, "Unknown unit %d", static_cast<int>(unit));
        return UNITS[0];
    }
    return *row;
}

} // namespace

const char* unitName(std::uint32_t unit) {
    return unitRow(unit).name;
}

const char* unitSymbol(std::uint32_t unit) {
    return unitRow(unit).symbol;
}

const char* elecExecModeName(std::uint32_t mode) {
    const char* name = findName(ELEC_EXEC_MODES, mode);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown electronic execution mode %d", static_cast<int>(mode));
        return "?EMODE?";
    }
    return name;
}

const char* triggerModeName(std::uint32_t mode) {
    const char* name = findName(TRIGGER_MODES, mode);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown trigger mode %d", static_cast<int>(mode));
        return "?TMODE?";
    }
    return name;
}

const char* mechExecModeName(std::uint32_t mode) {
    const char* name = findName(MECH_EXEC_MODES, mode);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown mechanical execution mode %d", static_cast<int>(mode));
        return "?MMODE?";
    }
    return name;
}

const char* hardwareName(std::uint32_t hwid) {
    const char* name = findName(HARDWARE_IDS, hwid);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown hardware type %d", static_cast<int>(hwid));
        return "?HWID?";
    }
    return name;
}

const char* backPanelStorageName(std::uint32_t storage) {
    const char* name = findName(BACK_PANEL_STORAGES, storage);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown backpanel storage %d", static_cast<int>(storage));
        return "?BKP?";
    }
    return name;
}

const char* commandName(int command) {
    const char* name = findName(COMMANDS, command);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown generator command %d", command);
        return "?CMD?";
    }
    return name;
}

const char* answerName(int answer) {
    const char* name = findName(ANSWERS, answer);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown generator answer %d", answer);
        return "?ANSWER?";
    }
    return name;
}

const char* boardParameterName(int param) {
    const char* name = findName(BOARD_PARAMS, param);
    if (name == nullptr) {
        FUS_LOG(ERROR, "Unknown board-parameter %d", param);
        return "?BPARAM?";
    }
    return name;
}

const char* boardCommandName(std::uint32_t hwid, int command) {
    if (const char* common = findName(BOARD_COMMANDS, command)) {
        return common;
    }
    const BoardRow* board = findRow(BOARDS, hwid);
    if (board == nullptr) {
        FUS_LOG(ERROR, "Unknown board-command %d for board type %d", command,
                static_cast<int>(hwid));
        return "?BCMD?";
    }
    return board->unknownCommand != nullptr
               ? board->unknownCommand
               : mprotocol::mechCommandName(static_cast<std::uint16_t>(command));
}

bool isUnknownAnswer(int type) {
    return type == ANSWER_ANY || findName(ANSWERS, type) == nullptr;
}

HardwareID boardTypeToHardwareID(std::uint32_t boardType) {
    if (boardType >= BOARD_TYPE_COUNT) {
        FUS_THROW_INDEX("board type", boardType, BOARD_TYPE_COUNT);
    }
    return BOARDS[boardType].value;
}

BoardType hardwareIDToBoardType(std::uint32_t hwid) {
    const BoardRow* board = findRow(BOARDS, hwid);
    if (board == nullptr) {
        FUS_THROW_INDEX("hardware ID", hwid, HWID_BOUND);
    }
    return board->type;
}

} // namespace fus::gprotocol
