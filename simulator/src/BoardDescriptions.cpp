#include "BoardDescriptions.h"

#include "IniValues.h"
#include "MeasureDescriptions.h"
#include "Wiring.h"

#include "fus/P_GProtocol.h"

#include <algorithm>
#include <cstdio>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

std::array<unsigned, 4> components(const Version& version) {
    std::array<unsigned, 4> parts{};
    std::sscanf(version.toString().c_str(), "%u.%u.%u.%u", &parts[0], &parts[1], &parts[2],
                &parts[3]);
    return parts;
}

// A number that stays as it is if the section doesn't tell it. What the text to send tells of a
// board is what that board says.
void readDetail(const ConfigSection& section, const std::string& name, const char* key,
                bool isInText, std::uint32_t& target) {
    const ConfigParam* param = section.findParam(key);
    if (!param) {
        return;
    }
    const std::uint64_t value = readInteger(*param, name);
    if (value > 0xFFFFFFFFU) {
        fail("[" + name + "]: '" + key + "' has more than 32 bits");
    }
    if (isInText) {
        fail("[" + name + "]: the text to send already tells '" + key + "'");
    }
    target = static_cast<std::uint32_t>(value);
}

void readDetails(const ConfigSection& section, const std::string& name, const PrivateBoard& source,
                 BoardDescription& board) {
    checkKeys(section, name, {"uid", "crc", "bd", "crc_format", "firmware_size"});
    readDetail(section, name, "uid", source.uniqueID != 0, board.uniqueId);
    readDetail(section, name, "crc", source.CRC != 0, board.crc);
    readDetail(section, name, "firmware_size", false, board.firmwareSize);
    std::uint32_t format = board.crcFormat;
    readDetail(section, name, "crc_format", false, format);
    if (format > 1) {
        fail("[" + name + "]: 'crc_format' is 0 or 1");
    }
    board.crcFormat = format;
    const ConfigParam* buildTime = section.findParam("bd");
    if (buildTime && !source.buildTime.empty()) {
        fail("[" + name + "]: the text to send already tells 'bd'");
    }
    if (buildTime) {
        board.buildTime = buildTime->value() ? buildTime->value() : "";
    }
}

void describeDetails(const Config& ini, const PrivateBoard& source, bool isV2,
                     BoardDescription& board) {
    board.uniqueId = source.uniqueID;
    board.crc = source.CRC;
    board.buildTime = source.buildTime;
    board.crcFormat = isV2 ? 0 : 1;
    const std::string ofType = std::string("simulator/boards/") + boardTypeName(board.hwid);
    const std::string ofOne = ofType + "/" + std::to_string(board.address);
    for (const std::string& name : {ofType, ofOne}) {
        if (const ConfigSection* section = ini.findSection(name.c_str())) {
            readDetails(*section, name, source, board);
        }
    }
    if (board.crcFormat == 0 && board.crc > 0xFFFFU) {
        fail("[" + ofOne + "]: a crc of more than 16 bits doesn't fit into 'crc_format' 0");
    }
}

BoardDescription describeBoard(const Config& ini, const PrivateBoard& source, bool isV2) {
    BoardDescription board;
    board.hwid = source.hwid;
    board.address = source.address;
    board.hardwareVersion = components(source.hardwareVersion);
    board.firmwareVersion = components(source.firmwareVersion);
    describeDetails(ini, source, isV2, board);
    for (std::size_t i = 0; i < source.boardMeasures.size(); ++i) {
        board.measures.push_back(
            describeBoardMeasure(ini, boardTypeName(source.hwid), i, *source.boardMeasures[i]));
    }
    if (const auto* synthesizer = dynamic_cast<const PrivateBoardSNT*>(&source)) {
        board.hasWatchdogDetection = synthesizer->hasWatchdogErrorDetection;
    }
    if (const auto* amplifier = dynamic_cast<const PrivateBoardAMP*>(&source)) {
        board.hasPowerSwitch = amplifier->hasPowerSupplyControl;
        for (std::size_t i = 0; i < amplifier->channelMeasures.size(); ++i) {
            board.channelMeasures.push_back(
                describeChannelMeasure(ini, i, *amplifier->channelMeasures[i]));
        }
    }
    return board;
}

// Channels that an amplifier drives: what the back panel lets it, if it has them.
std::size_t channelsOf(const PrivateBoard& board, const Wiring& wiring, bool isV2) {
    const auto* amplifier = dynamic_cast<const PrivateBoardAMP*>(&board);
    if (!amplifier) {
        return 0;
    }
    const std::size_t built = amplifier->channelMask.activeCount();
    return isV2 ? built : std::min(built, channelsOfSlot(wiring.amp, board.address));
}

const BoardDescription* firstAmplifier(const Description& description) {
    const auto& boards = description.boards;
    const auto found = std::find_if(boards.begin(), boards.end(), [](const auto& board) {
        return board.hwid == HWID_AMPLIFIER && board.active;
    });
    return found == boards.end() ? nullptr : &*found;
}

} // namespace

const char* boardTypeName(unsigned hwid) {
    return BOARD_SHORT_NAMES[hardwareIDToBoardType(hwid)];
}

void describeBoards(const Config& ini, const GeneratorConfig& config, Description& result) {
    for (const auto& source : config.boards()) {
        result.boards.push_back(describeBoard(ini, *source, result.isV2()));
    }
}

void applyWiring(const GeneratorConfig& config, const Wiring& wiring, Description& result) {
    result.wiring = wiring;
    result.channelCount = config.getCount(NB_CHANNELS);
    const BoardDescription* previous = firstAmplifier(result);
    std::size_t channel = 0;
    for (BoardDescription& board : result.boards) {
        const PrivateBoard* source = config.findBoard(board.hwid, board.address);
        board.active = source && source->active;
        const std::size_t count = board.active ? channelsOf(*source, wiring, result.isV2()) : 0;
        board.firstChannel = std::min(channel, result.channelCount);
        channel += count;
        board.channelCount = std::min(channel, result.channelCount) - board.firstChannel;
    }
    const BoardDescription* first = firstAmplifier(result);
    if (first && first != previous) {
        result.channelMeasures = first->channelMeasures;
    }
}

} // namespace simulator
} // namespace fus
