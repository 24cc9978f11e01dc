// Any bytes as a definition of either kind: the check stands them, tells printable findings, and
// comes to the verdict of the load.

#include "fus/DefinitionCheck.h"
#include "fus/FUS.h"
#include "fus/Log.h"
#include "fus/LowLevelMechanics.h"
#include "fus/P_GeneratorDefinition.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

using fus::DefinitionCheck;

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool isPrintable(const std::string& text) {
    for (const char c : text) {
        if (c < ' ' || c > '~') {
            return false;
        }
    }
    return true;
}

void check(const std::string& text, DefinitionCheck::Kind kind, bool loads) {
    DefinitionCheck checked;
    const bool good = checked.checkText(text.data(), text.size(), kind);
    require(good == (checked.count(DefinitionCheck::SEVERITY_ERROR) == 0));
    require(loads || !good);
    for (const DefinitionCheck::Finding& finding : checked.findings()) {
        require(isPrintable(finding.section + finding.key + finding.text));
    }
    const bool isRead = text.size() <= DefinitionCheck::MAX_SIZE &&
                        text.substr(0, 2) != "\xFF\xFE" && text.substr(0, 2) != "\xFE\xFF";
    require(!isRead || checked.isLoadable() == loads);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fus::Log::getInstance().setLevel(fus::Log::NONE);
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::istringstream stream(text);
    check(text, DefinitionCheck::KIND_GENERATOR, fus::GeneratorDefinition().load(stream));
    const std::string cut = text.c_str(); // as far as a load of a text sees it
    check(cut, DefinitionCheck::KIND_MECHANICS,
          fus::FUS::getInstance().getLowLevelMechanics().loadDefinitionString(cut.c_str()));
    return 0;
}
