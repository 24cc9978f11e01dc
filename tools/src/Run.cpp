// From the words of a command line to the exit code.

#include "Commands.h"
#include "Errors.h"
#include "LibraryLog.h"
#include "Text.h"

#include "fus/FUSException.h"
#include "fus/Utilities.h"

#include <exception>

namespace fus::tool {

namespace {

constexpr const char* PROGRAM = "fus-tool";

bool isHelp(const std::string& word) {
    return word == "help" || word == "--help" || word == "-h";
}

void printOverview(std::ostream& out) {
    out << "usage: " << PROGRAM << " COMMAND ...\n"
        << "Looks at a generator and its files, from the rack.\n\n";
    Table table;
    for (const Command& command : commands()) {
        table.add({command.name, command.summary});
    }
    table.add({"help", "this; help COMMAND tells more, as COMMAND --help does"});
    table.add({"version", "which library this is made of"});
    table.print(out, 2);
    out << "\nExit code: 0 done or yes, 1 not done or no, 2 wrong use.\n";
}

void printHelp(const Command& command, std::ostream& out) {
    out << "usage: " << PROGRAM << ' ' << command.name << ' ' << command.usage << " [OPTION...]\n"
        << command.details << '\n';
    Table table;
    for (const OptionRow& option : command.options) {
        std::string name = option.name + (option.value ? std::string(" ") + option.value : "");
        std::string help = option.help;
        if (!option.actions.empty()) {
            help.insert(0, listed(option.actions, "and") + ": ");
        }
        for (std::size_t end = help.find('\n'); end != std::string::npos; end = help.find('\n')) {
            table.add({name, help.substr(0, end)});
            name.clear();
            help.erase(0, end + 1);
        }
        table.add({name, help});
    }
    table.print(out, 2);
}

const Command& findCommand(const std::string& name) {
    for (const Command& command : commands()) {
        if (name == command.name) {
            return command;
        }
    }
    throw UsageError("unknown command '" + printable(name) + "'");
}

int runHelp(const std::vector<std::string>& words, Console& console) {
    if (words.size() > 2) {
        throw UsageError("help takes one command");
    }
    if (words.size() == 2) {
        printHelp(findCommand(words[1]), console.out);
    } else {
        printOverview(console.out);
    }
    return EXIT_YES;
}

int runCommand(const Command& command, const std::vector<std::string>& words, Console& console) {
    const Arguments arguments(command, words);
    if (arguments.has("--help")) {
        printHelp(command, console.out);
        return EXIT_YES;
    }
    const LibraryLog log(arguments);
    return command.run(arguments, console);
}

int dispatch(const std::vector<std::string>& words, Console& console) {
    if (words.empty()) {
        printOverview(console.err);
        return EXIT_WRONG_USE;
    }
    if (isHelp(words[0])) {
        return runHelp(words, console);
    }
    if (words[0] == "version" || words[0] == "--version") {
        console.out << PROGRAM << ' ' << buildVersion() << " (" << buildRevision() << ", "
                    << buildDate() << ")\n";
        return EXIT_YES;
    }
    return runCommand(findCommand(words[0]), {words.begin() + 1, words.end()}, console);
}

/// "fus-tool info", or the program alone while no command is known.
std::string speaker(const std::vector<std::string>& words) {
    for (const Command& command : commands()) {
        if (!words.empty() && words[0] == command.name) {
            return std::string(PROGRAM) + ' ' + command.name;
        }
    }
    return PROGRAM;
}

int fail(const std::vector<std::string>& words, Console& console, int code,
         const std::string& text) {
    console.out.flush(); // what was told before stays in front
    const std::string name = speaker(words);
    console.err << name << ": " << text << '\n';
    if (code == EXIT_WRONG_USE) {
        console.err << "Try '" << name << " --help'.\n";
    }
    console.err.flush();
    return code;
}

} // namespace

int run(const std::vector<std::string>& words, Console& console) {
    try {
        const int code = dispatch(words, console);
        if (!console.out.flush()) {
            throw ToolError("standard output can't be written");
        }
        return code;
    } catch (const UsageError& error) {
        return fail(words, console, EXIT_WRONG_USE, error.what());
    } catch (const FUSException& error) {
        return fail(words, console, EXIT_NO, error.message());
    } catch (const std::exception& error) {
        return fail(words, console, EXIT_NO, error.what());
    }
}

} // namespace fus::tool
