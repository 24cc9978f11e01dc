#include "fussim/Description.h"

#include "Parameters.h"
#include "Refusal.h"
#include "WireText.h"

#include "fus/FUSException.h"
#include "fus/P_Config.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorConfig.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::size_t MIN_INI_SIZE = 32;
constexpr std::size_t MAX_INI_SIZE = 131072;
constexpr std::size_t MAX_SHOTS = 4096;    // what a client accepts as shot index
constexpr std::size_t MAX_CHANNELS = 4096; // and as count of channel states

void fail(const std::string& text) {
    throw DescriptionError(text);
}

// Keys that the simulator doesn't know are mistakes in its own sections: there is nobody else whom
// they could be for.
void checkKeys(const ConfigSection& section, const std::string& name,
               const std::vector<std::string>& known) {
    for (const auto& param : section.params()) {
        const std::string key = param.name() ? param.name() : "";
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            fail("[" + name + "]: unknown key '" + key + "'");
        }
    }
}

double readNumber(const ConfigSection& section, const std::string& name, const char* key,
                  double standard) {
    const ConfigParam* param = section.findParam(key);
    if (!param) {
        return standard;
    }
    const std::string text = param->value() ? param->value() : "";
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value)) {
        fail("[" + name + "]: '" + key + "' isn't a number");
    }
    return value;
}

std::uint32_t readUnsigned(const ConfigSection& section, const std::string& name, const char* key,
                           std::uint32_t standard) {
    const double value = readNumber(section, name, key, standard);
    if (value < 0 || value > 4294967295.0 || value != std::floor(value)) {
        fail("[" + name + "]: '" + key + "' isn't an unsigned integer");
    }
    return static_cast<std::uint32_t>(value);
}

std::vector<double> readNumbers(const ConfigSection& section, const std::string& name,
                                const char* key) {
    std::vector<double> values;
    const ConfigParam* param = section.findParam(key);
    std::istringstream items(param && param->value() ? param->value() : "");
    for (std::string item; std::getline(items, item, '|');) {
        char* end = nullptr;
        const double value = std::strtod(item.c_str(), &end);
        if (end == item.c_str() || !std::isfinite(value)) {
            fail("[" + name + "]: '" + key + "' isn't a list of numbers");
        }
        values.push_back(value);
    }
    return values;
}

// "[simulator/measures/AMP/1]" before "[simulator/measures/AMP/idc]".
const ConfigSection* findMeasureSection(const Config& ini, const std::string& parent,
                                        std::size_t position, const std::string& measure,
                                        std::string& name) {
    for (const std::string& key : {std::to_string(position), measure}) {
        name = parent + "/" + key;
        if (const ConfigSection* section = ini.findSection(name.c_str())) {
            return section;
        }
    }
    return nullptr;
}

void readBoardMeasure(const ConfigSection& section, const std::string& name,
                      BoardMeasureDescription& measure) {
    checkKeys(section, name, {"divisor", "coefficients", "lower", "upper", "idle", "full"});
    measure.divisor = readUnsigned(section, name, "divisor", measure.divisor);
    measure.lowerThreshold = readUnsigned(section, name, "lower", measure.lowerThreshold);
    measure.upperThreshold = readUnsigned(section, name, "upper", measure.upperThreshold);
    measure.idle = readNumber(section, name, "idle", 0);
    measure.full = readNumber(section, name, "full", measure.idle);
    const std::vector<double> coefficients = readNumbers(section, name, "coefficients");
    if (coefficients.empty()) {
        return;
    }
    measure.coefficients.clear();
    for (double value : coefficients) {
        if (value != std::floor(value) || std::fabs(value) > 2147483647.0) {
            fail("[" + name + "]: coefficients are integers, divided by 'divisor'");
        }
        measure.coefficients.push_back(static_cast<std::int32_t>(value));
    }
}

std::uint32_t maxAdc(unsigned size) {
    return size >= 4 ? 0xFFFFFFFFU : (1U << (size * 8)) - 1U;
}

void checkSize(const PrivateMeasure& measure) {
    if (measure.size != 1 && measure.size != 2 && measure.size != 4) {
        fail("measure '" + measure.name + "': a size can be 1, 2 or 4 bytes");
    }
}

BoardMeasureDescription describeBoardMeasure(const Config& ini, const std::string& type,
                                             std::size_t position, const PrivateMeasure& source) {
    checkSize(source);
    BoardMeasureDescription measure;
    measure.name = source.name;
    measure.size = source.size;
    measure.typeId = findMeasureKind(source.name.c_str()).typeId;
    measure.upperThreshold = maxAdc(source.size);
    measure.coefficients = {0, 1};
    std::string name;
    if (const auto* section =
            findMeasureSection(ini, "simulator/measures/" + type, position, source.name, name)) {
        readBoardMeasure(*section, name, measure);
    }
    return measure;
}

