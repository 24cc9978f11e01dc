// fus-tool backpanel: which channels of the boards are in use.

#include "Attempt.h"
#include "Commands.h"
#include "Errors.h"
#include "JsonWriter.h"
#include "LibraryLog.h"
#include "Link.h"
#include "Text.h"
#include "Wiring.h"

#include "fus/DefinitionCheck.h"
#include "fus/FUSException.h"
#include "fus/Generator.h"

#include <functional>
#include <string>
#include <vector>

namespace fus::tool {

using gprotocol::BackPanelStorage;

namespace {

/// Protocol generations that have no back panel to configure are refused before anything else.
const Version FIRST_WITH_BACK_PANEL(3, 1, 0, 0);

void requireBackPanel(const Link& link) {
    const Version version = link.fus().getProtocolVersion();
    if (version < FIRST_WITH_BACK_PANEL) {
        throw ToolError("the generator has protocol " + version.toString() +
                        ", and the back panel can be configured since 3.1");
    }
}

int overBackPanel(const Arguments& arguments, const std::function<int(Link& link)>& action) {
    return overLink(arguments, arguments.operand(1), [&](Link& link) {
        requireBackPanel(link);
        return action(link);
    });
}

Wiring readWiring(const Link& link, BackPanelStorage source) {
    Wiring wiring;
    link.fus().readBackPanelConfiguration(wiring.snt, wiring.amp, source);
    return wiring;
}

/// A line of the user's own, "yes" and nothing else; the end of the input is a no.
bool confirms(const Arguments& arguments, Console& console, const std::string& question) {
    if (arguments.has("--yes")) {
        return true;
    }
    console.out << question << "\nType yes to go on: " << std::flush;
    std::string answer;
    if (!std::getline(console.in, answer)) {
        console.out << '\n';
    }
    while (!answer.empty() && (answer.back() == '\r' || answer.back() == ' ')) {
        answer.pop_back();
    }
    if (answer == "yes") {
        return true;
    }
    console.out << "Nothing was changed.\n";
    return false;
}

// --- read ----------------------------------------------------------------------------------------

struct SourceRow {
    const char* option; ///< of --source
    const char* title;
    BackPanelStorage storage;
};
constexpr SourceRow SOURCES[] = {{"ram", "RAM", gprotocol::BKP_RAM},
                                 {"flash", "FLASH", gprotocol::BKP_FLASH}};
constexpr const char* BOTH = "both";

void printWiring(const SourceRow& source, const Wiring& wiring, std::ostream& out) {
    out << source.title << ": " << (wiring.empty() ? "empty" : wiring.summary()) << '\n';
    if (!wiring.empty()) {
        drawWiring(wiring, out);
    }
}

struct Found {
    const SourceRow* source;
    Wiring wiring;
};

void writeJson(const std::vector<Found>& all, std::ostream& out) {
    JsonWriter json(out, 2);
    json.beginObject();
    for (const Found& found : all) {
        json.key(found.source->option)
            .beginObject()
            .member("empty", found.wiring.empty())
            .member("snt", maskText(found.wiring.snt, false))
            .member("amp", maskText(found.wiring.amp, false))
            .endObject();
    }
    json.endObject();
    out << '\n';
}

std::vector<const SourceRow*> wantedSources(const std::string& wanted) {
    std::vector<const SourceRow*> sources;
    for (const SourceRow& row : SOURCES) {
        if (wanted == BOTH || wanted == row.option) {
            sources.push_back(&row);
        }
    }
    if (sources.empty()) {
        throw UsageError("--source: '" + printable(wanted) + "' isn't ram, flash or both");
    }
    return sources;
}

int readAction(const Arguments& arguments, Console& console) {
    const auto sources = wantedSources(arguments.value("--source", BOTH));
    return overBackPanel(arguments, [&](const Link& link) {
        std::vector<Found> all;
        all.reserve(sources.size());
        for (const SourceRow* const source : sources) {
            all.push_back({source, readWiring(link, source->storage)});
        }
        if (arguments.has("--json")) {
            writeJson(all, console.out);
            return EXIT_YES;
        }
        for (const Found& found : all) {
            printWiring(*found.source, found.wiring, console.out);
        }
        return EXIT_YES;
    });
}

// --- set -----------------------------------------------------------------------------------------

constexpr const char* SECTION = "backpanel"; // of a definition

struct Order {
    Wiring wiring;
    BackPanelStorage target = gprotocol::BKP_RAM;
};

/// Throws what is wrong in the section [backpanel] of a definition: a load takes much of it for
/// something else, and tells its log alone.
void requireSoundSection(const std::string& fileName) {
    DefinitionCheck check;
    check.checkFile(fileName.c_str(), DefinitionCheck::KIND_GENERATOR);
    std::string errors;
    for (const DefinitionCheck::Finding& finding : check.findings()) {
        if (finding.severity == DefinitionCheck::SEVERITY_ERROR && finding.section == SECTION) {
            errors += (errors.empty() ? "" : "; ") + printable(fileName) + ':' +
                      std::to_string(finding.line) + ": [" + SECTION + "]" +
                      (finding.key.empty() ? "" : " " + finding.key) + ": " + finding.text;
        }
    }
    if (!errors.empty()) {
        throw ToolError(errors);
    }
}

/// What a definition file says. It is forgotten at once, so that no connect writes it.
Order orderOfDefinition(const std::string& fileName) {
    Generator& generator = FUS::getInstance().getGenerator();
    LibraryLog::forget();
    if (!generator.loadDefinition(fileName.c_str())) {
        throw ToolError(printable(fileName) + ": isn't a definition: " + LibraryLog::reason());
    }
    Order order;
    const bool known =
        FUS::getInstance().getDefinitionBackPanel(order.wiring.snt, order.wiring.amp, order.target);
    generator.clearDefinition();
    requireSoundSection(fileName);
    if (!known) {
        throw ToolError(printable(fileName) + ": doesn't have both masks in its [backpanel]");
    }
    return order;
}

Order orderOf(const Arguments& arguments) {
    const bool masks = arguments.has("--snt") && arguments.has("--amp");
    const bool anyMask = arguments.has("--snt") || arguments.has("--amp");
    if (arguments.has("--definition") ? anyMask : !masks) {
        throw UsageError("either --snt and --amp say what to set, or --definition");
    }
    Order order;
    if (masks) {
        order.wiring = {parseMask("--snt", arguments.value("--snt")),
                        parseMask("--amp", arguments.value("--amp"))};
    }
    const std::string target = arguments.value("--target", "ram");
    if (target != "ram" && target != BOTH) {
        throw UsageError("--target: '" + printable(target) + "' isn't ram or both");
    }
    if (!masks) {
        order = orderOfDefinition(arguments.value("--definition"));
    }
    if (masks || arguments.has("--target")) {
        order.target = target == BOTH ? gprotocol::BKP_BOTH : gprotocol::BKP_RAM;
    }
    order.wiring.check();
    return order;
}

/// Shows what would change; false if nothing would.
bool showChanges(const Link& link, const Order& order, std::ostream& out) {
    bool changes = false;
    for (const SourceRow& source : SOURCES) {
        if (source.storage == gprotocol::BKP_FLASH && order.target != gprotocol::BKP_BOTH) {
            continue;
        }
        const Wiring now = readWiring(link, source.storage);
        const bool same = now.isSame(order.wiring);
        changes = changes || !same;
        out << source.title << ": "
            << (same          ? "is so already, "
                : now.empty() ? "empty; then "
                              : now.summary() + "; then ")
            << order.wiring.summary() << '\n';
        if (!same) {
            drawChange(now, order.wiring, out);
        }
    }
    return changes;
}

void verify(const Link& link, const Order& order, std::ostream& out) {
    for (const SourceRow& source : SOURCES) {
        if (source.storage == gprotocol::BKP_FLASH && order.target != gprotocol::BKP_BOTH) {
            continue;
        }
        const Wiring found = readWiring(link, source.storage);
        if (!found.isSame(order.wiring)) {
            out << source.title << " reads back otherwise:\n";
            drawChange(found, order.wiring, out);
            throw ToolError(std::string(source.title) + " doesn't hold what was set");
        }
    }
    out << "Read back: "
        << (order.target == gprotocol::BKP_BOTH ? "RAM and FLASH hold" : "RAM holds")
        << " what was set. The generator now has "
        << counted(link.generator().getChannelCount(), "channel", "channels") << ".\n";
}

std::string readAgain(const Link& link) {
    return "; see what it has with: fus-tool backpanel read " + link.address().text();
}

void setWiring(const Link& link, const Order& order) {
    try {
        link.fus().setBackPanelConfiguration(order.wiring.snt, order.wiring.amp, order.target);
    } catch (const FUSException& error) {
        if (!isLinkLost(error) && !isTimeOut(error)) {
            throw;
        }
        throw ToolError("it may be set or not: " + link.described(error) + readAgain(link));
    }
}

void readBack(Link& link, const Order& order, std::ostream& out) {
    const std::string unread = "it is set, but couldn't be read back: ";
    try {
        link.connect();
    } catch (const ToolError& error) {
        throw ToolError(unread + error.what() + readAgain(link));
    }
    try {
        verify(link, order, out);
    } catch (const FUSException& error) {
        throw ToolError(unread + link.described(error) + readAgain(link));
    }
}

int setAction(const Arguments& arguments, Console& console) {
    const Order order = orderOf(arguments);
    return overBackPanel(arguments, [&](Link& link) {
        if (!showChanges(link, order, console.out)) {
            console.out << "Nothing has to be changed.\n";
            return EXIT_YES;
        }
        if (!confirms(arguments, console,
                      "Set the back panel of " + link.address().text() +
                          "? This ends the connection.")) {
            return EXIT_NO;
        }
        setWiring(link, order);
        console.out
            << "It is set, and the generator has closed the connection. Connecting again...\n"
            << std::flush;
        readBack(link, order, console.out);
        return EXIT_YES;
    });
}

// --- clear ---------------------------------------------------------------------------------------

int clearAction(const Arguments& arguments, Console& console) {
    return overBackPanel(arguments, [&](const Link& link) {
        const Wiring now = readWiring(link, gprotocol::BKP_FLASH);
        printWiring(SOURCES[1], now, console.out);
        if (now.empty()) {
            console.out << "Nothing has to be changed.\n";
            return EXIT_YES;
        }
        if (!confirms(arguments, console, "Clear the FLASH of " + link.address().text() + "?")) {
            return EXIT_NO;
        }
        link.fus().clearBackPanelConfiguration();
        if (!readWiring(link, gprotocol::BKP_FLASH).empty()) {
            throw ToolError(
                "the generator has cleared its FLASH, but it still holds a configuration");
        }
        console.out << "Read back: FLASH is empty. RAM is as it was.\n";
        return EXIT_YES;
    });
}

struct ActionRow {
    const char* name;
    int (*run)(const Arguments& arguments, Console& console);
};
constexpr ActionRow ACTIONS[] = {{"read", readAction}, {"set", setAction}, {"clear", clearAction}};

} // namespace

int runBackPanel(const Arguments& arguments, Console& console) {
    return arguments.actionOf(ACTIONS).run(arguments, console);
}

} // namespace fus::tool
