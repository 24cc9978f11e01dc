#include "fussim/Fault.h"

#include "MotProtocol.h"
#include "Refusal.h"
#include "StopReasons.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>
#include <sstream>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

// Lists of keys are separated by blanks.
struct KindRow {
    FaultKind kind;
    const char* name;
    const char* valueKey; // the key of Fault::value, null if it takes none
    std::uint32_t standard;
    const char* needed;
    const char* optional;
    const char* help;
};

#define BOARD_KEYS "hwid address"
#define COMMAND_KEYS "board " BOARD_KEYS
#define PACKET_KEYS "command packet nth mech " COMMAND_KEYS
#define PLACE_KEYS "execution shot"

constexpr KindRow KINDS[] = {
    {FaultKind::LATE, "late", "ms", 0, "ms", PACKET_KEYS, "an answer late by so many milliseconds"},
    {FaultKind::MISSING, "missing", nullptr, 0, "", PACKET_KEYS, "no answer"},
    {FaultKind::WRONG_TYPE, "wrong-type", "type", 0, "type", PACKET_KEYS, "an answer of this type"},
    {FaultKind::WRONG_ID, "wrong-id", "id", 0, "", "id " PACKET_KEYS,
     "an answer of this id, or of its own plus 1000"},
    {FaultKind::WRONG_SIZE, "wrong-size", "size", 0, "size", PACKET_KEYS,
     "a header that declares this size, whatever follows"},
    {FaultKind::PAYLOAD_SIZE, "payload-size", "size", 0, "size", PACKET_KEYS,
     "a payload cut or filled up to this size"},
    {FaultKind::CUT_ANSWER, "cut-answer", "byte", 0, "byte", "command nth mech " COMMAND_KEYS,
     "the link is closed when so many bytes of the answer were sent"},
    {FaultKind::BOARD_DATA, "board-data", "size", 0, "size", "nth " COMMAND_KEYS,
     "a board's answer with so many bytes of data"},
    {FaultKind::CRC_FORMAT, "crc-format", "format", 0, "format", "nth " BOARD_KEYS,
     "what a board tells of its firmware has this format, it says"},
    {FaultKind::ERROR_ANSWER, "error", "code", GENERIC_ERROR, "", "command nth code arg text",
     "an error answer of the generation"},
    {FaultKind::ERROR_PLAIN, "error-plain", nullptr, 0, "", "command nth",
     "an error answer without detail"},
    {FaultKind::ERROR_V2, "error-v2", nullptr, 0, "", "command nth text",
     "an error answer of protocol 2"},
    {FaultKind::ERROR_V3, "error-v3", "code", GENERIC_ERROR, "", "command nth code arg text",
     "an error answer of protocol 3"},
    {FaultKind::BOARD_ERROR, "board-error", "code", GENERIC_ERROR, "",
     "nth " COMMAND_KEYS " code arg text", "a refusal by the board, of a board command"},
    {FaultKind::BACK_PANEL_ERROR, "backpanel-error", "code", GENERIC_ERROR, "",
     "action nth code arg text", "a refusal to read, set or clear the back panel (the action)"},
    {FaultKind::SINGLE_BYTES, "single-bytes", nullptr, 0, "", "",
     "everything is sent in single bytes"},
    {FaultKind::CLOSE_AT, "close-at", "byte", 0, "byte", "",
     "the link is closed when so many bytes were sent on it"},
    {FaultKind::RESULTS_WITH_ACK, "results-with-ack", nullptr, 0, "", "",
     "the first results in one segment with the acknowledgement"},
    {FaultKind::RESULTS_BEFORE_ACK, "results-before-ack", nullptr, 0, "", "",
     "the first result before the acknowledgement"},
    {FaultKind::ANSWER_SILENT, "answer-silent", nullptr, 0, "", "",
     "stop, close and heart-beat get an answer, too"},
    {FaultKind::STOP, "stop", nullptr, 0, "reason", PLACE_KEYS,
     "executions stop there for this reason (see below)"},
    {FaultKind::SHOT_ERROR, "shot-error", nullptr, 0, "", PLACE_KEYS " text",
     "an error in place of a shot result"},
    {FaultKind::CHANNEL_OFF, "channel-off", "channel", 0, "channel", PLACE_KEYS,
     "the generator shuts this channel off there"},
    {FaultKind::BOARD_OFF, "board-off", nullptr, 0, "address", PLACE_KEYS,
     "an amplifier goes out of action there, which stops"},
    {FaultKind::SLOW_SHOT, "slow-shot", "us", 0, "us", PLACE_KEYS,
     "that shot lasts so many microseconds longer"},
    {FaultKind::LATE_SHOT, "late-shot", "us", 0, "us", PLACE_KEYS,
     "that shot's delay lasts so many microseconds longer"},
    {FaultKind::NO_WATCHDOG, "no-watchdog", nullptr, 0, "", "", "too long shots aren't cut"},
    {FaultKind::READING, "reading", "raw", 0, "raw measure", BOARD_KEYS,
     "this board measure (name or index) reads this"},
    {FaultKind::BAD_READING, "bad-reading", nullptr, 0, "measure", BOARD_KEYS,
     "readings of this board measure are marked as bad"},
    {FaultKind::BOARD_STATUS, "board-status", "status", 0, "status", BOARD_KEYS,
     "boards report these bits"},
    {FaultKind::AXIS_BLOCK, "axis-block", "at", 0, "", "at axis",
     "an axis is blocked there, or where it is"},
    {FaultKind::NO_REFERENCE, "no-reference", "reference", 1, "", "reference axis",
     "optical reference 1 or 2 is never found"},
    {FaultKind::TOLERANCE, "tolerance", "ms", 0, "", "ms axis",
     "an axis exceeds its tolerance so long after its start"},
    {FaultKind::OFF_TARGET, "off-target", nullptr, 0, "", "axis", "an axis misses its target"},
    {FaultKind::MOTOR_CABLE, "motor-cable", nullptr, 0, "", "axis", "the motor's cable is pulled"},
    {FaultKind::ENCODER_CABLE, "encoder-cable", nullptr, 0, "", "axis",
     "the encoder's cable is pulled"},
    {FaultKind::MECH_ERROR, "mech-error", "code", motCode(MOT_BUSY_COMMAND), "",
     "mech nth code arg text", "the mechanical board refuses, as busy or with this code"},
    {FaultKind::MECH_FAIL, "mech-fail", "code", MOT_ASK_STATUS, "", "mech nth code status",
     "what it has started fails with this code"},
    {FaultKind::MECH_DATA, "mech-data", "size", 0, "size", "mech packet nth",
     "its answers carry so many bytes more"},
};

