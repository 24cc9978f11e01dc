#pragma once

#include "Arguments.h"
#include "Console.h"

#include <cstddef>
#include <string>
#include <vector>

namespace fus::tool {

/// A sub-command of fus-tool: its row in the table of Commands.cpp, and one function in a source of
/// its own. To add one: a row, a function declared below, XCommand.cpp.
struct Command {
    const char* name;
    const char* summary; ///< one line for the list
    const char* usage;   ///< the operands: "HOST[:PORT]"
    std::size_t leastOperands;
    std::size_t mostOperands;
    const char* details; ///< what its help says in front of the options, whole lines
    /// What the first operand must be one of; none: it is like the others.
    std::vector<const char*> actions;
    std::vector<OptionRow> options;
    /// Gives an ExitCode. It may throw UsageError, ToolError and FUSException.
    int (*run)(const Arguments& arguments, Console& console);
};

/// The table.
const std::vector<Command>& commands();

/// Runs a command line, without the program's name in front. Gives an ExitCode; throws nothing.
/// What was wrong is one line in `console.err`.
int run(const std::vector<std::string>& words, Console& console);

// The sub-commands.
int runInfo(const Arguments& arguments, Console& console);
int runBackPanel(const Arguments& arguments, Console& console);
int runMonitor(const Arguments& arguments, Console& console);
int runCheck(const Arguments& arguments, Console& console);
int runChecksum(const Arguments& arguments, Console& console);

} // namespace fus::tool
