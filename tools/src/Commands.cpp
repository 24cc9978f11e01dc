// The table of sub-commands: whatever fus-tool understands stands here.

#include "Commands.h"

namespace fus::tool {

namespace {

constexpr std::size_t ANY_NUMBER = ~std::size_t{0};

using Options = std::vector<OptionRow>;

/// Options of a command, and those that all commands have behind them.
Options withCommon(Options options) {
    options.insert(options.end(),
                   {{"--log", "LEVEL", "log to standard error: error, info, verbose or\ndebug"},
                    {"--log-file", "FILE", "log to the end of a file (at level info)"},
                    {"--help", nullptr, "print this and end"}});
    return options;
}

/// And for a command that connects.
Options withLink(Options options) {
    options.push_back({"--timeout", "MS", "milliseconds to wait for each answer (4000)"});
    return withCommon(std::move(options));
}

} // namespace

const std::vector<Command>& commands() {
    static const std::vector<Command> table = {
        {"info",
         "what is connected: boards, versions, measures, limits",
         "HOST[:PORT]",
         1,
         1,
         "Connects to a generator, and tells what it is made of. Nothing is changed, but\n"
         "a trajectory that still runs ends when the tool disconnects.\n",
         {},
         withLink({{"--all", nullptr, "a line for each board, with its unique id and firmware"},
                   {"--json", nullptr, "print JSON"},
                   {"--export", "FILE", "write the library's own document, in the manner of JSON"},
                   {"--ini", "FILE",
                    "write the text by which the generator describes itself;\n"
                    "fus-simulator --description FILE simulates it"}}),
         runInfo},
        {"monitor",
         "temperatures, currents, supplies and board states, again and again",
         "HOST[:PORT]",
         1,
         1,
         "Reads all sensors once a second and shows them beside their thresholds, until\n"
         "Ctrl-C. Where the output is no terminal, each reading is one line. Nothing is\n"
         "changed, but a trajectory that still runs ends when the tool disconnects. Exit\n"
         "code 1 if the link is lost or the generator doesn't answer any more.\n",
         {},
         withLink({{"--interval", "S", "seconds from reading to reading, 0.1 to 86400 (1)"},
                   {"--count", "N", "end after so many readings"},
                   {"--json", nullptr, "print a JSON object for each reading, one to a line"}}),
         runMonitor},
        {"backpanel",
         "which channels of the boards are in use: read, set, clear",
         "read|set|clear HOST[:PORT]",
         2,
         2,
         "read   draws what is in RAM, which is in use, and in FLASH, for every start\n"
         "set    sets it: shows what is and what will be, asks, sets, and reads back\n"
         "clear  clears the FLASH: asks first, too\n"
         "A mask is 0 or 1 for each channel, with - between slots if you like.\n"
         "A trajectory that still runs ends when the tool disconnects.\n",
         {"read", "set", "clear"},
         withLink({{"--source", "ram|flash|both", "what to read (both)", {"read"}},
                   {"--json", nullptr, "print JSON", {"read"}},
                   {"--snt", "MASK", "the channels of the synthesizer boards", {"set"}},
                   {"--amp", "MASK", "the channels of the amplifier boards", {"set"}},
                   {"--definition", "FILE", "take masks and target from a definition", {"set"}},
                   {"--target", "ram|both", "what to set: RAM, or RAM and FLASH (ram)", {"set"}},
                   {"--yes", nullptr, "don't ask", {"set", "clear"}}}),
         runBackPanel},
        {"check",
         "what is wrong in definitions, and connected otherwise",
         "FILE...",
         1,
         ANY_NUMBER,
         "Says line by line what is wrong in definitions of a generator or a mechanical\n"
         "system, also what loads without a word, and how their checksums stand. With\n"
         "--host, also what is connected otherwise than they say. Nothing is changed.\n",
         {},
         withLink({{"--strict", nullptr, "warnings make the answer a no, too"},
                   {"--kind", "generator|mechanics",
                    "what the files define, where their sections\ndon't tell"},
                   {"--host", "HOST[:PORT]", "compare with what is connected there"},
                   {"--json", nullptr, "print JSON"}}),
         runCheck},
        {"checksum",
         "whether definition files hold their checksums; fresh checksums",
         "verify|update|validate FILE...",
         2,
         ANY_NUMBER,
         "verify    tells whether each file has the content that its checksum was made of\n"
         "update    writes the right checksum into each file whose checksum isn't right\n"
         "validate  tells whether each file is in form, with a checksum, right or not\n",
         {"verify", "update", "validate"},
         withCommon(
             {{"--any-format", nullptr, "one before the first section is good, too", {"verify"}},
              {"--force", nullptr, "write files whose checksum is right, too", {"update"}},
              {"--format",
               "header|file",
               "it must stand before the first section,\n"
               "or in the section [File]",
               {"validate"}},
              {"--eol", "linux|mac|dos", "the line ends must be these", {"validate"}},
              {"--json", nullptr, "print JSON"}}),
         runChecksum},
    };
    return table;
}

} // namespace fus::tool
