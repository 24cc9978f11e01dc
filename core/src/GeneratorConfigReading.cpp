// What the readers of both layouts share.

#include "fus/P_Config.h"
#include "fus/P_GeneratorConfig.h"
#include "fus/P_GeneratorConfigTables.h"
#include "fus/P_LogMacros.h"

#include <string>

namespace fus {

namespace {

// Every count is kept as it comes, but these two become objects and packets: a text that asks for
// more than any generator can have is refused instead of being believed until memory runs out.
constexpr std::uint32_t MAX_BUFFERS = 65536;
constexpr std::uint32_t MAX_CHANNELS = 4096;

void checkCeiling(const char* what, std::uint32_t value, std::uint32_t ceiling) {
    if (value > ceiling) {
        FUS_THROW_MSG(ERR_CONFIG_PARSE, std::string("Too many ") + what + " (" +
                                            std::to_string(value) + ") in generator INI packet.");
    }
}

// Active boards stand in front of inactive ones, each group by rising address; so an inactive board
// in the middle doesn't disturb the positions that stand for the active ones.
template <class BoardT>
void placeInRack(std::vector<BoardT*>& rack, BoardT*& firstActive, unsigned& activeCount,
                 BoardT& board) {
    if (!board.active) {
        rack.push_back(&board);
        return;
    }
    rack.insert(rack.begin() + activeCount, &board);
    ++activeCount;
    if (firstActive == nullptr) {
        firstActive = &board;
    }
}

std::uint32_t totalSize(const MeasureList& measures) {
    std::uint32_t total = 0;
    for (const auto& measure : measures) {
        total += measure->size;
    }
    return total;
}

std::uint32_t sizeOf(const MeasureList& measures) {
    return static_cast<std::uint32_t>(measures.size());
}

} // namespace

const ConfigSection& GeneratorConfig::mandatorySection(const Config& ini, const char* name) const {
    const ConfigSection* section = ini.findSection(name);
    if (section == nullptr) {
        FUS_THROW_MSG(ERR_CONFIG_PARSE, std::string("Mandatory section [") + name +
                                            "] missing in generator INI packet.");
    }
    return *section;
}

void GeneratorConfig::addToRack(PrivateBoardSNT& board, Tally& tally) {
    placeInRack(m_sntBoards, m_firstActiveSnt, tally.activeSnt, board);
}

void GeneratorConfig::addToRack(PrivateBoardAMP& board, Tally& tally) {
    placeInRack(m_ampBoards, m_firstActiveAmp, tally.activeAmp, board);
}

void GeneratorConfig::setProtocol(const Version& version) {
    m_protocolVersion = version;
    m_protocolNumber = version.v1 * 100 + version.v2;
}

void GeneratorConfig::setProtocolFromFirmware() {
    setProtocol(Version(m_upb->firmwareVersion.v1, m_upb->firmwareVersion.v2, 0, 0));
}

void GeneratorConfig::fillCounts(const Tally& tally) {
    checkCeiling("buffers", m_upb->bufferCount, MAX_BUFFERS);
    checkCeiling("channels", tally.channels, MAX_CHANNELS);
    const unsigned mechanics = m_mot != nullptr ? 1 : 0;
    setCount(NB_ACTIVE_BOARDS, tally.activeSnt + tally.activeAmp + 1 + mechanics);
    setCount(NB_PROCESSOR_BOARDS, 1);
    setCount(NB_DETECTED_SYNTHESIZER_BOARDS, boardCount(gprotocol::HWID_SYNTHESIZER));
    setCount(NB_DETECTED_AMPLIFIER_BOARDS, boardCount(gprotocol::HWID_AMPLIFIER));
    setCount(NB_MECHANICS_BOARDS, mechanics);
    setCount(NB_ACTIVE_SYNTHESIZER_BOARDS, tally.activeSnt);
    setCount(NB_ACTIVE_AMPLIFIER_BOARDS, tally.activeAmp);
    setCount(NB_CHANNELS, tally.channels);
    setCount(NB_BUFFERS, m_upb->bufferCount);
    setCount(NB_MAX_TRAJECTORY_SIZE, m_upb->bufferMaxSize);
    setCount(NB_MAX_COMPOSITE_SHOTS, tally.compositeShots);
    setCount(NB_POWER_SUPPLIES, sizeOf(m_upb->boardMeasures));
    setCount(NB_AMPLIFIER_CURRENTS, tally.currents);
    setCount(NB_AMPLIFIER_TEMPERATURES, tally.temperatures);
    if (m_firstActiveAmp != nullptr) {
        const PrivateBoardAMP& amp = *m_firstActiveAmp;
        setCount(NB_AMPLIFIER_CHANNEL_MEASURES, sizeOf(amp.channelMeasures));
        setCount(NB_AMPLIFIER_BOARD_MEASURES, sizeOf(amp.boardMeasures));
        setCount(NB_AMPLIFIER_CHANNEL_MEASURES_SIZE, totalSize(amp.channelMeasures));
        setCount(NB_AMPLIFIER_BOARD_MEASURES_SIZE, totalSize(amp.boardMeasures));
    }
}

void GeneratorConfig::readTimings(const ConfigSection& section) {
    for (const TimingRow& row : TIMINGS) {
        std::uint32_t value = row.defaultFrom == TimingDefault::MAX_SHOOTING
                                  ? getTiming(TIME_MAX_SHOOTING)
                                  : row.defaultValue;
        if (row.key != nullptr) {
            value = section.getUnsigned(row.key, value);
        }
        if (value == 0 && row.fallbackKey != nullptr) {
            value = section.getUnsigned(row.fallbackKey, 0);
        }
        setTiming(row.index, value);
    }
}

} // namespace fus
