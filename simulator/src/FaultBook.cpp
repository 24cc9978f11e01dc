#include "FaultBook.h"

namespace fus {
namespace simulator {

namespace {

bool isRefusal(FaultKind kind) {
    return kind >= FaultKind::ERROR_ANSWER && kind <= FaultKind::BOARD_ERROR;
}

bool isDistortion(FaultKind kind) {
    return kind <= FaultKind::PAYLOAD_SIZE;
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
    default:
        break;
    }
}

// The mechanical command that the packet answers, 0 if it answers none.
unsigned mechCommandOf(const Packet& packet) {
    constexpr std::size_t HWID_OFFSET = 12;
    const bool isOfBoard =
        packet.type == gprotocol::ANSWER_BOARD || packet.type == gprotocol::ANSWER_BOARD_ASYNC;
    const Bytes& payload = packet.payload;
    if (!isOfBoard || payload.size() < HWID_OFFSET + 4 ||
        payload[HWID_OFFSET] != gprotocol::HWID_MECHANICS) {
        return 0;
    }
    return ByteReader(payload.data() + HWID_OFFSET + 2, 2).u16();
}

} // namespace

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

bool FaultBook::strikes(Entry& entry, unsigned command, unsigned packet, unsigned mech) {
    const Fault& fault = entry.fault;
    if ((fault.command != 0 && fault.command != command) ||
        (fault.packet != 0 && fault.packet != packet) ||
        (fault.mechCommand != 0 && fault.mechCommand != mech)) {
        return false;
    }
    ++entry.seen;
    return fault.nth == 0 || fault.nth == entry.seen;
}

std::optional<Fault> FaultBook::refusal(unsigned command) {
    std::optional<Fault> found;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Entry& entry : m_entries) {
        const bool forBoards = entry.fault.kind == FaultKind::BOARD_ERROR;
        if (!isRefusal(entry.fault.kind) || (forBoards && command != gprotocol::CMD_BOARD_CMD)) {
            continue;
        }
        if (strikes(entry, command, 0, 0) && !found) {
            found = entry.fault;
        }
    }
    return found;
}

FaultBook::Verdict FaultBook::distort(unsigned command, Packet& packet) {
    Verdict verdict;
    const unsigned type = packet.type;
    const unsigned mech = mechCommandOf(packet);
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Entry& entry : m_entries) {
        if (isDistortion(entry.fault.kind) && strikes(entry, command, type, mech)) {
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
    std::optional<Fault> found;
    std::lock_guard<std::mutex> lock(m_mutex);
    for (Entry& entry : m_entries) {
        if (entry.fault.kind == kind && strikes(entry, 0, packet, command) && !found) {
            found = entry.fault;
        }
    }
    return found;
}

} // namespace simulator
} // namespace fus
