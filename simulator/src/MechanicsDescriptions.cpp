#include "MechanicsDescriptions.h"

#include "IniValues.h"
#include "MotParameters.h"

#include <algorithm>
#include <cmath>

namespace fus {
namespace simulator {

using namespace mprotocol;

namespace {

constexpr std::size_t STANDARD_AXES = 3;
constexpr std::size_t MAX_AXES = 16;
constexpr std::uint32_t MAX_BYTE = 255;

struct NumberKey {
    const char* name;
    std::uint32_t AxisDescription::*field;
};

constexpr NumberKey AXIS_NUMBERS[] = {{"start", &AxisDescription::start},
                                      {"low", &AxisDescription::low},
                                      {"high", &AxisDescription::high},
                                      {"reference", &AxisDescription::reference},
                                      {"reference2", &AxisDescription::reference2},
                                      {"revolution", &AxisDescription::revolution}};

struct TopologyName {
    const char* name;
    AxisTopology value;
};

constexpr TopologyName TOPOLOGIES[] = {
    {"L1", AxisTopology::L1}, {"L2", AxisTopology::L2}, {"R1", AxisTopology::R1}};

std::vector<std::string> axisKeys() {
    std::vector<std::string> keys = {"topology", "inverted", "top_speed", "moving_dac"};
    for (const NumberKey& key : AXIS_NUMBERS) {
        keys.emplace_back(key.name);
    }
    for (const MechParamRow& row : MECH_PARAMS) {
        keys.emplace_back(row.name);
    }
    return keys;
}

AxisTopology readTopology(const ConfigSection& section, const std::string& name,
                          AxisTopology standard) {
    const ConfigParam* param = section.findParam("topology");
    if (!param) {
        return standard;
    }
    const std::string text = param->value() ? param->value() : "";
    for (const TopologyName& topology : TOPOLOGIES) {
        if (text == topology.name) {
            return topology.value;
        }
    }
    fail("[" + name + "]: 'topology' is L1, L2 or R1");
}

void checkAxis(const AxisDescription& axis, const std::string& name) {
    const auto isInside = [&](std::uint32_t position) {
        return axis.low < position && position < axis.high;
    };
    const bool isRotary = axis.topology == AxisTopology::R1;
    if (axis.topSpeed <= 0 || axis.start == 0 || axis.reference == 0 || axis.revolution == 0) {
        fail("[" + name + "]: speed, positions and revolution must be above 0");
    }
    if (!isRotary && !(isInside(axis.start) && isInside(axis.reference))) {
        fail("[" + name + "]: 'start' and 'reference' lie between 'low' and 'high'");
    }
    if (axis.topology == AxisTopology::L2 && !isInside(axis.reference2)) {
        fail("[" + name + "]: 'reference2' lies between 'low' and 'high'");
    }
}

void readAxis(const ConfigSection& section, const std::string& name, AxisDescription& axis) {
    checkKeys(section, name, axisKeys());
    axis.topology = readTopology(section, name, axis.topology);
    axis.isInverted = readUnsigned(section, name, "inverted", axis.isInverted ? 1 : 0) != 0;
    for (const NumberKey& key : AXIS_NUMBERS) {
        axis.*key.field = readUnsigned(section, name, key.name, axis.*key.field);
    }
    axis.topSpeed = readNumber(section, name, "top_speed", axis.topSpeed);
    axis.movingDac = readUnsigned(section, name, "moving_dac", axis.movingDac);
    for (const MechParamRow& row : MECH_PARAMS) {
        if (section.findParam(row.name)) {
            axis.parameters[row.value] = motRaw(row, readNumber(section, name, row.name, 0));
        }
    }
    checkAxis(axis, name);
}

// Of at most 255, as the wire tells it in a byte.
unsigned readByte(const ConfigSection& section, const char* key, unsigned standard) {
    const std::string name = "simulator/mechanics";
    const std::uint32_t value = readUnsigned(section, name, key, standard);
    if (value > MAX_BYTE) {
        fail("[" + name + "]: '" + key + "' is at most 255");
    }
    return value;
}

void readGeneral(const ConfigSection& section, MechanicsDescription& result) {
    const std::string name = "simulator/mechanics";
    checkKeys(section, name,
              {"protocol", "max_moves", "log_lines", "search_step_ms", "block_ms", "upload_ms"});
    result.protocol = readUnsigned(section, name, "protocol", result.protocol);
    result.maxMoves = readByte(section, "max_moves", result.maxMoves);
    result.logLines = readByte(section, "log_lines", result.logLines);
    result.searchStepMs = readUnsigned(section, name, "search_step_ms", result.searchStepMs);
    result.blockMs = readUnsigned(section, name, "block_ms", result.blockMs);
    result.uploadMs = readUnsigned(section, name, "upload_ms", result.uploadMs);
    if (result.protocol == 0) {
        fail("[" + name + "]: 'protocol' is 1, or 2 and above");
    }
}

} // namespace

void describeMechanics(const Config& ini, MechanicsDescription& result) {
    if (const ConfigSection* section = ini.findSection("simulator/mechanics")) {
        readGeneral(*section, result);
    }
    for (std::size_t i = 0; i < MAX_AXES; ++i) {
        const std::string name = "simulator/axes/" + std::to_string(i);
        const ConfigSection* section = ini.findSection(name.c_str());
        if (!section) {
            break;
        }
        result.axes.emplace_back();
        readAxis(*section, name, result.axes.back());
    }
    if (result.axes.empty()) {
        result.axes.resize(STANDARD_AXES);
    }
}

} // namespace simulator
} // namespace fus
