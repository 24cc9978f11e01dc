#include "fussim/CommandLine.h"

#include "Refusal.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

namespace fus {
namespace simulator {

namespace {

struct OptionRow {
    const char* name;
    const char* value; // null if it takes none
    const char* help;
    void (*apply)(CommandLine&, const std::string&);
};

std::uint64_t readNumber(const std::string& text, std::uint64_t highest) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || text[0] < '0' || text[0] > '9' || *end != '\0' || errno != 0 ||
        value > highest) {
        throw UsageError(formatted("'%s' isn't a number from 0 to %llu", text.c_str(),
                                   static_cast<unsigned long long>(highest)));
    }
    return value;
}

double readScale(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value) || value < 0 || value > 1000) {
        throw UsageError("'" + text + "' isn't a number from 0 to 1000");
    }
    return value;
}

constexpr OptionRow OPTION_ROWS[] = {
    {"--help", nullptr, "print this and end",
     [](CommandLine& line, const std::string&) { line.help = true; }},
    {"--host", "ADDRESS", "IPv4 address to listen on (127.0.0.1)",
     [](CommandLine& line, const std::string& value) { line.options.host = value; }},
    {"--port", "N", "port to listen on, 0 takes a free one (1670)",
     [](CommandLine& line, const std::string& value) {
         line.options.port = static_cast<std::uint16_t>(readNumber(value, 65535));
     }},
    {"--description", "FILE", "what to simulate (a 3.1 generator of 256 channels)",
     [](CommandLine& line, const std::string& value) { line.descriptionFile = value; }},
    {"--time-scale", "F", "seconds for a simulated second, 0: as fast as it can (1)",
     [](CommandLine& line, const std::string& value) {
         line.options.timeScale = readScale(value);
     }},
    {"--seed", "N", "of the noise in the measures (1)",
     [](CommandLine& line, const std::string& value) {
         line.options.seed = readNumber(value, ~std::uint64_t{0});
     }},
    {"--trigger-every", "MS", "a pulse on the trigger input every so many milliseconds",
     [](CommandLine& line, const std::string& value) {
         line.options.triggerEveryMs = static_cast<unsigned>(readNumber(value, 86400000));
     }},
    {"--fault", "KIND[:KEY=VALUE,...]", "misbehave; may be repeated",
     [](CommandLine& line, const std::string& value) {
         line.options.faults.push_back(Fault::parse(value));
     }},
    {"--verbose", nullptr, "say on standard error what happens",
     [](CommandLine& line, const std::string&) { line.verbose = true; }},
};

constexpr std::uint16_t USUAL_PORT = 1670;

const OptionRow& findOption(const std::string& name) {
    for (const OptionRow& row : OPTION_ROWS) {
        if (name == row.name) {
            return row;
        }
    }
    throw UsageError("unknown option '" + name + "'");
}

// "--port 0" and "--port=0" are the same.
void parseOne(const std::vector<std::string>& arguments, std::size_t& position, CommandLine& line) {
    const std::string& argument = arguments[position++];
    const std::size_t equals = argument.find('=');
    const OptionRow& row = findOption(argument.substr(0, equals));
    std::string value;
    if (equals != std::string::npos) {
        value = argument.substr(equals + 1);
    } else if (row.value && position < arguments.size()) {
        value = arguments[position++];
    } else if (row.value) {
        throw UsageError(std::string(row.name) + " needs a value");
    }
    if (!row.value && equals != std::string::npos) {
        throw UsageError(std::string(row.name) + " takes no value");
    }
    try {
        row.apply(line, value);
    } catch (const std::runtime_error& error) {
        throw UsageError(std::string(row.name) + ": " + error.what());
    }
}

} // namespace

CommandLine CommandLine::parse(const std::vector<std::string>& arguments) {
    CommandLine line;
    line.options.port = USUAL_PORT;
    for (std::size_t position = 0; position < arguments.size();) {
        parseOne(arguments, position, line);
    }
    return line;
}

std::string CommandLine::helpText() {
    std::string text = "usage: fus-simulator [OPTION...]\n"
                       "Stands in for an ultrasound generator, for one client at a time.\n\n";
    for (const OptionRow& row : OPTION_ROWS) {
        const std::string name =
            std::string(row.name) + (row.value ? " " : "") + (row.value ? row.value : "");
        text += formatted("  %-30s %s\n", name.c_str(), row.help);
    }
    text +=
        "\nFaults, with the keys that each of them needs and, in brackets, those that it takes. A "
        "type is"
        "\na number or a name such as CMD_TRAJ_EXEC_V3 or ANSWER_EXEC_ASYNC; nth counts from 1, "
        "without"
        "\nit each one is struck; execution and shot count from 0; board is a board command such as"
        "\nCMD_BOARD_CRC_DATE, mech one of the mechanical board; hwid is 10 (processor), 11 "
        "(synthesizer),"
        "\n12 (amplifier) or 15 (mechanics).\n";
    return text + Fault::help();
}

} // namespace simulator
} // namespace fus
