#include "FaultBook.h"

#include <algorithm>

namespace fus {
namespace simulator {

namespace {

bool isRefusal(FaultKind kind) {
    return kind >= FaultKind::ERROR_ANSWER && kind <= FaultKind::BACK_PANEL_ERROR;
}

bool isDistortion(FaultKind kind) {
    return kind <= FaultKind::CRC_FORMAT;
}

// Where the parts of a board's answer begin.
constexpr std::size_t ANSWERING_BOARD = 12; // hardware id, address, command
constexpr std::size_t RESULT = 16;
constexpr std::size_t DATA_SIZE = 18;
constexpr std::size_t DATA = 20;
// And those of a board command.
constexpr std::size_t ASKED_BOARD = 16;

constexpr std::size_t FORMAT_OF_CRC = DATA + 31;

constexpr unsigned NO_ADDRESS = 0xFFFF; // that no board has

void readBoard(const Bytes& payload, std::size_t position, Occasion& occasion) {
    if (payload.size() >= position + 4) {
        ByteReader reader(payload.data() + position, 4);
        occasion.hwid = reader.u8();
        occasion.address = reader.u8();
        occasion.boardCommand = reader.u16();
    }
}

// A refusal stays one, whatever is to be done to an answer.
bool isSuccess(const Bytes& payload) {
    return payload.size() >= DATA_SIZE &&
           ByteReader(payload.data() + RESULT, 2).u16() != gprotocol::BOARD_RESULT_NO;
}

void setBoardData(Packet& packet, std::uint32_t size) {
    Bytes& payload = packet.payload;
    if (!isSuccess(payload)) {
        return;
    }
    std::copy_n(payload.begin() + ANSWERING_BOARD + 2, 2, payload.begin() + RESULT);
    payload.resize(DATA + size);
    payload[DATA_SIZE] = static_cast<std::uint8_t>(size >> 8);
    payload[DATA_SIZE + 1] = static_cast<std::uint8_t>(size & 0xFF);
}

void apply(const Fault& fault, Packet& packet, FaultBook::Verdict& verdict) {
    switch (fault.kind) {
    case FaultKind::LATE:
        verdict.lateMs += fault.value;
        break;
    case FaultKind::MISSING:
        verdict.missing = true;
        break;
    case FaultKind::WRONG_TYPE:
        packet.type = fault.value;
        break;
    case FaultKind::WRONG_ID:
        packet.id = fault.value ? fault.value : packet.id + 1000;
        break;
    case FaultKind::WRONG_SIZE:
        packet.liesAboutSize = true;
        packet.declaredSize = fault.value;
        break;
    case FaultKind::PAYLOAD_SIZE:
        packet.payload.resize(fault.value);
        break;
    case FaultKind::CUT_ANSWER:
        verdict.cutAt = fault.value;
        break;
    case FaultKind::BOARD_DATA:
        setBoardData(packet, fault.value);
        break;
    case FaultKind::CRC_FORMAT:
        if (isSuccess(packet.payload) && packet.payload.size() > FORMAT_OF_CRC) {
            packet.payload[FORMAT_OF_CRC] = static_cast<std::uint8_t>(fault.value);
        }
        break;
    default:
        break;
    }
}

// To which a fault on packets is limited by what it is.
bool canStrike(const Fault& fault, const Occasion& occasion) {
    switch (fault.kind) {
    case FaultKind::CUT_ANSWER:
        return occasion.command != 0 && occasion.packet != gprotocol::ANSWER_BOARD_ASYNC;
    case FaultKind::BOARD_DATA:
        return occasion.packet == gprotocol::ANSWER_BOARD;
    case FaultKind::CRC_FORMAT:
        return occasion.packet == gprotocol::ANSWER_BOARD &&
               occasion.boardCommand == gprotocol::CMD_BOARD_CRC_DATE;
    case FaultKind::BOARD_ERROR:
        return occasion.command == gprotocol::CMD_BOARD_CMD;
    case FaultKind::BACK_PANEL_ERROR:
        return occasion.command == gprotocol::CMD_BACKPANEL_CONFIG;
    default:
        return true;
    }
}

// Whether a key that limits a fault lets this pass; 0 is no limit.
bool admits(std::uint32_t limit, std::uint32_t value) {
    return limit == 0 || limit == value;
}

} // namespace

Occasion Occasion::of(unsigned command, const Bytes& payload) {
    Occasion occasion;
    occasion.command = command;
    if (command == gprotocol::CMD_BOARD_CMD) {
        readBoard(payload, ASKED_BOARD, occasion);
    } else if (command == gprotocol::CMD_BACKPANEL_CONFIG && payload.size() >= 4) {
        occasion.backPanelCommand = ByteReader(payload).u32();
    }
    return occasion;
}

Occasion Occasion::of(unsigned command, const Packet& packet) {
    Occasion occasion;
    occasion.command = command;
    occasion.packet = packet.type;
    if (packet.type == gprotocol::ANSWER_BOARD || packet.type == gprotocol::ANSWER_BOARD_ASYNC) {
        readBoard(packet.payload, ANSWERING_BOARD, occasion);
    }
    return occasion;
}

void FaultBook::add(const Fault& fault) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.push_back({fault, 0});
    m_any = true;
}

void FaultBook::clear() {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_entries.clear();
    m_any = false;
}

bool FaultBook::strikes(Entry& entry, const Occasion& occasion) {
    const Fault& fault = entry.fault;
    const bool isOfBoard = occasion.hwid != 0;
    const unsigned mech = occasion.hwid == gprotocol::HWID_MECHANICS ? occasion.boardCommand : 0;
    if (!canStrike(fault, occasion) || !admits(fault.command, occasion.command) ||
        !admits(fault.packet, occasion.packet) || !admits(fault.mechCommand, mech) ||
        !admits(fault.boardCommand, occasion.boardCommand) ||
        !admits(fault.backPanelCommand, occasion.backPanelCommand) ||
        !isOnBoard(fault, occasion.hwid, isOfBoard ? occasion.address : NO_ADDRESS)) {
        return false;
    }
    ++entry.seen;
    return fault.nth == 0 || fault.nth == entry.seen;
}

std::optional<Fault> FaultBook::refusal(const Occasion& occasion) {
    std::optional<Fault> found;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Entry& entry : m_entries) {
        if (isRefusal(entry.fault.kind) && strikes(entry, occasion) && !found) {
            found = entry.fault;
        }
    }
    return found;
}

