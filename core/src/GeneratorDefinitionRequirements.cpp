// What a definition is held against once it is read. The order is that of the log lines.

#include "fus/P_GProtocol.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

#include <algorithm>

namespace fus {

using namespace gprotocol;

namespace {

/// Calls complain(i) for the first i whose range has nothing between its bounds; so has one with a
/// NaN. True if there is none.
template <class Complain>
bool areRanges(const FloatArray& lower, const FloatArray& upper, Complain complain) {
    const std::size_t count = std::min(lower.size(), upper.size());
    for (std::size_t i = 0; i < count; ++i) {
        if (!(lower[i] < upper[i])) {
            complain(static_cast<unsigned>(i));
            return false;
        }
    }
    return true;
}

bool areVoltageRanges(const FloatArray& lower, const FloatArray& upper) {
    return areRanges(lower, upper, [&](unsigned i) {
        FUS_LOG(ERROR, "  invalid voltage range #%u: [%g, %g]", i + 1,
                static_cast<double>(lower[i]), static_cast<double>(upper[i]));
    });
}

using Thresholds = std::array<FloatArray, BOARD_TYPE_COUNT>;

bool areThresholdRanges(const Thresholds& lower, const Thresholds& upper) {
    for (unsigned type = 0; type < BOARD_TYPE_COUNT; ++type) {
        const bool good = areRanges(lower[type], upper[type], [&](unsigned i) {
            FUS_LOG(ERROR, "  invalid %s BO thresholds #%u: [%g, %g]", BOARD_SHORT_NAMES[type],
                    i + 1, static_cast<double>(lower[type][i]),
                    static_cast<double>(upper[type][i]));
        });
        if (!good) {
            return false;
        }
    }
    return true;
}

} // namespace

using Definition = GeneratorDefinition;

/// What a definition must be like, and what the log says when it isn't.
struct GeneratorDefinition::Requirement {
    const char* text;
    bool (*isMet)(const GeneratorDefinition& d);
    bool ignored = false; ///< only told

    static const Requirement ALL[];
};

const Definition::Requirement Definition::Requirement::ALL[] = {
    {"m_generatorHost != nullptr", [](const Definition& d) { return d.host() != nullptr; }},
    {"m_generatorPort != 0", [](const Definition& d) { return d.m_generatorPort != 0; }},
    {"m_channels != 0", [](const Definition& d) { return d.m_channels != 0; }},
    {"! (m_amplifierVersion == nullVersion)",
     [](const Definition& d) { return d.m_amplifierVersion != nullVersion; }},
    {"m_amplifierType >= gprotocol::AMPLIFIER_FIRST && "
     "m_amplifierType < gprotocol::AMPLIFIER_COUNT",
     [](const Definition& d) {
         return d.m_amplifierType >= AMPLIFIER_FIRST && d.m_amplifierType < AMPLIFIER_COUNT;
     }},
    {"m_measureCount == EXPECTED_COMPONENTS[m_amplifierType]",
     [](const Definition& d) {
         return d.m_measureCount == EXPECTED_COMPONENTS[d.m_amplifierType];
     }},
    {"m_measureCount == m_decoders.size()",
     [](const Definition& d) {
         return d.m_decoders.empty() || d.m_measureCount == d.m_decoders.size();
     }},
    {"m_maxPower != 0.0f", [](const Definition& d) { return d.m_maxPower != 0.0F; }, true},
    {"m_onboardLoad != 0.0f",
     [](const Definition& d) {
         return d.m_amplifierType != AMPLIFIER_Vf_Vr_Pvr || d.m_onboardLoad != 0.0F;
     }},
    {"m_maxVoltages.size() == m_minVoltages.size()",
     [](const Definition& d) { return d.m_maxVoltages.size() == d.m_minVoltages.size(); }},
    {"m_minVoltages[i] < m_maxVoltages[i]",
     [](const Definition& d) { return areVoltageRanges(d.m_minVoltages, d.m_maxVoltages); }},
    {"m_minBOThresholds[btype][i] < m_maxBOThresholds[btype][i]",
     [](const Definition& d) {
         return areThresholdRanges(d.m_minBOThresholds, d.m_maxBOThresholds);
     }},
    {"m_bkpMaskSNT.activeCount() == m_bkpMaskAMP.activeCount()",
     [](const Definition& d) {
         const std::size_t active = d.m_bkpMaskSNT.activeCount();
         return active == 0 || active == d.m_bkpMaskAMP.activeCount();
     }},
    {"m_bkpMaskSNT.activeCount() == m_channels",
     [](const Definition& d) {
         const std::size_t active = d.m_bkpMaskSNT.activeCount();
         return active == 0 || active == d.m_channels;
     }},
};

bool GeneratorDefinition::meetsRequirements() const {
    for (const Requirement& requirement : Requirement::ALL) {
        if (requirement.isMet(*this)) {
            continue;
        }
        FUS_LOG(ERROR, "  failed requirement%s: %s", requirement.ignored ? "(ignored)" : "",
                requirement.text);
        if (!requirement.ignored) {
            return false;
        }
    }
    return true;
}

} // namespace fus
