// Any bytes as an INI text: reading ends in a tree or in ERR_CONFIG_PARSE, and every getter stands
// whatever the values hold. The first line of the text doubles as a path.

#include "fus/FUSException.h"
#include "fus/Log.h"
#include "fus/P_Config.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace {

void askForEverything(const fus::ConfigSection& section, const char* path) {
    std::vector<int32_t> ints;
    std::vector<uint32_t> unsigneds;
    std::vector<float> floats;
    section.getBool(path, false);
    section.getInt(path, 0);
    section.getUnsigned(path, 0);
    section.getFloat(path, 0);
    section.getString(path, "");
    section.getInts(path, ints);
    section.getUnsigneds(path, unsigneds);
    section.getFloats(path, floats);
    section.findSection(path);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fus::Log::getInstance().setLevel(fus::Log::NONE);
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::istringstream stream(text);
    fus::Config config;
    try {
        config.read(stream);
    } catch (const fus::FUSException&) {
        // Refused; what was read so far must stand all the same.
    }
    const std::string path = text.substr(0, text.find('\n'));
    std::vector<const fus::ConfigSection*> sections{&config};
    while (!sections.empty()) {
        const fus::ConfigSection* section = sections.back();
        sections.pop_back();
        askForEverything(*section, path.c_str());
        for (const fus::ConfigParam& param : section->params()) {
            askForEverything(*section, param.name());
        }
        for (const auto& child : section->sections()) {
            sections.push_back(child.get());
        }
    }
    config.createSection(path.c_str());
    return 0;
}