FaultBook::Verdict FaultBook::distort(unsigned command, Packet& packet) {
    Verdict verdict;
    const Occasion occasion = Occasion::of(command, packet);
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Entry& entry : m_entries) {
        if (isDistortion(entry.fault.kind) && strikes(entry, occasion)) {
            apply(entry.fault, packet, verdict);
        }
    }
    return verdict;
}

const Fault* FaultBook::find(FaultKind kind) const {
    for (const Entry& entry : m_entries) {
        if (entry.fault.kind == kind) {
            return &entry.fault;
        }
    }
    return nullptr;
}

bool FaultBook::has(FaultKind kind) const {
    if (!any()) {
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    return find(kind) != nullptr;
}

std::optional<std::uint32_t> FaultBook::closeAt() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const Fault* fault = find(FaultKind::CLOSE_AT);
    return fault ? std::optional<std::uint32_t>(fault->value) : std::nullopt;
}

std::optional<Fault> FaultBook::at(FaultKind kind, std::uint32_t execution,
                                   std::uint32_t shot) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_entries) {
        const Fault& fault = entry.fault;
        if (fault.kind == kind && fault.execution == execution && fault.shot == shot) {
            return fault;
        }
    }
    return std::nullopt;
}

const StopReason* FaultBook::stopAt(std::uint32_t execution, std::uint32_t shot) const {
    const auto fault = at(FaultKind::STOP, execution, shot);
    return fault ? findStopReason(fault->text) : nullptr;
}

std::optional<std::string> FaultBook::shotErrorAt(std::uint32_t execution,
                                                  std::uint32_t shot) const {
    const auto fault = at(FaultKind::SHOT_ERROR, execution, shot);
    if (!fault) {
        return std::nullopt;
    }
    return fault->text.empty() ? "Shot error." : fault->text;
}

bool FaultBook::isOnBoard(const Fault& fault, unsigned hwid, unsigned address) {
    return (fault.hwid == 0 || fault.hwid == hwid) &&
           (fault.address == Fault::ANY_ADDRESS || fault.address == address);
}

std::optional<Fault> FaultBook::reading(unsigned hwid, unsigned address, const std::string& name,
                                        unsigned index) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_entries) {
        const Fault& fault = entry.fault;
        const bool isReading =
            fault.kind == FaultKind::READING || fault.kind == FaultKind::BAD_READING;
        if (isReading && isOnBoard(fault, hwid, address) &&
            (fault.text == name || fault.text == std::to_string(index))) {
            return fault;
        }
    }
    return std::nullopt;
}

std::uint32_t FaultBook::boardStatus(unsigned hwid, unsigned address) const {
    std::uint32_t bits = 0;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_entries) {
        if (entry.fault.kind == FaultKind::BOARD_STATUS && isOnBoard(entry.fault, hwid, address)) {
            bits |= entry.fault.value;
        }
    }
    return bits;
}

std::optional<Fault> FaultBook::onAxis(FaultKind kind, unsigned axis) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    for (const Entry& entry : m_entries) {
        if (entry.fault.kind == kind && isOnBoard(entry.fault, 0, axis)) {
            return entry.fault;
        }
    }
    return std::nullopt;
}

std::optional<Fault> FaultBook::onMechanics(FaultKind kind, unsigned command, unsigned packet) {
    Occasion occasion;
    occasion.packet = packet;
    occasion.hwid = gprotocol::HWID_MECHANICS;
    occasion.boardCommand = command;
    std::optional<Fault> found;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Entry& entry : m_entries) {
        if (entry.fault.kind == kind && strikes(entry, occasion) && !found) {
            found = entry.fault;
        }
    }
    return found;
}

} // namespace simulator
} // namespace fus
