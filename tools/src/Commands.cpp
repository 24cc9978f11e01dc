// The table of sub-commands: whatever fus-tool understands stands here.

#include "Commands.h"

namespace fus::tool {

namespace {

using Options = std::vector<OptionRow>;

/// Options of a command, and those that all commands have behind them.
Options withCommon(Options options) {
    options.insert(
        options.end(),
        {{"--log", "LEVEL", "the library's log to standard error: error, info, verbose or debug"},
         {"--log-file", "FILE", "the library's log to the end of a file, at level info by default"},
         {"--help", nullptr, "print this and end"}});
    return options;
}

/// And for a command that connects.
Options withLink(Options options) {
    options.push_back(
        {"--timeout", "MS", "how long to wait for the generator, each time (4000 milliseconds)"});
    return withCommon(std::move(options));
}

} // namespace

const std::vector<Command>& commands() {
    static const std::vector<Command> TABLE = {
        {"info", "what is connected: boards, versions, measures, limits", "HOST[:PORT]", 1, 1,
         "Connects to a generator, and tells what it is made of. Nothing is changed.\n",
         withLink({{"--all", nullptr, "a line for each board, with its unique id and CRC"},
                   {"--json", nullptr, "print JSON"},
                   {"--ini", "FILE",
                    "write the text by which the generator describes itself;\n"
                    "fus-simulator --description FILE simulates it"}}),
         runInfo},
        {"check", "what is wrong in definitions, and whether they fit what is connected", "FILE...",
         1, static_cast<std::size_t>(-1),
         "Says line by line what is wrong in definitions of a generator or a mechanical system, "
         "also\n"
         "what loads without a word, and how their checksums stand. With --host, also what is\n"
         "connected otherwise than they say: that is asked for alone, and nothing is changed.\n",
         withLink({{"--strict", nullptr, "warnings make the answer a no, too"},
                   {"--kind", "generator|mechanics",
                    "what the files define, where their sections don't tell"},
                   {"--host", "HOST[:PORT]", "compare with what is connected there"},
                   {"--json", nullptr, "print JSON"}}),
         runCheck},
        {"checksum", "whether definition files hold their checksums; fresh checksums",
         "verify|update|validate FILE...", 2, static_cast<std::size_t>(-1),
         "verify    tells whether each file has the content that its checksum was made of\n"
         "update    writes the right checksum into each file whose checksum isn't right\n"
         "validate  tells whether each file is in form, with a checksum, right or not\n",
         withCommon(
             {{"--any-format", nullptr, "verify: a checksum before the first section is good, too"},
              {"--force", nullptr, "update: write files whose checksum is right, too"},
              {"--format", "header|file",
               "validate: the checksum must stand before the first section,\n"
               "or in the section [File]"},
              {"--eol", "linux|mac|dos", "validate: the line ends must be these"},
              {"--json", nullptr, "print JSON"}}),
         runChecksum},
    };
    return TABLE;
}

} // namespace fus::tool
