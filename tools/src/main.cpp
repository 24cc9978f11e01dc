// fus-tool: looks at a generator and its files, for the person at the rack.

#include "Commands.h"

#include "fus/FUS.h"

#include <csignal>
#include <iostream>

int main(int argc, char** argv) {
    using namespace fus;
#ifdef SIGPIPE // a reader that has gone is a failed write, which is told at the end
    std::signal(SIGPIPE, SIG_IGN);
#endif
    tool::Console console{std::cin, std::cout, std::cerr, sysinfos::isStdoutTerminal(),
                          &sysinfos::stdoutTerminalSize};
    const int code = tool::run({argv + 1, argv + argc}, console);
    FUS::exit();
    return code;
}
