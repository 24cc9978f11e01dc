#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace fus::tool {

struct Command;

/// A row of a command's table of options.
struct OptionRow {
    const char* name;  ///< "--export"
    const char* value; ///< what its value is called in the help; null if it takes none
    const char* help;  ///< lines, without the actions that take it
    /// The actions of its command that take it; none: all of them.
    std::vector<const char*> actions = {};
};

/// The command line of one command, taken apart by the command's own table.
///
/// "--name value" and "--name=value" are the same; a value that begins with "--" takes the second
/// form. Options may stand anywhere, each once; behind "--" everything is an operand.
class Arguments {
public:
    /// Throws UsageError for what the table doesn't hold, for another number of operands than the
    /// command takes, for an action that it doesn't have, and for an option that doesn't go with
    /// the action; all but the first not if `--help` is there.
    Arguments(const Command& command, const std::vector<std::string>& words);

    /// Whether an option was given. It must be in the table: else std::logic_error.
    bool has(const char* option) const;
    /// The value of an option, or `otherwise` if it wasn't given.
    std::string value(const char* option, const std::string& otherwise = "") const;
    /// The same as a whole number. Throws UsageError for anything else, or out of the range.
    unsigned number(const char* option, unsigned otherwise, unsigned least, unsigned most) const;
    /// The same as a decimal number.
    double decimal(const char* option, double otherwise, double least, double most) const;

    /// What isn't an option, in order.
    const std::vector<std::string>& operands() const { return m_operands; }
    const std::string& operand(std::size_t index) const { return m_operands.at(index); }

    /// The row whose `name` is the action that was asked for.
    template <class Row, std::size_t COUNT>
    const Row& actionOf(const Row (&rows)[COUNT]) const {
        for (const Row& row : rows) {
            if (operand(0) == row.name) {
                return row;
            }
        }
        throw std::logic_error("there is no action " + operand(0));
    }

private:
    void take(const std::vector<std::string>& words, std::size_t& position);
    void checkOperands() const;
    void checkAction() const;

    const Command& m_command;
    std::map<std::string, std::string> m_values;
    std::vector<std::string> m_operands;
};

/// "read, set or clear"
std::string listed(const std::vector<const char*>& words, const char* conjunction);

/// A whole number in decimal digits and nothing else. Throws UsageError, which begins with `what`.
unsigned parseNumber(const std::string& what, const std::string& text, unsigned least,
                     unsigned most);

/// Where a generator is.
struct Address {
    std::string host;
    unsigned short port = 0;

    /// "10.0.0.2:1670"
    std::string text() const;
};

/// Reads "HOST" or "HOST:PORT"; without a port it is 1670. The host is a name or an IPv4 address.
/// Throws UsageError.
Address parseAddress(const std::string& text);

} // namespace fus::tool