#undef BOARD_KEYS
#undef COMMAND_KEYS
#undef PACKET_KEYS
#undef PLACE_KEYS

constexpr struct {
    const char* name;
    std::uint32_t command;
} BACK_PANEL_ACTIONS[] = {{"read", BKP_CMD_READ}, {"set", BKP_CMD_SET}, {"clear", BKP_CMD_CLEAR}};

std::vector<std::string> listed(const char* keys) {
    std::istringstream words(keys);
    return {std::istream_iterator<std::string>(words), {}};
}

bool isListed(const char* keys, const std::string& key) {
    const std::vector<std::string> all = listed(keys);
    return std::find(all.begin(), all.end(), key) != all.end();
}

std::uint32_t readNumber(const std::string& key, const std::string& text) {
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || text[0] == '-' || value > 0xFFFFFFFFULL) {
        throw FaultError("'" + key + "' isn't a number: '" + text + "'");
    }
    return static_cast<std::uint32_t>(value);
}

template <std::size_t N>
bool findName(const WireRow (&rows)[N], const std::string& name, unsigned& value) {
    for (const WireRow& row : rows) {
        if (name == row.name) {
            value = row.value;
            return true;
        }
    }
    return false;
}

// A command or an answer, by name or by number.
unsigned readType(const std::string& key, const std::string& text) {
    unsigned value = 0;
    if (findName(COMMANDS, text, value) || findName(ANSWERS, text, value)) {
        return value;
    }
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        throw FaultError("'" + key + "' is neither a number nor a known name: '" + text + "'");
    }
    value = readNumber(key, text);
    if (value > 0xFFFF) {
        throw FaultError("'" + key + "' has 16 bits: '" + text + "'");
    }
    return value;
}

struct NumberRow {
    const char* key;
    std::uint32_t Fault::*field;
};

constexpr NumberRow NUMBERS[] = {
    {"nth", &Fault::nth},      {"arg", &Fault::argument},   {"execution", &Fault::execution},
    {"shot", &Fault::shot},    {"hwid", &Fault::hwid},      {"address", &Fault::address},
    {"axis", &Fault::address}, {"status", &Fault::argument}};

