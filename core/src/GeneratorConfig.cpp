#include "fus/P_GeneratorConfig.h"

#include "fus/P_Config.h"
#include "fus/P_GeneratorConfigTables.h"
#include "fus/P_LogMacros.h"

#include <sstream>

namespace fus {

namespace {

constexpr std::uint32_t CHANNELS_PER_SLOT = 16;
constexpr std::uint32_t MAX_BOARD_ADDRESS = 32;
constexpr unsigned HARDWARE_ID_LIMIT = 20;

template <class BoardT>
PrivateBoard* findByAddress(const std::vector<BoardT*>& rack, unsigned address) {
    for (BoardT* board : rack) {
        if (board->address == address) {
            return board;
        }
    }
    return nullptr;
}

template <class List>
auto& itemAt(const List& boards, unsigned index) {
    if (index >= boards.size()) {
        FUS_THROW_INDEX("board index", index, boards.size());
    }
    return *boards[index];
}

} // namespace

GeneratorConfig::GeneratorConfig() {
    reset();
}

GeneratorConfig::~GeneratorConfig() = default;

void GeneratorConfig::reset() {
    m_iniText.clear();
    m_upb = nullptr;
    m_firstActiveSnt = nullptr;
    m_firstActiveAmp = nullptr;
    m_mot = nullptr;
    m_sntBoards.clear();
    m_ampBoards.clear();
    m_boards.clear();
    m_protocolVersion.clear();
    m_protocolNumber = 0;
    m_generatorType = gprotocol::GEN_UNKNOWN;
    m_sntConfiguration.clear();
    m_ampConfiguration.clear();
    for (auto& count : m_counts) {
        count = 0;
    }
    for (auto& timing : m_timings) {
        timing = 0;
    }
    setCount(NB_CHANNELS_PER_SLOT, CHANNELS_PER_SLOT);
    setCount(NB_MAX_BOARD_ADDRESS, MAX_BOARD_ADDRESS);
    setTiming(TIME_MIN_HEARTBEAT_TIMEOUT, DEFAULT_MIN_HEARTBEAT_TIMEOUT);
}

void GeneratorConfig::load(const std::string& iniText) {
    std::istringstream stream(iniText);
    Config ini;
    ini.read(stream);
    std::string text = iniText; // it may be our own, which reset() clears
    reset();
    m_iniText = std::move(text);
    if (ini.findSection("UPB00") != nullptr) {
        readV3(ini);
    } else {
        readV2(ini);
    }
}

void GeneratorConfig::setCount(unsigned index, std::uint32_t value) {
    if (index >= COUNT_TOTAL) {
        throwCountIndex(index);
    }
    m_counts[index].store(value, std::memory_order_relaxed);
}

void GeneratorConfig::setTiming(unsigned index, std::uint32_t value) {
    if (index >= TIMING_TOTAL) {
        throwTimingIndex(index);
    }
    m_timings[index].store(value, std::memory_order_relaxed);
}

void GeneratorConfig::throwCountIndex(unsigned index) {
    FUS_THROW_INDEX("'count' index", index, COUNT_TOTAL);
}

void GeneratorConfig::throwTimingIndex(unsigned index) {
    FUS_THROW_INDEX("timing index", index, TIMING_TOTAL);
}

PrivateBoard* GeneratorConfig::findRecord(unsigned hwid, unsigned address) const {
    switch (hwid) {
    case gprotocol::HWID_PROCESSOR:
        return address == 0 ? m_upb : nullptr;
    case gprotocol::HWID_SYNTHESIZER:
        return findByAddress(m_sntBoards, address);
    case gprotocol::HWID_AMPLIFIER:
        return findByAddress(m_ampBoards, address);
    case gprotocol::HWID_MECHANICS:
        return address == 0 ? m_mot : nullptr;
    default:
        FUS_THROW_INDEX("hardware ID", hwid, HARDWARE_ID_LIMIT);
    }
}

PrivateBoard& GeneratorConfig::existingRecord(unsigned hwid, unsigned address) const {
    PrivateBoard* board = findRecord(hwid, address);
    if (board == nullptr) {
        FUS_THROW(ERR_ARGUMENT);
    }
    return *board;
}

const PrivateBoard* GeneratorConfig::findBoard(unsigned hwid, unsigned address) const {
    return findRecord(hwid, address);
}

const PrivateBoard& GeneratorConfig::boardAt(unsigned hwid, unsigned index) const {
    const unsigned count = boardCount(hwid);
    if (index >= count) {
        FUS_THROW_INDEX("board index", index, count);
    }
    switch (hwid) {
    case gprotocol::HWID_SYNTHESIZER:
        return *m_sntBoards[index];
    case gprotocol::HWID_AMPLIFIER:
        return *m_ampBoards[index];
    default:
        return *findRecord(hwid, 0);
    }
}

unsigned GeneratorConfig::boardCount(unsigned hwid) const {
    switch (hwid) {
    case gprotocol::HWID_SYNTHESIZER:
        return static_cast<unsigned>(m_sntBoards.size());
    case gprotocol::HWID_AMPLIFIER:
        return static_cast<unsigned>(m_ampBoards.size());
    default:
        return findRecord(hwid, 0) != nullptr ? 1 : 0;
    }
}

const PrivateBoardAMP& GeneratorConfig::amplifierAt(unsigned index) const {
    return itemAt(m_ampBoards, index);
}

const PrivateBoardSNT& GeneratorConfig::synthesizerAt(unsigned index) const {
    return itemAt(m_sntBoards, index);
}

const MeasureList* GeneratorConfig::measures(unsigned hwid) const {
    const PrivateBoard* board = nullptr;
    if (hwid == gprotocol::HWID_PROCESSOR) {
        board = m_upb;
    } else if (hwid == gprotocol::HWID_AMPLIFIER) {
        board = m_firstActiveAmp;
    }
    return board != nullptr ? &board->boardMeasures : nullptr;
}

unsigned GeneratorConfig::findMeasure(unsigned hwid, const char* name) const {
    const MeasureList* list = measures(hwid);
    for (unsigned i = 0; list != nullptr && i < list->size(); ++i) {
        if ((*list)[i]->name == name) {
            return i;
        }
    }
    return NB_NOT_FOUND_MEASURE;
}

bool GeneratorConfig::getFlag(unsigned flagType) const {
    if (m_upb == nullptr) {
        FUS_THROW(ERR_NOT_CONNECTED);
    }
    switch (flagType) {
    case FLAG_MULTIPLEXER:
        return m_upb->hasMultiplexer;
    case FLAG_TRIGGER_INPUT:
        return m_upb->hasTriggerInput;
    default:
        FUS_THROW_INDEX("flag type", flagType, 2);
    }
}

Version GeneratorConfig::getVersion(unsigned versionType) const {
    if (versionType > VERSION_PROTOCOL) {
        FUS_THROW_INDEX("version type", versionType, VERSION_PROTOCOL + 1);
    }
    if (versionType == VERSION_PROTOCOL) {
        return m_protocolVersion;
    }
    // The types go by board, hardware before firmware.
    const PrivateBoard* const boards[] = {m_upb, m_firstActiveSnt, m_firstActiveAmp, m_mot};
    const PrivateBoard* board = boards[versionType / 2];
    if (board == nullptr) {
        return nullVersion;
    }
    return versionType % 2 == 0 ? board->hardwareVersion : board->firmwareVersion;
}

bool GeneratorConfig::isBoardActive(unsigned hwid, unsigned address) const {
    return existingRecord(hwid, address).active;
}

void GeneratorConfig::updateBoardStatus(unsigned hwid, unsigned address, std::uint32_t status) {
    FUS_LOG(INFO, "Updating status of board (type: %d, address: %u) = 0x%08X",
            static_cast<int>(hwid), address, status);
    existingRecord(hwid, address).status = status;
}

} // namespace fus
