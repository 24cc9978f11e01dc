#include "fussim/Description.h"

#include "BoardDescriptions.h"
#include "IniValues.h"
#include "MeasureDescriptions.h"
#include "MechanicsDescriptions.h"
#include "Parameters.h"
#include "Refusal.h"
#include "WireText.h"
#include "Wiring.h"

#include "fus/FUSException.h"
#include "fus/P_Config.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorConfig.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fus {
namespace simulator {

using namespace gprotocol;

namespace {

constexpr std::size_t MIN_INI_SIZE = 32;
constexpr std::size_t MAX_INI_SIZE = 131072;
constexpr double MAX_REBOOT_SECONDS = 3600;
constexpr std::size_t MAX_SHOTS = 4096;    // what a client accepts as shot index
constexpr std::size_t MAX_CHANNELS = 4096; // and as count of channel states

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
    timing.maxRamp = config.getTiming(TIME_MAX_RAMP);
}

void describeGeneral(const Config& ini, Description& result) {
    const ConfigSection* section = ini.findSection("simulator");
    if (!section) {
        return;
    }
    const std::string name = "simulator";
    checkKeys(*section, name,
              {"load_ohm", "load_resonance_hz", "load_q", "max_voltage", "channel_spread_percent",
               "thermal_seconds", "watchdog_us", "reboot_seconds", "slave_reboot_seconds"});
    LoadDescription& load = result.load;
    load.ohm = readNumber(*section, name, "load_ohm", load.ohm);
    load.resonanceHz = readNumber(*section, name, "load_resonance_hz", load.resonanceHz);
    load.quality = readNumber(*section, name, "load_q", load.quality);
    load.maxVoltage = readNumber(*section, name, "max_voltage", load.maxVoltage);
    load.spreadPercent = readNumber(*section, name, "channel_spread_percent", load.spreadPercent);
    load.thermalSeconds = readNumber(*section, name, "thermal_seconds", load.thermalSeconds);
    result.watchdogUs = readUnsigned(*section, name, "watchdog_us", result.watchdogUs);
    for (const auto& [key, target] :
         {std::pair<const char*, double*>{"reboot_seconds", &result.rebootSeconds},
          {"slave_reboot_seconds", &result.slaveRebootSeconds}}) {
        *target = readNumber(*section, name, key, *target);
        if (*target < 0 || *target > MAX_REBOOT_SECONDS) {
            fail(formatted("[simulator]: '%s' is 0 to %.0f", key, MAX_REBOOT_SECONDS));
        }
    }
    if (load.ohm <= 0 || load.resonanceHz <= 0 || load.thermalSeconds <= 0) {
        fail("[simulator]: 'load_ohm', 'load_resonance_hz' and 'thermal_seconds' must be above 0");
    }
}

void describeBoardParameters(const Config& ini, unsigned hwid, Description& result) {
    const std::string name = std::string("simulator/parameters/") + boardTypeName(hwid);
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
        result.boardParameters[hwid][id] = readInteger(param, name);
    }
}

void describeGeneratorParameters(const Config& ini, Description& result) {
    const std::string name = "simulator/parameters/V2";
    const ConfigSection* section = ini.findSection(name.c_str());
    if (!section) {
        return;
    }
    for (const auto& param : section->params()) {
        const std::string key = param.name() ? param.name() : "";
        const unsigned id = parameterFromText(key);
        const GeneratorParameterRow* row = findGeneratorParameterRow(id);
        const bool known = row && row->form == Form::BYTE;
        const std::uint64_t value = known ? readInteger(param, name) : 0;
        if (!known || value > 255) {
            fail("[" + name + "]: '" + key + "' isn't a known parameter of one byte");
        }
        result.generatorParameters[id] = static_cast<std::uint8_t>(value);
    }
}

const char* textOf(const ConfigSection& section, const char* key) {
    const char* text = section.getString(key, "");
    return text ? text : "";
}

Wiring readWiring(const Config& ini) {
    const ConfigSection* section = ini.findSection("BKP");
    return section ? wiringFromText(textOf(*section, "snt_chr"), textOf(*section, "amp_chr"))
                   : Wiring();
}

void describeFlash(const Config& ini, Description& result) {
    const std::string name = "simulator/backpanel";
    const ConfigSection* section = ini.findSection(name.c_str());
    if (!section) {
        return;
    }
    checkKeys(*section, name, {"flash_snt", "flash_amp"});
    if (!result.hasBackPanel()) {
        fail("[" + name + "]: there is none to be changed before protocol 3.1");
    }
    result.flash = wiringFromText(textOf(*section, "flash_snt"), textOf(*section, "flash_amp"));
    try {
        result.rewired(*result.flash);
    } catch (const DescriptionError& error) {
        fail("[" + name + "]: " + error.what());
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
    result.bufferCount = config.getCount(NB_BUFFERS);
    result.maxShots = config.getCount(NB_MAX_TRAJECTORY_SIZE);
    result.hasTriggerInput = config.getFlag(FLAG_TRIGGER_INPUT);
    result.hasMultiplexer = config.getFlag(FLAG_MULTIPLEXER);
    result.hasMechanics = config.mot() != nullptr;
    describeBoards(ini, config, result);
    applyWiring(config, readWiring(ini), result);
    if (result.isV2()) {
        describeV2Measures(ini, config, result);
    }
    describeTiming(config, result.timing);
    describeGeneral(ini, result);
    for (unsigned hwid : {HWID_PROCESSOR, HWID_SYNTHESIZER, HWID_AMPLIFIER, HWID_MECHANICS}) {
        describeBoardParameters(ini, hwid, result);
    }
    describeGeneratorParameters(ini, result);
    if (result.hasMechanics) {
        describeMechanics(ini, result.mechanics);
    }
    checkTotals(result);
    describeFlash(ini, result);
}

} // namespace

Description Description::parse(const std::string& text) {
    Description result;
    result.wireText = text; // whole, so that whoever captures it has all of this generator
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

Description Description::rewired(const Wiring& next) const {
    const std::string flaw = flawOf(next);
    if (!flaw.empty()) {
        fail(flaw);
    }
    Description result = *this;
    result.wireText = withBackPanel(wireText, wiringText(next.snt), wiringText(next.amp));
    GeneratorConfig config;
    try {
        config.load(result.wireText);
    } catch (const FUSException& exception) {
        fail(std::string("a text that can't be read: ") + exception.what());
    }
    const auto tells = [](const Mask1D& mask, const std::vector<bool>& flags) {
        return mask == Mask1D(wiringText(flags).c_str(), 0);
    };
    if (!tells(config.sntConfiguration(), next.snt) ||
        !tells(config.ampConfiguration(), next.amp)) {
        fail("its text has no place for the channels in use");
    }
    applyWiring(config, next, result);
    checkTotals(result);
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
