#include "Arguments.h"

#include "Commands.h"
#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace fus::tool {

namespace {

constexpr unsigned short USUAL_PORT = 1670;
constexpr unsigned MOST_PORT = 65535;

bool isOption(const std::string& word) {
    return word.size() > 1 && word[0] == '-';
}

const OptionRow* find(const std::vector<OptionRow>& rows, const std::string& name) {
    for (const OptionRow& row : rows) {
        if (name == row.name) {
            return &row;
        }
    }
    return nullptr;
}

bool contains(const std::vector<const char*>& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

} // namespace

Arguments::Arguments(const Command& command, const std::vector<std::string>& words)
    : m_command(command) {
    for (std::size_t position = 0; position < words.size();) {
        if (words[position] == "--") {
            m_operands.insert(m_operands.end(), words.begin() + static_cast<long>(position) + 1,
                              words.end());
            break;
        }
        if (isOption(words[position])) {
            take(words, position);
        } else {
            m_operands.push_back(words[position++]);
        }
    }
    if (!has("--help")) {
        checkOperands();
        checkAction();
    }
}

void Arguments::take(const std::vector<std::string>& words, std::size_t& position) {
    const std::string& word = words[position++];
    const std::size_t equals = word.find('=');
    const std::string name = word == "-h" ? "--help" : word.substr(0, equals);
    const OptionRow* const known = find(m_command.options, name);
    if (known == nullptr) {
        throw UsageError("unknown option '" + printable(name) + "'");
    }
    const bool takesValue = known->value != nullptr;
    if (m_values.count(name) != 0) {
        throw UsageError(name + " is given twice");
    }
    if (!takesValue && equals != std::string::npos) {
        throw UsageError(name + " takes no value");
    }
    std::string value;
    if (equals != std::string::npos) {
        value = word.substr(equals + 1);
    } else if (takesValue && position < words.size() && words[position].compare(0, 2, "--") != 0) {
        value = words[position++];
    }
    if (takesValue && value.empty()) {
        throw UsageError(name + " needs a value: " + name + ' ' + known->value);
    }
    m_values[name] = value;
}

void Arguments::checkOperands() const {
    if (m_operands.size() < m_command.leastOperands) {
        throw UsageError(std::string("something is missing: ") + m_command.usage);
    }
    if (m_operands.size() > m_command.mostOperands) {
        throw UsageError("'" + printable(m_operands[m_command.mostOperands]) + "' is too much");
    }
}

void Arguments::checkAction() const {
    if (m_command.actions.empty()) {
        return;
    }
    const std::string& action = m_operands.front();
    if (!contains(m_command.actions, action)) {
        throw UsageError("'" + printable(action) + "' isn't " + listed(m_command.actions, "or"));
    }
    for (const OptionRow& option : m_command.options) {
        if (has(option.name) && !option.actions.empty() && !contains(option.actions, action)) {
            throw UsageError(std::string(option.name) + " goes with " +
                             listed(option.actions, "and") + ", not with " + action);
        }
    }
}

bool Arguments::has(const char* option) const {
    if (find(m_command.options, option) == nullptr) {
        throw std::logic_error(std::string(option) + " isn't in the table of options");
    }
    return m_values.count(option) != 0;
}

std::string Arguments::value(const char* option, const std::string& otherwise) const {
    return has(option) ? m_values.at(option) : otherwise;
}

unsigned Arguments::number(const char* option, unsigned otherwise, unsigned least,
                           unsigned most) const {
    return has(option) ? parseNumber(option, m_values.at(option), least, most) : otherwise;
}

double Arguments::decimal(const char* option, double otherwise, double least, double most) const {
    if (!has(option)) {
        return otherwise;
    }
    const std::string& text = m_values.at(option);
    double value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size() || !(value >= least) ||
        !(value <= most)) {
        throw UsageError(formatted("%s: '%s' isn't a number from %g to %g", option,
                                   printable(text).c_str(), least, most));
    }
    return value;
}

std::string listed(const std::vector<const char*>& words, const char* conjunction) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (i > 0) {
            text += i + 1 < words.size() ? ", " : std::string(" ") + conjunction + ' ';
        }
        text += words[i];
    }
    return text;
}

unsigned parseNumber(const std::string& what, const std::string& text, unsigned least,
                     unsigned most) {
    unsigned value = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), value);
    if (end.ec != std::errc() || end.ptr != text.data() + text.size() || value < least ||
        value > most) {
        throw UsageError(formatted("%s: '%s' isn't a whole number from %u to %u", what.c_str(),
                                   printable(text).c_str(), least, most));
    }
    return value;
}

std::string Address::text() const {
    return host + ':' + std::to_string(port);
}

Address parseAddress(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string host = text.substr(0, colon);
    const std::string quoted = '\'' + printable(text) + '\'';
    if (host.empty() || host.find_first_of(" \t/") != std::string::npos) {
        throw UsageError(quoted + " names no host: HOST or HOST:PORT is expected");
    }
    if (colon == std::string::npos) {
        return {host, USUAL_PORT};
    }
    const std::string port = text.substr(colon + 1);
    if (port.empty()) {
        throw UsageError(quoted + " has no port behind its colon");
    }
    if (port.find(':') != std::string::npos) {
        throw UsageError(quoted +
                         " has more than one colon: a name or an IPv4 address is expected");
    }
    return {host, static_cast<unsigned short>(parseNumber("port", port, 1, MOST_PORT))};
}

} // namespace fus::tool
