// A definition is read key by key, from a table.

#include "fus/P_Config.h"
#include "fus/P_DefinitionReview.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

namespace fus {

using namespace gprotocol;

namespace {

constexpr std::int32_t DEFAULT_PORT = 1670;
constexpr float DEFAULT_MAX_POWER = 3.0F;     // [W]
constexpr float DEFAULT_ONBOARD_LOAD = 50.0F; // [Ohm]
// With more voltages than these a definition tells those of a whole generator.
constexpr std::size_t PARTIAL_VOLTAGES = 4;
constexpr unsigned MAX_RAW_LEVEL = 255;
// What a rack has room for.
constexpr unsigned MAX_BOARDS = 32;
constexpr unsigned MAX_CHANNELS = MAX_BOARDS * 16;

constexpr const char* COEFFICIENTS = "coeffs0";

constexpr EnumRow TARGETS[] = {
    {BKP_RAM, "RAM", "RAM"},
    {BKP_BOTH, "RAM+FLASH", "BOTH"},
};

/// [Hz], written in MHz.
constexpr EnumRow CLOCKS[] = {{0, "0", ""}, {24000000, "24", ""}, {25000000, "25", ""}};
constexpr std::int64_t MHZ = 1000000;

// What the values are to be.
constexpr ValueRule HOST{ValueKind::HOST};
constexpr ValueRule PORT = ValueRule{ValueKind::INTEGER}.within(1, 65535);
constexpr ValueRule CHANNELS = ValueRule{ValueKind::INTEGER}.within(1, MAX_CHANNELS);
constexpr ValueRule BOARDS = ValueRule{ValueKind::INTEGER}.within(0, MAX_BOARDS);
constexpr ValueRule MECHANICS = ValueRule{ValueKind::INTEGER}.within(0, 1);
constexpr ValueRule LEVEL = ValueRule{ValueKind::INTEGER}.within(0, MAX_RAW_LEVEL);
constexpr ValueRule CLOCK = ValueRule{ValueKind::INTEGER}.oneOf(CLOCKS);
constexpr ValueRule LIST{ValueKind::FLOATS};
constexpr ValueRule POLYNOMIAL{ValueKind::FLOATS,
                               "coefficients with | between them, highest power first"};
constexpr ValueRule MASK{ValueKind::MASK};
constexpr ValueRule TARGET = ValueRule{ValueKind::WORD}.oneOf(TARGETS);
constexpr ValueRule VERSION{ValueKind::VERSION};
constexpr ValueRule TYPE = ValueRule{ValueKind::INTEGER}.within(1, AMPLIFIER_COUNT - 1);
constexpr ValueRule MEASURES{ValueKind::INTEGER, "3 for type 1, 4 for type 2, 3 for type 3"};
constexpr ValueRule NOT_NEGATIVE =
    ValueRule{ValueKind::FLOAT}.within(0, std::numeric_limits<double>::infinity());

// How the value of a key becomes that of a field.

std::uint32_t asUnsigned(const ConfigSection& section, const char* key) {
    return static_cast<std::uint32_t>(section.getInt(key, 0));
}

std::uint16_t asPort(const ConfigSection& section, const char* key) {
    return static_cast<std::uint16_t>(section.getInt(key, DEFAULT_PORT));
}

AmplifierType asAmplifierType(const ConfigSection& section, const char* key) {
    return static_cast<AmplifierType>(section.getInt(key, AMPLIFIER_UNKNOWN));
}

float asMaxPower(const ConfigSection& section, const char* key) {
    return section.getFloat(key, DEFAULT_MAX_POWER);
}

float asOnboardLoad(const ConfigSection& section, const char* key) {
    return section.getFloat(key, DEFAULT_ONBOARD_LOAD);
}

std::string asText(const ConfigSection& section, const char* key) {
    const char* const value = section.getString(key, nullptr);
    return value == nullptr ? "" : value;
}

Version asVersion(const ConfigSection& section, const char* key) {
    return Version(section.getString(key, nullptr));
}

Mask1D asMask(const ConfigSection& section, const char* key) {
    return Mask1D(section.getString(key, nullptr), 0);
}

FloatArray asFloats(const ConfigSection& section, const char* key) {
    std::vector<float> items;
    section.getFloats(key, items);
    return FloatArray(items.data(), items.size());
}

std::uint32_t asFrequency(const ConfigSection& section, const char* key) {
    const std::int32_t megahertz = section.getInt(key, 0);
    for (const EnumRow& clock : CLOCKS) {
        if (clock.value == megahertz * MHZ) {
            return clock.value;
        }
    }
    FUS_LOG(ERROR, "Invalid value for parameter 'clock', using default.");
    return 0;
}

BackPanelStorage asStorage(const ConfigSection& section, const char* key) {
    const char* const value = section.getString(key, "RAM");
    const std::string target = value == nullptr ? "" : value;
    for (const EnumRow& row : TARGETS) {
        if (target == row.name) {
            return static_cast<BackPanelStorage>(row.value);
        }
    }
    FUS_LOG(ERROR,
            "Unknown [backpanel].target value (%s), RAM used instead (accepted values are RAM "
            "and RAM+FLASH).",
            target.c_str());
    return BKP_RAM;
}

/// "poly0 = 1 +2 v -0.5 v^2", by rising power.
std::string decoderText(std::size_t index, const FloatArray& decoder) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << "poly" << index << " = ";
    for (std::size_t power = 0; power < decoder.size(); ++power) {
        if (power != 0) {
            text << (decoder[power] < 0.0F ? " " : " +");
        }
        text << decoder[power];
        if (power != 0) {
            text << " v";
        }
        if (power > 1) {
            text << '^' << power;
        }
    }
    return text.str();
}

void reviewPolynomial(const std::string& key, const std::vector<float>& items,
                      DefinitionReview& review) {
    review.readings[{COEFFICIENTS, key}] = asWritten(items);
    const auto isZero = [](float coefficient) { return coefficient == 0.0F; };
    if (items.empty() || std::all_of(items.begin(), items.end() - 1, isZero)) {
        review.complaints.push_back({DefinitionComplaint::ODD, COEFFICIENTS, key,
                                     "gives the same value whatever is measured", ""});
    }
}

/// Without a word that there are none: any generator that has such boards is another one.
void reviewBoardCounts(const ConfigSection& section, DefinitionReview& review) {
    for (const char* const key : {"generatorCount", "amplifierCount"}) {
        if (!section.hasParam(key)) {
            review.complaints.push_back(
                {DefinitionComplaint::ODD, "config", key, "missing: read as 0 boards", ""});
        }
    }
}

} // namespace

