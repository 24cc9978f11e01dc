// What a definition is held against once it is read. The order is that of the log lines.

#include "fus/P_DefinitionReview.h"
#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <locale>
#include <sstream>
#include <string>

namespace fus {

using namespace gprotocol;

namespace {

/// What is wrong, and in which key of a section.
struct Fault {
    bool found;
    std::string key;
    std::string text;
};

std::size_t rangeCount(const FloatArray& lower, const FloatArray& upper) {
    return std::min(lower.size(), upper.size());
}

/// The first i whose range has nothing between its bounds; so has one with a NaN. The number of
/// ranges if there is none.
std::size_t badRange(const FloatArray& lower, const FloatArray& upper) {
    const std::size_t count = rangeCount(lower, upper);
    std::size_t i = 0;
    while (i < count && lower[i] < upper[i]) {
        ++i;
    }
    return i;
}

/// "invalid voltage range #2: [5, 4]"; empty if there is none.
std::string badRangeText(const char* what, const FloatArray& lower, const FloatArray& upper) {
    const std::size_t i = badRange(lower, upper);
    if (i == rangeCount(lower, upper)) {
        return {};
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "invalid " << what << " #" << i + 1 << ": [" << lower[i] << ", " << upper[i] << ']';
    return text.str();
}

std::string count(std::size_t number) {
    return std::to_string(number);
}

} // namespace

/// What a definition must be like, or had better be, and what is told when it isn't.
struct GeneratorDefinition::Requirement {
    using Weight = DefinitionComplaint::Weight;

    Weight weight;
    const char* words; ///< of the log; null: only a review is told
    const char* section;
    Fault (*check)(const GeneratorDefinition& d);
    bool textFirst = false; ///< the log has the fault's text in front of the words

    bool refuses() const { return weight == DefinitionComplaint::REFUSED; }
    std::string log(const Fault& fault) const;
    static bool hasKnownType(const GeneratorDefinition& d) {
        return d.m_amplifierType >= AMPLIFIER_FIRST && d.m_amplifierType < AMPLIFIER_COUNT;
    }
    static Fault badThresholds(const GeneratorDefinition& d);
    static Fault unequalMasks(const GeneratorDefinition& d);

