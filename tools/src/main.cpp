// fus-tool: looks at a generator and its files, for the person at the rack.

#include "Commands.h"

#include "fus/FUS.h"

#include <iostream>

int main(int argc, char** argv) {
    using namespace fus;
    tool::Console console{std::cin, std::cout, std::cerr, sysinfos::isStdoutTerminal(),
                          &sysinfos::stdoutTerminalSize};
    const int code = tool::run({argv + 1, argv + argc}, console);
    FUS::exit();
    return code;
}