/// A key of the text, how its value gets into the definition, and what that makes of it.
struct GeneratorDefinition::Key {
    const char* section;
    const char* name;
    ValueRule rule;
    void (*read)(GeneratorDefinition& target, const ConfigSection& section, const char* name);
    std::string (*written)(const GeneratorDefinition& d);

    template <auto Field, auto Convert>
    static constexpr Key of(const char* section, const char* name, const ValueRule& rule) {
        return {section, name, rule,
                [](GeneratorDefinition& target, const ConfigSection& from, const char* key) {
                    target.*Field = Convert(from, key);
                },
                [](const GeneratorDefinition& d) { return asWritten(d.*Field); }};
    }
    template <auto Field, BoardType Type, auto Convert>
    static constexpr Key of(const char* section, const char* name, const ValueRule& rule) {
        return {section, name, rule,
                [](GeneratorDefinition& target, const ConfigSection& from, const char* key) {
                    (target.*Field)[Type] = Convert(from, key);
                },
                [](const GeneratorDefinition& d) { return asWritten((d.*Field)[Type]); }};
    }

    static const Key ALL[];
};

using Definition = GeneratorDefinition;
using D = GeneratorDefinition;

const D::Key D::Key::ALL[] = {
    of<&D::m_generatorHost, asText>("config", "ip", HOST),
    of<&D::m_generatorPort, asPort>("config", "port", PORT),
    of<&D::m_channels, asUnsigned>("config", "channels", CHANNELS),
    of<&D::m_boardCounts, BOARD_SYNTHESIZER, asUnsigned>("config", "generatorCount", BOARDS),
    of<&D::m_boardCounts, BOARD_AMPLIFIER, asUnsigned>("config", "amplifierCount", BOARDS),
    of<&D::m_boardCounts, BOARD_MECHANICS, asUnsigned>("config", "mechanicsCount", MECHANICS),
    of<&D::m_minVoltages, asFloats>("config", "minVoltages", LIST),
    of<&D::m_maxVoltages, asFloats>("config", "maxVoltages", LIST),
    of<&D::m_clock, asFrequency>("config", "clock", CLOCK),
    of<&D::m_bkpMaskSNT, asMask>("backpanel", "SNT.mask", MASK),
    of<&D::m_bkpMaskAMP, asMask>("backpanel", "AMP.mask", MASK),
    of<&D::m_backPanelTarget, asStorage>("backpanel", "target", TARGET),
    of<&D::m_minBOThresholds, BOARD_PROCESSOR, asFloats>("thresholds", "minUPB", LIST),
    of<&D::m_maxBOThresholds, BOARD_PROCESSOR, asFloats>("thresholds", "maxUPB", LIST),
    of<&D::m_minBOThresholds, BOARD_AMPLIFIER, asFloats>("thresholds", "minAMP", LIST),
    of<&D::m_maxBOThresholds, BOARD_AMPLIFIER, asFloats>("thresholds", "maxAMP", LIST),
    of<&D::m_amplifierVersion, asVersion>("amplifier", "version", VERSION),
    of<&D::m_amplifierType, asAmplifierType>("amplifier", "type", TYPE),
    of<&D::m_measureCount, asUnsigned>("amplifier", "measures", MEASURES),
    of<&D::m_maxPower, asMaxPower>("amplifier", "maxPower", NOT_NEGATIVE),
    of<&D::m_onboardLoad, asOnboardLoad>("amplifier", "onboardLoad", NOT_NEGATIVE),
};

