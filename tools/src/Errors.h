#pragma once

#include <stdexcept>

namespace fus::tool {

/// The exit codes of every sub-command.
enum ExitCode : int {
    EXIT_YES = 0,      ///< done, or: yes, it is so
    EXIT_NO = 1,       ///< it couldn't be done, or: no, it isn't so
    EXIT_WRONG_USE = 2 ///< the command line can't be understood
};

/// The command line is wrong: ends with EXIT_WRONG_USE. what() is a line for the user.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What was asked for can't be done: ends with EXIT_NO. what() is a text for the user.
class ToolError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace fus::tool
