// The mechanical definition: loading it, and forgetting it.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"

#include <fstream>
#include <sstream>
#include <string>
#include <utility>

namespace fus {

namespace {

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

} // namespace

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
    Config config;
    if (!parse(stream, config) || !MechanicalDefinition::checkFile(config, nullptr)) {
        return false;
    }
    auto definition = std::make_shared<MechanicalDefinition>();
    if (!definition->read(config, nullptr)) {
        clearDefinition();
        return false;
    }
    setDefinition(std::move(definition), true);
    return true;
}

void LowLevelMechanicsPrivate::clearDefinition() {
    FUS_LOG(INFO, "Clearing mechanical definition");
    setDefinition(std::make_shared<const MechanicalDefinition>(), false);
}

} // namespace fus
