// A definition is read key by key, from a table.

#include "fus/P_Config.h"
#include "fus/P_GeneratorDefinition.h"
#include "fus/P_LogMacros.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <locale>
#include <sstream>
#include <streambuf>
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

/// Written by falling power, kept by rising power.
FloatArray asPolynomial(const ConfigSection& section, const char* key) {
    std::vector<float> items;
    section.getFloats(key, items);
    std::reverse(items.begin(), items.end());
    return FloatArray(items.data(), items.size());
}

std::uint32_t asFrequency(const ConfigSection& section, const char* key) {
    const std::int32_t megahertz = section.getInt(key, 0);
    switch (megahertz) {
    case 24:
    case 25:
        return static_cast<std::uint32_t>(megahertz) * 1000000;
    default:
        FUS_LOG(ERROR, "Invalid value for parameter 'clock', using default.");
        return 0;
    case 0:
        return 0;
    }
}

BackPanelStorage asStorage(const ConfigSection& section, const char* key) {
    const char* const value = section.getString(key, "RAM");
    const std::string target = value == nullptr ? "" : value;
    if (target == "RAM+FLASH") {
        return BKP_BOTH;
    }
    if (target != "RAM") {
        FUS_LOG(ERROR,
                "Unknown [backpanel].target value (%s), RAM used instead (accepted values are RAM "
                "and RAM+FLASH).",
                target.c_str());
    }
    return BKP_RAM;
}

/// Raw levels are bytes; a negative one is far too large.
bool readLevel(const ConfigSection& section, const char* key, const char* requirement,
               unsigned char& level) {
    const std::uint32_t value = asUnsigned(section, key);
    if (value > MAX_RAW_LEVEL) {
        FUS_LOG(ERROR, "  failed requirement: %s", requirement);
        return false;
    }
    level = static_cast<unsigned char>(value);
    return true;
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

/// A text as the buffer of a stream, without a copy.
class TextBuffer : public std::streambuf {
public:
    explicit TextBuffer(const char* text) {
        char* const begin = const_cast<char*>(text); // a buffer for reading doesn't write
        setg(begin, begin, begin + std::strlen(text));
    }
};

} // namespace

/// A key of the text, and how its value gets into the definition.
struct GeneratorDefinition::Key {
    const char* section;
    const char* name;
    void (*read)(GeneratorDefinition& target, const ConfigSection& section, const char* name);

    template <auto Field, auto Convert>
    static void into(GeneratorDefinition& target, const ConfigSection& section, const char* name) {
        target.*Field = Convert(section, name);
    }
    template <auto Field, BoardType Type, auto Convert>
    static void into(GeneratorDefinition& target, const ConfigSection& section, const char* name) {
        (target.*Field)[Type] = Convert(section, name);
    }

    static const Key ALL[];
};

using Definition = GeneratorDefinition;

const Definition::Key Definition::Key::ALL[] = {
    {"config", "ip", into<&Definition::m_generatorHost, asText>},
    {"config", "port", into<&Definition::m_generatorPort, asPort>},
    {"config", "channels", into<&Definition::m_channels, asUnsigned>},
    {"config", "generatorCount", into<&Definition::m_boardCounts, BOARD_SYNTHESIZER, asUnsigned>},
    {"config", "amplifierCount", into<&Definition::m_boardCounts, BOARD_AMPLIFIER, asUnsigned>},
    {"config", "mechanicsCount", into<&Definition::m_boardCounts, BOARD_MECHANICS, asUnsigned>},
    {"config", "minVoltages", into<&Definition::m_minVoltages, asFloats>},
    {"config", "maxVoltages", into<&Definition::m_maxVoltages, asFloats>},
    {"config", "clock", into<&Definition::m_clock, asFrequency>},
    {"backpanel", "SNT.mask", into<&Definition::m_bkpMaskSNT, asMask>},
    {"backpanel", "AMP.mask", into<&Definition::m_bkpMaskAMP, asMask>},
    {"backpanel", "target", into<&Definition::m_backPanelTarget, asStorage>},
    {"thresholds", "minUPB", into<&Definition::m_minBOThresholds, BOARD_PROCESSOR, asFloats>},
    {"thresholds", "maxUPB", into<&Definition::m_maxBOThresholds, BOARD_PROCESSOR, asFloats>},
    {"thresholds", "minAMP", into<&Definition::m_minBOThresholds, BOARD_AMPLIFIER, asFloats>},
    {"thresholds", "maxAMP", into<&Definition::m_maxBOThresholds, BOARD_AMPLIFIER, asFloats>},
    {"amplifier", "version", into<&Definition::m_amplifierVersion, asVersion>},
    {"amplifier", "type", into<&Definition::m_amplifierType, asAmplifierType>},
    {"amplifier", "measures", into<&Definition::m_measureCount, asUnsigned>},
    {"amplifier", "maxPower", into<&Definition::m_maxPower, asMaxPower>},
    {"amplifier", "onboardLoad", into<&Definition::m_onboardLoad, asOnboardLoad>},
};

