#include "fus/P_Config.h"
#include "fus/P_GeneratorConfig.h"
#include "fus/P_GeneratorConfigTables.h"
#include "fus/P_LogMacros.h"

#include <cstdio>
#include <cstring>

namespace fus {

namespace {

// The width of a slot in this layout, whatever NB_CHANNELS_PER_SLOT says.
constexpr std::uint32_t SLOT_WIDTH = 16;
constexpr std::uint32_t DEFAULT_COMPOSITE_SHOTS = 4;

// A key without a value has a null text, which means the same as no key.
const char* textOf(const ConfigSection& section, const char* key) {
    const char* text = section.getString(key, "");
    return text != nullptr ? text : "";
}

Version versionOf(const ConfigSection& section, const char* key) {
    return Version(textOf(section, key));
}

void readIdentity(const ConfigSection& section, PrivateBoard& board) {
    board.hardwareVersion = versionOf(section, "hw");
    board.firmwareVersion = versionOf(section, "sw");
    board.uniqueID = section.getUnsigned("uid", 0);
    board.CRC = section.getUnsigned("crc", 0);
    board.buildTime = textOf(section, "bd");
    board.revisionHash = textOf(section, "vh");
}

// "1111-0000-11": the number of channels of each slot, the slot being the board's address.
std::vector<unsigned> channelsPerSlot(const char* text) {
    std::vector<unsigned> slots(1, 0);
    for (; *text != '\0'; ++text) {
        if (*text == '-') {
            slots.push_back(0);
        } else if (*text == '1') {
            ++slots.back();
        }
    }
    return slots;
}

bool isSlotUsed(const std::vector<unsigned>& channels, unsigned address) {
    return address < channels.size() && channels[address] > 0;
}

Mask1D boardMask(const char* text) {
    Mask1D mask(SLOT_WIDTH, false);
    for (std::size_t i = 0; text[i] != '\0'; ++i) {
        if (text[i] == '1') {
            mask.set(i, true);
        }
    }
    return mask;
}

const ConfigSection* findBoardSection(const Config& ini, const char* kind, unsigned address) {
    char name[16];
    std::snprintf(name, sizeof name, "%s%02u", kind, address);
    return ini.findSection(name);
}

unsigned countNamed(const MeasureList& list, const char* name) {
    unsigned count = 0;
    for (const auto& measure : list) {
        count += measure->name == name ? 1 : 0;
    }
    return count;
}

// The back panel may promise more channels than the boards drive; the count only ever goes down.
unsigned reconciledChannels(unsigned backPanel, unsigned amplifiers, unsigned activeSnt) {
    unsigned channels = backPanel;
    if (channels > amplifiers) {
        FUS_LOG(ERROR, "Channel count mismatch (BKP: %u, AMP: %u), using AMP.", channels,
                amplifiers);
        channels = amplifiers;
    }
    const unsigned synthesizers = activeSnt * SLOT_WIDTH;
    if (channels > synthesizers) {
        FUS_LOG(ERROR, "Channel count mismatch (BKP: %u, SNT: %u), using SNT.", channels,
                synthesizers);
        channels = synthesizers;
    }
    return channels;
}

} // namespace

void GeneratorConfig::readV3(const Config& ini) {
    const ConfigSection& processor = mandatorySection(ini, "UPB00");
    const ConfigSection& backPanel = mandatorySection(ini, "BKP");
    readV3Processor(processor);
    const char* sntChannels = textOf(backPanel, "snt_chr");
    const char* ampChannels = textOf(backPanel, "amp_chr");
    m_sntConfiguration.setFromString(sntChannels, 0);
    m_ampConfiguration.setFromString(ampChannels, 0);

    Tally tally;
    tally.compositeShots = DEFAULT_COMPOSITE_SHOTS;
    readV3Synthesizers(ini, channelsPerSlot(sntChannels), tally);
    readV3Amplifiers(ini, channelsPerSlot(ampChannels), tally);
    tally.channels = reconciledChannels(static_cast<unsigned>(m_sntConfiguration.activeCount()),
                                        tally.ampChannels, tally.activeSnt);
    if (const ConfigSection* section = ini.findSection("MOT00")) {
        m_mot = &addBoard<PrivateBoardMOT>(0, true);
        readIdentity(*section, *m_mot);
    }
    fillCounts(tally);
    if (m_protocolNumber < PROTOCOL_V3_FULL) {
        readTimings(mandatorySection(ini, TIMING_SECTION));
    }
}

void GeneratorConfig::readV3Processor(const ConfigSection& section) {
    const bool simulator = section.hasParam("simulator") && section.getBool("simulator", false);
    m_generatorType = simulator ? gprotocol::GEN_SIMULATOR : gprotocol::GEN_HARDWARE;
    m_upb = &addBoard<PrivateBoardUPB>(0, true);
    readIdentity(section, *m_upb);
    m_upb->bufferCount = section.getUnsigned("max_nb_buffers", 0);
    m_upb->bufferMaxSize = section.getUnsigned("max_nb_shots", 0);
    m_upb->hasTriggerInput = section.getBool("has_ext_trigger", false);
    parseMeasureList(textOf(section, "bo"), m_upb->boardMeasures);
    Version protocol;
    if (protocol.setFromString(textOf(section, "protocol_version"))) {
        setProtocol(protocol);
    } else {
        setProtocolFromFirmware();
    }
}

void GeneratorConfig::readV3Synthesizers(const Config& ini, const std::vector<unsigned>& channels,
                                         Tally& tally) {
    for (unsigned address = 0; address < getCount(NB_MAX_BOARD_ADDRESS); ++address) {
        const ConfigSection* section = findBoardSection(ini, "SNT", address);
        if (section == nullptr) {
            continue;
        }
        auto& board = addBoard<PrivateBoardSNT>(address, isSlotUsed(channels, address));
        readIdentity(*section, board);
        board.synthesizerCount = section->getUnsigned("nb_synth", 0);
        board.hasHardwareShotDuration = section->getBool("sdh", false);
        board.hasWatchdogErrorDetection = section->getBool("wed", false);
        board.channelMask = boardMask(textOf(*section, "bm"));
        addToRack(board, tally);
    }
}

void GeneratorConfig::readV3Amplifiers(const Config& ini, const std::vector<unsigned>& channels,
                                       Tally& tally) {
    for (unsigned address = 0; address < getCount(NB_MAX_BOARD_ADDRESS); ++address) {
        const ConfigSection* section = findBoardSection(ini, "AMP", address);
        if (section == nullptr) {
            continue;
        }
        auto& board = addBoard<PrivateBoardAMP>(address, isSlotUsed(channels, address));
        readIdentity(*section, board);
        board.hasHardwareShotDuration = section->getBool("sdh", false);
        board.hasPowerSupplyControl = section->getBool("psc", false);
        board.channelMask = boardMask(textOf(*section, "bm"));
        parseMeasureList(textOf(*section, "bo"), board.boardMeasures);
        parseMeasureList(textOf(*section, "ch"), board.channelMeasures);
        addToRack(board, tally);
        if (board.active) {
            tally.temperatures += countNamed(board.boardMeasures, "tem");
            tally.currents += countNamed(board.boardMeasures, "idc");
            tally.ampChannels += static_cast<unsigned>(board.channelMask.activeCount());
        }
    }
}

} // namespace fus