// Where the description says nothing: a sensible range for what the name measures.
MeasureCurve standardCurve(const std::string& name, unsigned size) {
    struct Range {
        const char* name;
        double low, high;
    };
    constexpr Range RANGES[] = {{"vrf", 0, 102},          {"irf", 0, 2.55},   {"Pfd", 0, 255},
                                {"Pre", 0, 255},          {"vdc", 0, 65},     {"idc", 0, 65},
                                {"pvi", -1.5708, 1.5708}, {"pvr", 0, 6.2832}, {"tem", 0, 255}};
    for (const Range& range : RANGES) {
        if (name == range.name) {
            return {{range.low, (range.high - range.low) / maxAdc(size)}};
        }
    }
    return {{0, 1}};
}

ChannelMeasureDescription describeChannelMeasure(const Config& ini, std::size_t position,
                                                 const PrivateMeasure& source) {
    checkSize(source);
    ChannelMeasureDescription measure{source.name, source.size,
                                      standardCurve(source.name, source.size)};
    std::string name;
    if (const auto* section =
            findMeasureSection(ini, "simulator/channels", position, source.name, name)) {
        checkKeys(*section, name, {"coefficients"});
        const std::vector<double> coefficients = readNumbers(*section, name, "coefficients");
        if (coefficients.size() < 2) {
            fail("[" + name + "]: 'coefficients' takes at least two numbers");
        }
        measure.curve.coefficients = coefficients;
    }
    return measure;
}

std::array<unsigned, 4> components(const Version& version) {
    std::array<unsigned, 4> parts{};
    std::sscanf(version.toString().c_str(), "%u.%u.%u.%u", &parts[0], &parts[1], &parts[2],
                &parts[3]);
    return parts;
}

const char* typeName(unsigned hwid) {
    switch (boardBit(hwid)) {
    case ON_UPB:
        return "UPB";
    case ON_SNT:
        return "SNT";
    case ON_AMP:
        return "AMP";
    default:
        return "MOT";
    }
}

BoardDescription describeBoard(const Config& ini, const PrivateBoard& source) {
    BoardDescription board;
    board.hwid = source.hwid;
    board.address = source.address;
    board.active = source.active;
    board.hardwareVersion = components(source.hardwareVersion);
    board.firmwareVersion = components(source.firmwareVersion);
    board.uniqueId = source.uniqueID;
    board.crc = source.CRC;
    board.buildTime = source.buildTime;
    for (std::size_t i = 0; i < source.boardMeasures.size(); ++i) {
        board.measures.push_back(
            describeBoardMeasure(ini, typeName(source.hwid), i, *source.boardMeasures[i]));
    }
    return board;
}

void describeBoards(const Config& ini, const GeneratorConfig& config, Description& result) {
    std::size_t channel = 0;
    for (const auto& source : config.boards()) {
        result.boards.push_back(describeBoard(ini, *source));
        const auto* amplifier = dynamic_cast<const PrivateBoardAMP*>(source.get());
        if (amplifier && amplifier->active) {
            BoardDescription& board = result.boards.back();
            board.firstChannel = std::min(channel, result.channelCount);
            channel += amplifier->channelMask.activeCount();
            board.channelCount = std::min(channel, result.channelCount) - board.firstChannel;
        }
    }
    if (const PrivateBoardAMP* amplifier = config.firstActiveAmp()) {
        const MeasureList& measures = amplifier->channelMeasures;
        for (std::size_t i = 0; i < measures.size(); ++i) {
            result.channelMeasures.push_back(describeChannelMeasure(ini, i, *measures[i]));
        }
    }
}

void describeTiming(const GeneratorConfig& config, TimingDescription& timing) {
    timing.minShooting = config.getTiming(TIME_MIN_SHOOTING);
    timing.maxShooting = config.getTiming(TIME_MAX_SHOOTING);
    timing.minQuickShooting = config.getTiming(TIME_MIN_QUICK_SHOOTING);
    timing.maxQuickShooting = config.getTiming(TIME_MAX_QUICK_SHOOTING);
    timing.minTotal = config.getTiming(TIME_MIN_TOTAL_SHOT);
    timing.maxTotal = config.getTiming(TIME_MAX_TOTAL_SHOT);
    timing.minQuickTotal = config.getTiming(TIME_MIN_QUICK_TOTAL_SHOT);
    timing.minRepeatTotal = config.getTiming(TIME_MIN_REPEAT_TOTAL_SHOT);
    timing.minRepeatDelay = config.getTiming(TIME_MIN_REPEAT_SHOT_DELAY_NOTRIG);
    timing.minTrajectoryDelay = config.getTiming(TIME_MIN_TRAJECTORY_DELAY);
    timing.maxTrajectoryDelay = config.getTiming(TIME_MAX_TRAJECTORY_DELAY);
}

void describeGeneral(const Config& ini, Description& result) {
    const ConfigSection* section = ini.findSection("simulator");
    if (!section) {
        return;
    }
    const std::string name = "simulator";
    checkKeys(*section, name,
              {"load_ohm", "load_resonance_hz", "load_q", "max_voltage", "channel_spread_percent",
               "watchdog_us", "firmware_size"});
    LoadDescription& load = result.load;
    load.ohm = readNumber(*section, name, "load_ohm", load.ohm);
    load.resonanceHz = readNumber(*section, name, "load_resonance_hz", load.resonanceHz);
    load.quality = readNumber(*section, name, "load_q", load.quality);
    load.maxVoltage = readNumber(*section, name, "max_voltage", load.maxVoltage);
    load.spreadPercent = readNumber(*section, name, "channel_spread_percent", load.spreadPercent);
    result.watchdogUs = readUnsigned(*section, name, "watchdog_us", result.watchdogUs);
    result.firmwareSize = readUnsigned(*section, name, "firmware_size", result.firmwareSize);
    if (load.ohm <= 0 || load.resonanceHz <= 0) {
        fail("[simulator]: 'load_ohm' and 'load_resonance_hz' must be above 0");
    }
}