/// A section, and what is to be done once its keys are read; false gives the definition up.
struct GeneratorDefinition::Section {
    const char* name;
    bool (*finish)(GeneratorDefinition& target, const ConfigSection& section);

    static bool nothing(GeneratorDefinition& /*target*/, const ConfigSection& /*section*/) {
        return true;
    }

    static const Section ALL[];
};

const Definition::Section Definition::Section::ALL[] = {
    {"config",
     [](Definition& d, const ConfigSection& /*section*/) {
         d.m_boardCounts[BOARD_PROCESSOR] = 1;
         d.m_hasVoltage = d.m_minVoltages.size() > PARTIAL_VOLTAGES;
         return true;
     }},
    {"backpanel", nothing},
    {"thresholds", nothing},
    {"amplifier",
     [](Definition& d, const ConfigSection& /*section*/) {
         const Version& version = d.m_amplifierVersion;
         FUS_LOG(INFO, "Generator: ampli=%d.%d.%d.%d, type=%d, measures=%d",
                 static_cast<int>(version.v1), static_cast<int>(version.v2),
                 static_cast<int>(version.v3), static_cast<int>(version.v4),
                 static_cast<int>(d.m_amplifierType), static_cast<int>(d.m_measureCount));
         return true;
     }},
    {"coeffs0",
     [](Definition& d, const ConfigSection& section) { return d.readDecoders(section); }},
};

bool GeneratorDefinition::load(std::istream& stream) {
    clear();
    if (!stream.good()) {
        return false;
    }
    try {
        m_loaded = read(stream);
    } catch (const FUSException& e) {
        FUS_LOG(ERROR, "Error parsing generator definition: %s (%s@%d)", e.message(),
                e.sourceFile(), static_cast<int>(e.line()));
    } catch (const std::exception& e) { // a file that memory can't hold
        FUS_LOG(ERROR, "Error loading generator definition: %s", e.what());
    }
    if (!m_loaded) {
        clear();
    }
    return m_loaded;
}

bool GeneratorDefinition::loadFile(const char* filename) {
    std::ifstream file(filename, std::ios::binary);
    if (!file) {
        clear();
        FUS_LOG(ERROR, "Can not open file '%s'.", filename);
        return false;
    }
    return load(file);
}

bool GeneratorDefinition::loadText(const char* text) {
    TextBuffer buffer(text);
    std::istream stream(&buffer);
    return load(stream);
}

bool GeneratorDefinition::read(std::istream& stream) {
    Config config;
    config.read(stream);
    if (!readSections(config) || !meetsRequirements()) {
        return false;
    }
    if (stream.bad()) { // the end is missing, and nobody knows what it would have said
        FUS_LOG(ERROR, "Error loading generator definition: it can not be read to its end");
        return false;
    }
    tabulateDecoders();
    return true;
}

bool GeneratorDefinition::readSections(const Config& config) {
    for (const Section& row : Section::ALL) {
        const ConfigSection* const section = config.findSection(row.name);
        if (section == nullptr) {
            continue;
        }
        for (const Key& key : Key::ALL) {
            if (std::strcmp(key.section, row.name) == 0) {
                key.read(*this, *section, key.name);
            }
        }
        if (!row.finish(*this, *section)) {
            return false;
        }
    }
    return true;
}

bool GeneratorDefinition::readDecoders(const ConfigSection& section) {
    for (;;) {
        const std::string key = "c" + std::to_string(m_decoders.size());
        if (!section.hasParam(key.c_str())) {
            break;
        }
        m_decoders.push_back(asPolynomial(section, key.c_str()));
    }
    for (std::size_t i = 0; i < m_decoders.size(); ++i) {
        FUS_LOG(VERBOSE, "%s", decoderText(i, m_decoders[i]).c_str());
    }
    return readLevel(section, "VADCThreshold", "vthreshold >= 0 && vthreshold < 256",
                     m_vthreshold) &&
           readLevel(section, "IADCThreshold", "ithreshold >= 0 && ithreshold < 256", m_ithreshold);
}

} // namespace fus
