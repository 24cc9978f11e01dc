#include "IniValues.h"

#include "fussim/Description.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>

namespace fus {
namespace simulator {

void fail(const std::string& text) {
    throw DescriptionError(text);
}

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

std::uint64_t readInteger(const ConfigParam& param, const std::string& name) {
    const std::string text = param.value() ? param.value() : "";
    char* end = nullptr;
    const std::uint64_t value = std::strtoull(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || text[0] == '-') {
        fail("[" + name + "]: '" + param.name() + "' isn't an unsigned integer");
    }
    return value;
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

} // namespace simulator
} // namespace fus
