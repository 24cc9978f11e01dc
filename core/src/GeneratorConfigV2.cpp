#include "fus/P_Config.h"
#include "fus/P_GeneratorConfig.h"
#include "fus/P_GeneratorConfigTables.h"
#include "fus/P_LogMacros.h"

#include <initializer_list>
#include <string>

namespace fus {

namespace {

constexpr std::uint32_t SYNTHESIZERS_PER_BOARD = 4;
constexpr std::uint32_t BOARD_MEASURE_SIZE = 2;
constexpr std::uint32_t CHANNEL_MEASURE_SIZE = 1;

// How messages name a kind of board.
struct BoardWords {
    const char* lower;
    const char* upper;
};
constexpr BoardWords SNT_WORDS = {"snt", "SNT"};
constexpr BoardWords AMP_WORDS = {"amp", "AMP"};

// Generations of firmware have spelled some keys differently.
std::uint32_t firstNonZero(const ConfigSection& section, std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
        const std::uint32_t value = section.getUnsigned(key, 0);
        if (value != 0) {
            return value;
        }
    }
    return 0;
}

Version versionOf(const ConfigSection& section, const char* key) {
    return Version(section.getString(key, nullptr));
}

// Boards of a V2 generator are only counted, never described one by one: the count makes records,
// so it is held to the slots that there are.
std::uint32_t channelsPerBoard(const BoardWords& words, std::uint32_t channels,
                               std::uint32_t boards, const GeneratorConfig& config) {
    const std::uint32_t perBoard = boards == 0 ? 0 : channels / boards;
    if (perBoard > config.getCount(NB_CHANNELS_PER_SLOT)) {
        FUS_LOG(ERROR, "Bad config: %sBoardCount=%d, active%sCount=%d, channelsPer%s=%d",
                words.lower, static_cast<int>(boards), words.upper, static_cast<int>(boards),
                words.upper, static_cast<int>(perBoard));
        FUS_THROW_MSG(ERR_CONFIG_PARSE,
                      std::string("Invalid number of channels per ") + words.upper + " board.");
    }
    if (boards > config.getCount(NB_MAX_BOARD_ADDRESS)) {
        FUS_THROW_MSG(ERR_CONFIG_PARSE, std::string("Too many ") + words.upper + " boards (" +
                                            std::to_string(boards) + ") in generator INI packet.");
    }
    return perBoard;
}

Mask1D firstChannels(std::uint32_t slot, std::uint32_t count) {
    Mask1D mask(slot, false);
    mask.setRange(0, count, true);
    return mask;
}

// The text tells only how many they are; which they are follows from that.
void appendChannelMeasures(MeasureList& list, std::uint32_t count) {
    switch (count) {
    case 4:
        for (const char* name : {"vrf", "irf", "pvi", "pvr"}) {
            appendMeasures(list, name, CHANNEL_MEASURE_SIZE);
        }
        break;
    case 3:
        for (const char* name : {"Pfd", "Pre", "pvr"}) {
            appendMeasures(list, name, CHANNEL_MEASURE_SIZE);
        }
        break;
    default:
        FUS_LOG(ERROR,
                "Unexpected channel measure count (%u) -> ignored, can not guess their type.",
                count);
        break;
    }
}

} // namespace

void GeneratorConfig::readV2(const Config& ini) {
    const ConfigSection& version = mandatorySection(ini, "Version");
    const ConfigSection& hardware = mandatorySection(ini, "Available hardware");
    const ConfigSection& timings = mandatorySection(ini, TIMING_SECTION);
    Tally tally;
    readV2Processor(hardware, version);
    tally.channels = hardware.getUnsigned("nb_elements", 0);
    m_upb->bufferCount = hardware.getUnsigned("max_nb_buffers", 0);
    m_upb->bufferMaxSize = hardware.getUnsigned("max_nb_shot", 0);
    appendMeasures(m_upb->boardMeasures, "vdc", BOARD_MEASURE_SIZE,
                   hardware.getUnsigned("nb_power_supply", 0));
    readV2Synthesizers(hardware, version, tally);
    readV2Amplifiers(hardware, version, tally);
    if (hardware.getUnsigned("nb_mot_board", 0) != 0) {
        m_mot = &addBoard<PrivateBoardMOT>(0, true);
        m_mot->hardwareVersion = versionOf(version, "mot_board_hardware_version");
        m_mot->firmwareVersion = versionOf(version, "mot_board_software_version");
    }
    fillCounts(tally);
    readTimings(timings);
}

void GeneratorConfig::readV2Processor(const ConfigSection& hardware, const ConfigSection& version) {
    m_upb = &addBoard<PrivateBoardUPB>(0, true);
    m_upb->hasMultiplexer = hardware.getBool("has_demux", false);
    m_upb->hasTriggerInput = hardware.getBool("has_ext_trigger", false);
    m_upb->hardwareVersion = versionOf(version, "server_hardware_version");
    m_upb->firmwareVersion = versionOf(version, "server_software_version");
    setProtocolFromFirmware();
}

void GeneratorConfig::readV2Synthesizers(const ConfigSection& hardware,
                                         const ConfigSection& version, Tally& tally) {
    const std::uint32_t count = firstNonZero(hardware, {"nb_dds_board", "nb_gen_board"});
    const std::uint32_t channels = channelsPerBoard(SNT_WORDS, tally.channels, count, *this);
    for (std::uint32_t address = 0; address < count; ++address) {
        auto& board = addBoard<PrivateBoardSNT>(address, true);
        board.hardwareVersion = versionOf(version, "gen_board_hardware_version");
        board.firmwareVersion = versionOf(version, "gen_board_software_version");
        board.channelMask = firstChannels(getCount(NB_CHANNELS_PER_SLOT), channels);
        board.synthesizerCount = SYNTHESIZERS_PER_BOARD;
        addToRack(board, tally);
    }
}

void GeneratorConfig::readV2Amplifiers(const ConfigSection& hardware, const ConfigSection& version,
                                       Tally& tally) {
    const std::uint32_t count = firstNonZero(hardware, {"nb_adc_board", "nb_amp_board"});
    if (count == 0) {
        return;
    }
    const std::uint32_t channels = channelsPerBoard(AMP_WORDS, tally.channels, count, *this);
    tally.temperatures = hardware.getUnsigned("nb_amplifier_temperatures", 0);
    tally.currents = hardware.getUnsigned("nb_amplifier_currents", 0);
    const std::uint32_t channelMeasures =
        firstNonZero(hardware, {"nb_measures_by_amp_board", "nb_measures_by_adc_board",
                                "nb_mesures_by_adc_board"});
    for (std::uint32_t address = 0; address < count; ++address) {
        auto& board = addBoard<PrivateBoardAMP>(address, true);
        board.hardwareVersion = versionOf(version, "amp_board_hardware_version");
        board.firmwareVersion = versionOf(version, "amp_board_software_version");
        board.channelMask = firstChannels(getCount(NB_CHANNELS_PER_SLOT), channels);
        // Both keys are totals over the rack: one per board, or nothing that can be assigned.
        if (tally.temperatures == count) {
            appendMeasures(board.boardMeasures, "tem", BOARD_MEASURE_SIZE);
        }
        if (tally.currents == count) {
            appendMeasures(board.boardMeasures, "idc", BOARD_MEASURE_SIZE);
        }
        appendChannelMeasures(board.channelMeasures, channelMeasures);
        addToRack(board, tally);
    }
}

} // namespace fus
