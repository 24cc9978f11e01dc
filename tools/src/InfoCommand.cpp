// fus-tool info: what is connected.

#include "Commands.h"
#include "Errors.h"
#include "Link.h"
#include "SystemReport.h"
#include "WholeFile.h"

namespace fus::tool {

int runInfo(const Arguments& arguments, Console& console) {
    const Link link(arguments, arguments.operand(0));
    if (arguments.has("--ini")) {
        writeWholeFile(arguments.value("--ini"), link.fus().getInitString());
    }
    const SystemInfo info = readSystemInfo(link.fus());
    if (arguments.has("--json")) {
        writeJsonReport(info, link.address(), console.out);
    } else {
        printReport(info, link.address(), arguments.has("--all"), console.out);
    }
    return EXIT_YES;
}

} // namespace fus::tool
