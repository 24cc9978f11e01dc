#pragma once

#include "fussim/Simulator.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace fus {
namespace simulator {

// An option that can't be understood, or a file that can't be used; what() is a line for the user.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct CommandLine {
    bool help = false;
    bool verbose = false;
    std::string descriptionFile; // empty: the one that is built in
    Options options;

    // Throws UsageError. The arguments come without the program's name.
    static CommandLine parse(const std::vector<std::string>& arguments);
    static std::string helpText();
};

} // namespace simulator
} // namespace fus
