// fus-tool info: what is connected.

#include "Commands.h"
#include "Errors.h"
#include "Link.h"
#include "SystemReport.h"
#include "WholeFile.h"

#include "fus/FUSException.h"
#include "fus/Message.h"

namespace fus::tool {

namespace {

void writeText(const FUS& fus, const std::string& fileName) {
    const auto held = fus.holdDescription();
    const char* const text = fus.getInitString();
    if (text == nullptr) {
        throw FUSException(ERR_NOT_CONNECTED, nullptr);
    }
    writeWholeFile(fileName, text);
}

void writeDocument(FUS& fus, const std::string& fileName) {
    const Message document = fus.exportJSONConfig();
    writeWholeFile(fileName, {document.c_str(), document.size()});
}

} // namespace

int runInfo(const Arguments& arguments, Console& console) {
    return overLink(arguments, arguments.operand(0), [&](const Link& link) {
        if (arguments.has("--ini")) {
            writeText(link.fus(), arguments.value("--ini"));
        }
        if (arguments.has("--export")) {
            writeDocument(link.fus(), arguments.value("--export"));
        }
        const SystemInfo info = readSystemInfo(link.fus());
        if (arguments.has("--json")) {
            writeJsonReport(info, link.address(), console.out);
        } else {
            printReport(info, link.address(), arguments.has("--all"), console.out);
        }
        return EXIT_YES;
    });
}

} // namespace fus::tool