/// The raw levels below which a channel is quiet. They are read behind the polynomials.
struct GeneratorDefinition::Level {
    const char* name;
    const char* requirement;
    unsigned char GeneratorDefinition::*field;

    static const Level ALL[];
};

const D::Level D::Level::ALL[] = {
    {"VADCThreshold", "vthreshold >= 0 && vthreshold < 256", &D::m_vthreshold},
    {"IADCThreshold", "ithreshold >= 0 && ithreshold < 256", &D::m_ithreshold},
};

/// A section, and what is to be done once its keys are read; false gives the definition up.
struct GeneratorDefinition::Section {
    const char* name;
    bool (*finish)(GeneratorDefinition& target, const ConfigSection& section,
                   DefinitionReview* review);

    static bool nothing(GeneratorDefinition& /*target*/, const ConfigSection& /*section*/,
                        DefinitionReview* /*review*/) {
        return true;
    }

    static const Section ALL[];
};

const D::Section D::Section::ALL[] = {
    {"config",
     [](D& d, const ConfigSection& section, DefinitionReview* review) {
         if (review != nullptr) {
             reviewBoardCounts(section, *review);
         }
         d.m_boardCounts[BOARD_PROCESSOR] = 1;
         d.m_hasVoltage = d.m_minVoltages.size() > PARTIAL_VOLTAGES;
         return true;
     }},
    {"backpanel", nothing},
    {"thresholds", nothing},
    {"amplifier",
     [](D& d, const ConfigSection& /*section*/, DefinitionReview* /*review*/) {
         const Version& version = d.m_amplifierVersion;
         FUS_LOG(INFO, "Generator: ampli=%d.%d.%d.%d, type=%d, measures=%d",
                 static_cast<int>(version.v1), static_cast<int>(version.v2),
                 static_cast<int>(version.v3), static_cast<int>(version.v4),
                 static_cast<int>(d.m_amplifierType), static_cast<int>(d.m_measureCount));
         return true;
     }},
    {COEFFICIENTS, [](D& d, const ConfigSection& section,
                      DefinitionReview* review) { return d.readDecoders(section, review); }},
};

std::vector<DefinitionKey> GeneratorDefinition::keys() {
    std::vector<DefinitionKey> keys;
    for (const Key& key : Key::ALL) {
        keys.push_back({key.section, key.name, key.rule});
    }
    keys.push_back({COEFFICIENTS, "c#", POLYNOMIAL});
    for (const Level& level : Level::ALL) {
        keys.push_back({COEFFICIENTS, level.name, LEVEL});
    }
    return keys;
}

bool GeneratorDefinition::review(const Config& config, DefinitionReview& review) {
    clear();
    const bool read = readSections(config, &review);
    const bool meets = meetsRequirements(&review);
    return read && meets;
}

bool GeneratorDefinition::readSections(const Config& config, DefinitionReview* review) {
    bool good = true;
    for (const Section& row : Section::ALL) {
        const ConfigSection* const section = config.findSection(row.name);
        if (section == nullptr) {
            continue;
        }
        for (const Key& key : Key::ALL) {
            if (std::strcmp(key.section, row.name) != 0) {
                continue;
            }
            key.read(*this, *section, key.name);
            if (review != nullptr) {
                review->readings[{key.section, key.name}] = key.written(*this);
            }
        }
        good = row.finish(*this, *section, review) && good;
        if (!good && review == nullptr) {
            return false;
        }
    }
    return good;
}

bool GeneratorDefinition::readDecoders(const ConfigSection& section, DefinitionReview* review) {
    for (;;) {
        const std::string key = "c" + std::to_string(m_decoders.size());
        if (!section.hasParam(key.c_str())) {
            break;
        }
        std::vector<float> items;
        section.getFloats(key.c_str(), items);
        if (review != nullptr) {
            reviewPolynomial(key, items, *review);
        }
        // written by falling power, kept by rising power
        std::reverse(items.begin(), items.end());
        m_decoders.emplace_back(items.data(), items.size());
    }
    for (std::size_t i = 0; i < m_decoders.size(); ++i) {
        FUS_LOG(VERBOSE, "%s", decoderText(i, m_decoders[i]).c_str());
    }
    bool good = true;
    for (const Level& level : Level::ALL) {
        good = (good || review != nullptr) && readLevel(section, level, review) && good;
    }
    return good;
}

/// Raw levels are bytes; a negative one is far too large.
bool GeneratorDefinition::readLevel(const ConfigSection& section, const Level& level,
                                    DefinitionReview* review) {
    const std::uint32_t value = asUnsigned(section, level.name);
    if (review != nullptr) {
        review->readings[{COEFFICIENTS, level.name}] = asWritten(value);
    }
    if (value <= MAX_RAW_LEVEL) {
        this->*level.field = static_cast<unsigned char>(value);
        return true;
    }
    const std::string words = std::string("failed requirement: ") + level.requirement;
    FUS_LOG(ERROR, "  %s", words.c_str());
    if (review != nullptr) {
        review->complaints.push_back(
            {DefinitionComplaint::REFUSED, COEFFICIENTS, level.name, "", words});
    }
    return false;
}

} // namespace fus
