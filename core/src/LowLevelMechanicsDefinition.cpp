// The mechanical definition: reading it, sharing it, forgetting it.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <fstream>
#include <numeric>
#include <sstream>
#include <string>
#include <utility>

namespace fus {

namespace {

constexpr int NO_VERSION = -1;
constexpr int FORMAT_VERSION = 1;
constexpr unsigned AXIS_COUNT = 5;
constexpr unsigned BYTE_MAX = 255;

unsigned count(std::size_t size) {
    return static_cast<unsigned>(size);
}

bool parse(std::istream& stream, Config& config) {
    try {
        config.read(stream);
        return true;
    } catch (const FUSException& e) {
        FUS_LOG(ERROR, "Configuration parse error: %s (%s@%d)", e.message(), e.sourceFile(),
                static_cast<int>(e.line()));
        return false;
    }
}

bool checkFile(const Config& config) {
    const ConfigSection* const file = config.findSection("File");
    if (file == nullptr) {
        FUS_LOG(ERROR, "Missing section : [File]");
        return false;
    }
    const int version = file->getInt("version", NO_VERSION);
    if (version == NO_VERSION) {
        FUS_LOG(ERROR, "Missing file version, please update!");
    } else if (version != FORMAT_VERSION) {
        FUS_LOG(ERROR, "Unknown file format (version=%d), trying anyway...", version);
    }
    return true;
}

std::vector<std::uint32_t> listedOrder(const Config& config) {
    std::vector<std::uint32_t> order;
    if (const ConfigSection* const global = config.findSection("Global")) {
        global->getUnsigneds("initOrder", order);
    }
    return order;
}

/// What the list names and there is; all actuators if that is nothing.
std::vector<unsigned> initOrder(const std::vector<std::uint32_t>& listed, std::size_t actuators) {
    std::vector<unsigned> order;
    for (const std::uint32_t index : listed) {
        if (index >= actuators) {
            FUS_LOG(ERROR, "Invalid axis identifier in [Global].initOrder (%u), ignored.", index);
        } else if (std::find(order.begin(), order.end(), index) != order.end()) {
            FUS_LOG(ERROR, "Duplicate axis identifier in [Global].initOrder (%u), ignored.", index);
        } else {
            order.push_back(index);
        }
    }
    if (order.empty()) {
        order.resize(actuators);
        std::iota(order.begin(), order.end(), 0U);
    }
    return order;
}

} // namespace

const MechanicalActuator& MechanicalDefinition::at(unsigned index) const {
    if (index > BYTE_MAX) {
        FUS_THROW_INDEX("actuator index (bad cast)", index, actuators.size());
    }
    if (index >= actuators.size()) {
        FUS_THROW_INDEX("actuator index", index, actuators.size());
    }
    return *actuators[index];
}

OriginParams& MechanicalDefinition::originParams(unsigned index) const {
    return at(index).originParameters();
}

OriginParams* MechanicalDefinition::findOriginParams(unsigned index) const {
    return index < actuators.size() ? &actuators[index]->originParameters() : nullptr;
}

void MechanicalDefinition::clearOrigins() const {
    for (const auto& actuator : actuators) {
        actuator->clearOrigin();
    }
}

bool LowLevelMechanicsPrivate::loadDefinition(const char* filename) {
    if (filename == nullptr || *filename == '\0') {
        clearDefinition();
        return false;
    }
    FUS_LOG(INFO, "Loading mechanical definition from '%s'", filename);
    std::ifstream stream(filename, std::ios::binary);
    // a file that isn't there doesn't get this far: it is found out when the stream is read
    if (stream.bad()) {
        FUS_LOG(ERROR, "Can not open '%s'", filename);
        clearDefinition();
        return false;
    }
    return loadFromStream(stream);
}

bool LowLevelMechanicsPrivate::loadDefinitionString(const char* text) {
    if (text == nullptr || *text == '\0') {
        clearDefinition();
        return false;
    }
    std::istringstream stream{std::string(text)};
    return loadFromStream(stream);
}

bool LowLevelMechanicsPrivate::loadFromStream(std::istream& stream) {
    FUS_LOG(VERBOSE, "Loading mechanical definition from stream");
    clearDefinition();
    auto definition = std::make_shared<MechanicalDefinition>();
    if (!readDefinition(stream, *definition)) {
        return false;
    }
    setDefinition(std::move(definition), true);
    return true;
}

bool LowLevelMechanicsPrivate::readDefinition(std::istream& stream,
                                              MechanicalDefinition& definition) {
    Config config;
    if (!parse(stream, config) || !checkFile(config)) {
        return false;
    }
    const std::vector<std::uint32_t> listed = listedOrder(config);
    if (!readActuators(config, definition)) {
        clearDefinition();
        return false;
    }
    FUS_LOG(INFO, "  %u actuators loaded", count(definition.actuators.size()));
    definition.initOrder = initOrder(listed, definition.actuators.size());
    return true;
}

bool LowLevelMechanicsPrivate::readActuators(const ConfigSection& root,
                                             MechanicalDefinition& definition) {
    for (unsigned axis = 0; axis < AXIS_COUNT; ++axis) {
        const std::string name = "Axis" + std::to_string(axis);
        const ConfigSection* const section = root.findSection(name.c_str());
        if (section == nullptr) {
            continue;
        }
        std::unique_ptr<MechanicalActuator> actuator(new MechanicalActuator(axis));
        if (!actuator->init(*section)) {
            FUS_LOG(ERROR, "Failed to init actuator from section [%s]", name.c_str());
            return false;
        }
        FUS_LOG(INFO, "  - id: %u, name: %s, type: %s, range [%d, %d]", actuator->address(),
                actuator->name(), actuator->motionName(), actuator->lowerBound(),
                actuator->upperBound());
        definition.actuators.push_back(std::move(actuator));
    }
    return true;
}

void LowLevelMechanicsPrivate::clearDefinition() {
    FUS_LOG(INFO, "Clearing mechanical definition");
    setDefinition(std::make_shared<const MechanicalDefinition>(), false);
}

} // namespace fus
