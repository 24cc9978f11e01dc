#include "fussim/Fault.h"

#include "MotProtocol.h"
#include "Refusal.h"
#include "StopReasons.h"

#include "fus/P_GProtocol.h"

#include <cstdlib>
#include <cstring>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

struct KindRow {
    FaultKind kind;
    const char* name;
    const char* valueKey; // the key of Fault::value, null if it takes none
    bool valueNeeded;
    std::uint32_t standard;
    const char* otherKeys; // separated by blanks
    const char* help;
};

#define PACKET_KEYS "command packet nth mech"
#define PLACE_KEYS "execution shot"
#define BOARD_KEYS "hwid address"

constexpr KindRow KINDS[] = {
    {FaultKind::LATE, "late", "ms", true, 0, PACKET_KEYS, "an answer late by so many milliseconds"},
    {FaultKind::MISSING, "missing", nullptr, false, 0, PACKET_KEYS, "no answer"},
    {FaultKind::WRONG_TYPE, "wrong-type", "type", true, 0, PACKET_KEYS, "an answer of this type"},
    {FaultKind::WRONG_ID, "wrong-id", "id", false, 0, PACKET_KEYS,
     "an answer of this id, or of its own plus 1000"},
    {FaultKind::WRONG_SIZE, "wrong-size", "size", true, 0, PACKET_KEYS,
     "a header that declares this size, whatever follows"},
    {FaultKind::PAYLOAD_SIZE, "payload-size", "size", true, 0, PACKET_KEYS,
     "a payload cut or filled up to this size"},
    {FaultKind::ERROR_ANSWER, "error", "code", false, GENERIC_ERROR, "command nth arg text",
     "an error answer of the generation"},
    {FaultKind::ERROR_PLAIN, "error-plain", nullptr, false, 0, "command nth",
     "an error answer without detail"},
    {FaultKind::ERROR_V2, "error-v2", nullptr, false, 0, "command nth text",
     "an error answer of protocol 2"},
    {FaultKind::ERROR_V3, "error-v3", "code", false, GENERIC_ERROR, "command nth arg text",
     "an error answer of protocol 3"},
    {FaultKind::BOARD_ERROR, "board-error", "code", false, GENERIC_ERROR, "nth arg text",
     "a refusal by the board, of a board command"},
    {FaultKind::SINGLE_BYTES, "single-bytes", nullptr, false, 0, "",
     "everything is sent in single bytes"},
    {FaultKind::CLOSE_AT, "close-at", "byte", true, 0, "",
     "the link is closed when so many bytes were sent"},
    {FaultKind::RESULTS_WITH_ACK, "results-with-ack", nullptr, false, 0, "",
     "the first results in one segment with the acknowledgement"},
    {FaultKind::RESULTS_BEFORE_ACK, "results-before-ack", nullptr, false, 0, "",
     "the first result before the acknowledgement"},
    {FaultKind::ANSWER_SILENT, "answer-silent", nullptr, false, 0, "",
     "stop, close and heart-beat get an answer, too"},
    {FaultKind::STOP, "stop", nullptr, false, 0, "reason " PLACE_KEYS,
     "executions stop there for this reason"},
    {FaultKind::SHOT_ERROR, "shot-error", nullptr, false, 0, PLACE_KEYS " text",
     "an error in place of a shot result"},
    {FaultKind::CHANNEL_OFF, "channel-off", "channel", true, 0, PLACE_KEYS,
     "the generator shuts this channel off there"},
    {FaultKind::BOARD_OFF, "board-off", nullptr, false, 0, "address " PLACE_KEYS,
     "an amplifier goes out of action there, which stops"},
    {FaultKind::SLOW_SHOT, "slow-shot", "us", true, 0, PLACE_KEYS, "that shot lasts longer"},
    {FaultKind::LATE_SHOT, "late-shot", "us", true, 0, PLACE_KEYS,
     "that shot's delay lasts longer"},
    {FaultKind::NO_WATCHDOG, "no-watchdog", nullptr, false, 0, "", "too long shots aren't cut"},
    {FaultKind::READING, "reading", "raw", true, 0, BOARD_KEYS " measure",
     "this board measure (name or index) reads this"},
    {FaultKind::BAD_READING, "bad-reading", nullptr, false, 0, BOARD_KEYS " measure",
     "readings of this board measure are marked as bad"},
    {FaultKind::BOARD_STATUS, "board-status", "status", true, 0, BOARD_KEYS,
     "boards report these bits"},
    {FaultKind::AXIS_BLOCK, "axis-block", "at", false, 0, "axis",
     "an axis is blocked there, or where it is"},
    {FaultKind::NO_REFERENCE, "no-reference", "reference", false, 1, "axis",
     "optical reference 1 or 2 is never found"},
    {FaultKind::TOLERANCE, "tolerance", "ms", false, 0, "axis",
     "an axis exceeds its tolerance so long after its start"},
    {FaultKind::OFF_TARGET, "off-target", nullptr, false, 0, "axis", "an axis misses its target"},
    {FaultKind::MOTOR_CABLE, "motor-cable", nullptr, false, 0, "axis",
     "the motor's cable is pulled"},
    {FaultKind::ENCODER_CABLE, "encoder-cable", nullptr, false, 0, "axis",
     "the encoder's cable is pulled"},
    {FaultKind::MECH_ERROR, "mech-error", "code", false, motCode(MOT_BUSY_COMMAND),
     "mech nth arg text", "the mechanical board refuses, as busy or with this code"},
    {FaultKind::MECH_FAIL, "mech-fail", "code", false, MOT_ASK_STATUS, "mech nth status",
     "what it has started fails with this code"},
    {FaultKind::MECH_DATA, "mech-data", "size", true, 0, "mech packet nth",
     "its answers carry so many bytes more"},
};

