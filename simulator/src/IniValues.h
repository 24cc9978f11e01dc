// Values of the simulator's own sections; whatever is wrong with them is a DescriptionError.
#pragma once

#include "fus/P_Config.h"

#include <cstdint>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

[[noreturn]] void fail(const std::string& text);

// Keys that the simulator doesn't know are mistakes in its own sections: there is nobody else whom
// they could be for.
void checkKeys(const ConfigSection& section, const std::string& name,
               const std::vector<std::string>& known);

// `name` is the section's, for the error. A missing key gives `standard`.
double readNumber(const ConfigSection& section, const std::string& name, const char* key,
                  double standard);
std::uint32_t readUnsigned(const ConfigSection& section, const std::string& name, const char* key,
                           std::uint32_t standard);
// Decimal, or with the prefix 0x.
std::uint64_t readInteger(const ConfigParam& param, const std::string& name);
// Separated by "|"; none if the key is missing.
std::vector<double> readNumbers(const ConfigSection& section, const std::string& name,
                                const char* key);

} // namespace simulator
} // namespace fus