    static const Requirement ALL[];
};

using D = GeneratorDefinition;

const D::Requirement D::Requirement::ALL[] = {
    {Weight::REFUSED, "m_generatorHost != nullptr", "config",
     [](const D& d) -> Fault {
         return {d.host() == nullptr, "ip", ""};
     }},
    {Weight::REFUSED, "m_generatorPort != 0", "config",
     [](const D& d) -> Fault {
         return {d.m_generatorPort == 0, "port", ""};
     }},
    {Weight::REFUSED, "m_channels != 0", "config",
     [](const D& d) -> Fault {
         return {d.m_channels == 0, "channels", ""};
     }},
    {Weight::REFUSED, "! (m_amplifierVersion == nullVersion)", "amplifier",
     [](const D& d) -> Fault {
         return {d.m_amplifierVersion == nullVersion, "version", ""};
     }},
    {Weight::REFUSED,
     "m_amplifierType >= gprotocol::AMPLIFIER_FIRST && "
     "m_amplifierType < gprotocol::AMPLIFIER_COUNT",
     "amplifier",
     [](const D& d) -> Fault {
         return {!hasKnownType(d), "type", ""};
     }},
    {Weight::REFUSED, "m_measureCount == EXPECTED_COMPONENTS[m_amplifierType]", "amplifier",
     [](const D& d) -> Fault {
         // a type that isn't one has been told
         const unsigned expected =
             hasKnownType(d) ? EXPECTED_COMPONENTS[d.m_amplifierType] : d.m_measureCount;
         return {d.m_measureCount != expected, "measures",
                 count(d.m_measureCount) + " measures, but amplifiers of type " +
                     count(d.m_amplifierType) + " have " + count(expected)};
     }},
    {Weight::REFUSED, "m_measureCount == m_decoders.size()", "coeffs0",
     [](const D& d) -> Fault {
         return {!d.m_decoders.empty() && d.m_measureCount != d.m_decoders.size(), "",
                 count(d.m_decoders.size()) + " polynomials (c0, c1, ... without a gap) for " +
                     count(d.m_measureCount) + " measures"};
     }},
    {Weight::ODD, "m_maxPower != 0.0f", "amplifier",
     [](const D& d) -> Fault {
         return {d.m_maxPower == 0.0F, "maxPower", "no channel may emit anything"};
     }},
    {Weight::REFUSED, "m_onboardLoad != 0.0f", "amplifier",
     [](const D& d) -> Fault {
         return {d.m_amplifierType == AMPLIFIER_Vf_Vr_Pvr && d.m_onboardLoad == 0.0F, "onboardLoad",
                 "amplifiers of type 3 need a load"};
     }},
    {Weight::REFUSED, "m_maxVoltages.size() == m_minVoltages.size()", "config",
     [](const D& d) -> Fault {
         return {d.m_maxVoltages.size() != d.m_minVoltages.size(), "maxVoltages",
                 count(d.m_minVoltages.size()) + " least voltages, and " +
                     count(d.m_maxVoltages.size()) + " greatest ones"};
     }},
    {Weight::REFUSED, "m_minVoltages[i] < m_maxVoltages[i]", "config",
     [](const D& d) -> Fault {
         const std::string text = badRangeText("voltage range", d.m_minVoltages, d.m_maxVoltages);
         return {!text.empty(), "maxVoltages", text};
     },
     true},
    {Weight::REFUSED, "m_minBOThresholds[btype][i] < m_maxBOThresholds[btype][i]", "thresholds",
     Requirement::badThresholds, true},
    {Weight::REFUSED, "m_bkpMaskSNT.activeCount() == m_bkpMaskAMP.activeCount()", "backpanel",
     [](const D& d) -> Fault {
         const std::size_t active = d.m_bkpMaskSNT.activeCount();
         return {active != 0 && active != d.m_bkpMaskAMP.activeCount(), "AMP.mask",
                 count(active) + " channels in SNT.mask, and " +
                     count(d.m_bkpMaskAMP.activeCount()) + " in AMP.mask"};
     }},
    {Weight::REFUSED, "m_bkpMaskSNT.activeCount() == m_channels", "backpanel",
     [](const D& d) -> Fault {
         const std::size_t active = d.m_bkpMaskSNT.activeCount();
         return {active != 0 && active != d.m_channels, "SNT.mask",
                 count(active) + " channels in SNT.mask, and channels = " + count(d.m_channels)};
     }},
    // --- taken without a word
    {Weight::IGNORED, nullptr, "backpanel",
     [](const D& d) -> Fault {
         const bool synthesizers = d.m_bkpMaskSNT.size() != 0;
         const bool amplifiers = d.m_bkpMaskAMP.size() != 0;
         return {synthesizers != amplifiers, synthesizers ? "SNT.mask" : "AMP.mask",
                 "a mask without the other one: the back panel is left as it is"};
     }},
    {Weight::IGNORED, nullptr, "backpanel", Requirement::unequalMasks},
    {Weight::ODD, nullptr, "backpanel",
     [](const D& d) -> Fault {
         return {d.m_bkpMaskSNT.size() != 0 && d.m_bkpMaskSNT.activeCount() == 0, "SNT.mask",
                 "no channel is in use"};
     }},
    {Weight::ODD, nullptr, "coeffs0",
     [](const D& d) -> Fault {
         return {d.m_decoders.empty(), "c0",
                 "without polynomials (c0, c1, ...) shot results get no physical values, and no "
                 "powers"};
     }},
};

Fault D::Requirement::badThresholds(const GeneratorDefinition& d) {
    for (unsigned type = 0; type < BOARD_TYPE_COUNT; ++type) {
        const std::string board = BOARD_SHORT_NAMES[type];
        const std::string text = badRangeText((board + " BO thresholds").c_str(),
                                              d.m_minBOThresholds[type], d.m_maxBOThresholds[type]);
        if (!text.empty()) {
            return {true, "max" + board, text};
        }
    }
    return {};
}

/// Masks that load, and that setting the back panel refuses.
Fault D::Requirement::unequalMasks(const GeneratorDefinition& d) {
    const Mask1D& snt = d.m_bkpMaskSNT;
    const Mask1D& amp = d.m_bkpMaskAMP;
    if (snt.size() == 0 || amp.size() == 0) {
        return {};
    }
    if (snt.size() != amp.size()) {
        return {snt.activeCount() == amp.activeCount() || snt.activeCount() == 0, "AMP.mask",
                count(snt.size()) + " entries in SNT.mask, and " + count(amp.size()) +
                    " in AMP.mask: setting them fails (Masks sizes mismatch.)"};
    }
    return {snt.activeCount() == 0 && amp.activeCount() != 0, "AMP.mask",
            "no channel in SNT.mask, and " + count(amp.activeCount()) +
                " in AMP.mask: setting them fails (Masks content mismatch (number of 0/1).)"};
}

/// Logs it, and gives the words.
std::string D::Requirement::log(const Fault& fault) const {
    if (words == nullptr) {
        return {};
    }
    std::string line =
        std::string("failed requirement") + (refuses() ? ": " : "(ignored): ") + words;
    if (textFirst) {
        FUS_LOG(ERROR, "  %s", fault.text.c_str());
    }
    FUS_LOG(ERROR, "  %s", line.c_str());
    return line;
}

bool GeneratorDefinition::meetsRequirements(DefinitionReview* review) const {
    bool good = true;
    for (const Requirement& requirement : Requirement::ALL) {
        const Fault fault = requirement.check(*this);
        if (!fault.found) {
            continue;
        }
        const std::string words = requirement.log(fault);
        good = good && !requirement.refuses();
        if (review != nullptr) {
            review->complaints.push_back(
                {requirement.weight, requirement.section, fault.key, fault.text, words});
        } else if (!good) {
            return false;
        }
    }
    return good;
}

} // namespace fus
