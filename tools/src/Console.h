#pragma once

#include "fus/SysInfos.h"

#include <functional>
#include <istream>
#include <ostream>

namespace fus::tool {

/// Where a command reads and writes. Tests give streams of their own and run commands in process.
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;

    /// Whether `out` is a terminal that understands control sequences.
    bool isTerminal = false;
    /// Asked whenever something is drawn; a size of 0 isn't known. Null where there is no terminal.
    std::function<sysinfos::TerminalSize()> terminalSize;
};

} // namespace fus::tool