std::uint64_t parameterValue(const ConfigParam& param, const std::string& name) {
    const std::string text = param.value() ? param.value() : "";
    char* end = nullptr;
    const std::uint64_t value = std::strtoull(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || text[0] == '-') {
        fail("[" + name + "]: '" + param.name() + "' isn't an unsigned integer");
    }
    return value;
}

void describeBoardParameters(const Config& ini, unsigned hwid, Description& result) {
    const std::string name = std::string("simulator/parameters/") + typeName(hwid);
    const ConfigSection* section = ini.findSection(name.c_str());
    if (!section) {
        return;
    }
    for (const auto& param : section->params()) {
        const std::string key = param.name() ? param.name() : "";
        const unsigned id = parameterFromText(key);
        const ParameterRow* row = findParameterRow(id);
        if (!row || !(row->boards & boardBit(hwid))) {
            fail("[" + name + "]: unknown parameter '" + key + "'");
        }
        result.boardParameters[hwid][id] = parameterValue(param, name);
    }
}

void describeGeneratorParameters(const Config& ini, Description& result) {
    const std::string name = "simulator/parameters/V2";
    const ConfigSection* section = ini.findSection(name.c_str());
    if (!section) {
        return;
    }
    const auto& rows = generatorParameterRows();
    for (const auto& param : section->params()) {
        const std::string key = param.name() ? param.name() : "";
        const unsigned id = parameterFromText(key);
        const bool known =
            std::any_of(rows.begin(), rows.end(), [id](const auto& row) { return row.id == id; });
        const std::uint64_t value = known ? parameterValue(param, name) : 0;
        if (!known || value > 255) {
            fail("[" + name + "]: '" + key + "' isn't a known parameter of one byte");
        }
        result.generatorParameters[id] = static_cast<std::uint8_t>(value);
    }
}

void checkTotals(const Description& result) {
    const std::size_t size = result.wireText.size();
    if (size < MIN_INI_SIZE || size > MAX_INI_SIZE) {
        fail(formatted("the text to send has %zu bytes, it can have %zu to %zu", size, MIN_INI_SIZE,
                       MAX_INI_SIZE));
    }
    if (result.channelCount == 0 || result.channelCount > MAX_CHANNELS) {
        fail(formatted("%zu channels, there can be 1 to %zu", result.channelCount, MAX_CHANNELS));
    }
    if (result.bufferCount == 0 || result.maxShots == 0 || result.maxShots > MAX_SHOTS) {
        fail(formatted("%zu buffers of %zu shots, there must be one buffer at least, of 1 to %zu",
                       result.bufferCount, result.maxShots, MAX_SHOTS));
    }
    const std::size_t shotResult = result.shotResultSize(true);
    if (shotResult > PACKET_MAX_SIZE) {
        fail(formatted("a shot result would have %zu bytes, packets can have %u", shotResult,
                       static_cast<unsigned>(PACKET_MAX_SIZE)));
    }
}

void describe(const Config& ini, const GeneratorConfig& config, Description& result) {
    result.protocolNumber = config.protocolNumber();
    result.channelCount = config.getCount(NB_CHANNELS);
    result.bufferCount = config.getCount(NB_BUFFERS);
    result.maxShots = config.getCount(NB_MAX_TRAJECTORY_SIZE);
    result.hasTriggerInput = config.getFlag(FLAG_TRIGGER_INPUT);
    result.hasMultiplexer = config.getFlag(FLAG_MULTIPLEXER);
    result.hasMechanics = config.mot() != nullptr;
    describeBoards(ini, config, result);
    describeTiming(config, result.timing);
    describeGeneral(ini, result);
    for (unsigned hwid : {HWID_PROCESSOR, HWID_SYNTHESIZER, HWID_AMPLIFIER, HWID_MECHANICS}) {
        describeBoardParameters(ini, hwid, result);
    }
    describeGeneratorParameters(ini, result);
    checkTotals(result);
}

} // namespace

Description Description::parse(const std::string& text) {
    Description result;
    result.wireText = withoutSimulatorSections(text);
    try {
        Config ini;
        std::istringstream stream(text);
        ini.read(stream);
        GeneratorConfig config;
        config.load(result.wireText);
        describe(ini, config, result);
    } catch (const FUSException& exception) {
        fail(std::string("not a generator's INI text: ") + exception.what());
    }
    return result;
}

Description Description::fromFile(const std::string& fileName) {
    std::ifstream file(fileName, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        fail("can't read it, or it is empty");
    }
    return parse(text.str());
}

} // namespace simulator
} // namespace fus