#undef PACKET_KEYS
#undef PLACE_KEYS
#undef BOARD_KEYS

bool hasKey(const KindRow& row, const std::string& key) {
    const std::string keys = std::string(" ") + row.otherKeys + " ";
    return !key.empty() && key.find(' ') == key.npos &&
           ((row.valueKey && key == row.valueKey) || keys.find(" " + key + " ") != keys.npos);
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

// A mechanical command, by name or by number.
unsigned readMechCommand(const std::string& key, const std::string& text) {
    for (const mprotocol::MechCommandRow& row : mprotocol::MECH_COMMANDS) {
        if (text == row.name) {
            return row.id;
        }
    }
    return readType(key, text);
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
    if (key == "nth" && fault.nth == 0) {
        throw FaultError("'nth' counts from 1");
    }
}

// What a kind can't do without, beyond its value.
void checkWhole(const Fault& fault, const char* name) {
    if (fault.kind == FaultKind::STOP && !findStopReason(fault.text)) {
        throw FaultError("'stop' needs a 'reason', one of those in the help");
    }
    const bool isReading = fault.kind == FaultKind::READING || fault.kind == FaultKind::BAD_READING;
    if (isReading && fault.text.empty()) {
        throw FaultError(std::string("'") + name + "' needs 'measure'");
    }
    if (fault.kind == FaultKind::BOARD_OFF && fault.address == Fault::ANY_ADDRESS) {
        throw FaultError("'board-off' needs 'address'");
    }
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
    if (!hasKey(row, key)) {
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
    bool hasValue = false;
    std::string list = colon == std::string::npos ? "" : text.substr(colon + 1);
    while (!list.empty()) {
        std::string key;
        std::string value;
        readPair(row, list, key, value);
        setField(fault, row, key, value);
        hasValue = hasValue || (row.valueKey && key == row.valueKey);
    }
    if (row.valueNeeded && !hasValue) {
        throw FaultError(std::string("'") + row.name + "' needs '" + row.valueKey + "'");
    }
    checkWhole(fault, row.name);
    return fault;
}

std::string Fault::help() {
    std::string text;
    for (const KindRow& row : KINDS) {
        std::string keys = row.valueKey ? row.valueKey : "";
        keys += (keys.empty() || *row.otherKeys == '\0' ? "" : " ") + std::string(row.otherKeys);
        text += formatted("  %-18s %-28s %s\n", row.name, keys.c_str(), row.help);
    }
    text += "  reasons:";
    for (const std::string& name : stopReasonNames()) {
        text += " " + name;
    }
    return text + "\n";
}

} // namespace simulator
} // namespace fus