unsigned readBoardCommand(const std::string& key, const std::string& text) {
    unsigned value = 0;
    return findName(BOARD_COMMANDS, text, value) ? value : readType(key, text);
}

std::uint32_t readAction(const std::string& text) {
    for (const auto& row : BACK_PANEL_ACTIONS) {
        if (text == row.name) {
            return row.command;
        }
    }
    throw FaultError("'action' is read, set or clear: '" + text + "'");
}

// A mechanical command, by name or by number.
unsigned readMechCommand(const std::string& key, const std::string& text) {
    for (const mprotocol::MechCommandRow& row : mprotocol::MECH_COMMANDS) {
        if (text == row.name) {
            return row.id;
        }
    }
    return readType(key, text);
}

void checkField(const Fault& fault, const KindRow& row, const std::string& key,
                const std::string& text) {
    if (key == "nth" && fault.nth == 0) {
        throw FaultError("'nth' counts from 1");
    }
    if (key == "reason" && !findStopReason(text)) {
        throw FaultError("'reason' is none of those in the help: '" + text + "'");
    }
    if (row.kind == FaultKind::BOARD_DATA && fault.value > 0xFFFF) {
        throw FaultError("'size' has 16 bits: '" + text + "'");
    }
}

void setField(Fault& fault, const KindRow& row, const std::string& key, const std::string& text) {
    if (key == "text" || key == "reason" || key == "measure") {
        fault.text = text;
    } else if (key == "command") {
        fault.command = readType(key, text);
    } else if (key == "packet") {
        fault.packet = readType(key, text);
    } else if (key == "mech") {
        fault.mechCommand = readMechCommand(key, text);
    } else if (key == "board") {
        fault.boardCommand = readBoardCommand(key, text);
    } else if (key == "action") {
        fault.backPanelCommand = readAction(text);
    } else if (key == "type") {
        fault.value = readType(key, text);
    } else if (row.valueKey && key == row.valueKey) {
        fault.value = readNumber(key, text);
    }
    for (const NumberRow& number : NUMBERS) {
        if (key == number.key) {
            fault.*number.field = readNumber(key, text);
        }
    }
    checkField(fault, row, key, text);
}

const KindRow& findKind(const std::string& name) {
    for (const KindRow& row : KINDS) {
        if (name == row.name) {
            return row;
        }
    }
    throw FaultError("unknown fault '" + name + "'");
}

// Takes one KEY=VALUE off the front of the list.
void readPair(const KindRow& row, std::string& list, std::string& key, std::string& value) {
    const std::size_t equals = list.find('=');
    key = list.substr(0, equals);
    if (!isListed(row.needed, key) && !isListed(row.optional, key)) {
        throw FaultError(std::string("'") + row.name + "' doesn't take '" + key + "'");
    }
    if (equals == std::string::npos) {
        throw FaultError("'" + key + "' needs a value");
    }
    const std::size_t comma = key == "text" ? std::string::npos : list.find(',', equals);
    value = list.substr(equals + 1, comma == std::string::npos ? comma : comma - equals - 1);
    list = comma == std::string::npos ? "" : list.substr(comma + 1);
}

} // namespace

Fault Fault::parse(const std::string& text) {
    const std::size_t colon = text.find(':');
    const KindRow& row = findKind(text.substr(0, colon));
    Fault fault;
    fault.kind = row.kind;
    fault.value = row.standard;
    std::set<std::string> given;
    std::string list = colon == std::string::npos ? "" : text.substr(colon + 1);
    while (!list.empty()) {
        std::string key;
        std::string value;
        readPair(row, list, key, value);
        setField(fault, row, key, value);
        if (!value.empty()) {
            given.insert(key);
        }
    }
    for (const std::string& key : listed(row.needed)) {
        if (given.count(key) == 0) {
            throw FaultError(std::string("'") + row.name + "' needs '" + key + "'");
        }
    }
    return fault;
}

std::string Fault::help() {
    std::string text;
    for (const KindRow& row : KINDS) {
        text += formatted("  %-18s %s\n", row.name, row.help);
        const bool takesAny = *row.optional != '\0';
        const std::string keys = std::string(row.needed) + (*row.needed && takesAny ? " " : "") +
                                 (takesAny ? "[" + std::string(row.optional) + "]" : "");
        text += keys.empty() ? "" : formatted("  %-18s   %s\n", "", keys.c_str());
    }
    text += "  reasons:";
    for (const std::string& name : stopReasonNames()) {
        text += " " + name;
    }
    return text + "\n";
}

} // namespace simulator
} // namespace fus
