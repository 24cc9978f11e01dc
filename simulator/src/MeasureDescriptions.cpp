#include "MeasureDescriptions.h"

#include "IniValues.h"
#include "Physics.h"

#include <cmath>

namespace fus {
namespace simulator {

namespace {

// "[simulator/measures/AMP/1]" before "[simulator/measures/AMP/idc]".
const ConfigSection* findMeasureSection(const Config& ini, const std::string& parent,
                                        std::size_t position, const std::string& measure,
                                        std::string& name) {
    for (const std::string& key : {std::to_string(position), measure}) {
        name = parent + "/" + key;
        if (const ConfigSection* section = ini.findSection(name.c_str())) {
            return section;
        }
    }
    return nullptr;
}

void readBoardMeasure(const ConfigSection& section, const std::string& name,
                      BoardMeasureDescription& measure) {
    checkKeys(section, name,
              {"divisor", "coefficients", "lower", "upper", "idle", "full", "switched"});
    measure.divisor = readUnsigned(section, name, "divisor", measure.divisor);
    measure.lowerThreshold = readUnsigned(section, name, "lower", measure.lowerThreshold);
    measure.upperThreshold = readUnsigned(section, name, "upper", measure.upperThreshold);
    measure.isSwitched = readUnsigned(section, name, "switched", 0) != 0;
    measure.idle = readNumber(section, name, "idle", measure.idle);
    const double full = section.findParam("idle") ? measure.idle : measure.full;
    measure.full = readNumber(section, name, "full", full);
    const std::vector<double> coefficients = readNumbers(section, name, "coefficients");
    if (coefficients.empty()) {
        return;
    }
    measure.coefficients.clear();
    for (double value : coefficients) {
        if (value != std::floor(value) || std::fabs(value) > 2147483647.0) {
            fail("[" + name + "]: coefficients are integers, divided by 'divisor'");
        }
        measure.coefficients.push_back(static_cast<std::int32_t>(value));
    }
}

void checkSize(const PrivateMeasure& measure) {
    if (measure.size != 1 && measure.size != 2 && measure.size != 4) {
        fail("measure '" + measure.name + "': a size can be 1, 2 or 4 bytes");
    }
}

// Where the description says nothing: something sensible for what the name measures.
void setStandard(BoardMeasureDescription& measure) {
    struct Standard {
        const char* name;
        std::uint32_t fineDivisor, coarseDivisor; // of two bytes and more, and of one
        std::int32_t offset;                      // [divided] physical value of 0
        double idle, full;
    };
    constexpr Standard STANDARDS[] = {
        {"tem", 8, 1, -40, 24, 46}, {"idc", 1000, 20, 0, 0.2, 4.5}, {"vdc", 1000, 5, 0, 24, 23.5}};
    measure.upperThreshold = maxAdc(measure.size);
    measure.coefficients = {0, 1};
    for (const Standard& standard : STANDARDS) {
        if (measure.name == standard.name) {
            measure.divisor = measure.size == 1 ? standard.coarseDivisor : standard.fineDivisor;
            measure.coefficients[0] = standard.offset * static_cast<std::int32_t>(measure.divisor);
            measure.idle = standard.idle;
            measure.full = standard.full;
        }
    }
}

BoardMeasureDescription describeMeasure(const Config& ini, const std::string& type,
                                        std::size_t position, const std::string& measureName,
                                        unsigned size) {
    BoardMeasureDescription measure;
    measure.name = measureName;
    measure.size = size;
    measure.typeId = findMeasureKind(measureName.c_str()).typeId;
    setStandard(measure);
    std::string name;
    if (const auto* section =
            findMeasureSection(ini, "simulator/measures/" + type, position, measureName, name)) {
        readBoardMeasure(*section, name, measure);
    }
    return measure;
}

// Where the description says nothing: a sensible range for what the name measures.
MeasureCurve standardCurve(const std::string& name, unsigned size) {
    struct Range {
        const char* name;
        double low, high;
    };
    constexpr Range RANGES[] = {{"vrf", 0, 102},          {"irf", 0, 2.55},   {"Pfd", 0, 255},
                                {"Pre", 0, 255},          {"vdc", 0, 65},     {"idc", 0, 65},
                                {"pvi", -1.5708, 1.5708}, {"pvr", 0, 6.2832}, {"tem", 0, 255}};
    for (const Range& range : RANGES) {
        if (name == range.name) {
            return {{range.low, (range.high - range.low) / maxAdc(size)}};
        }
    }
    return {{0, 1}};
}

} // namespace

BoardMeasureDescription describeBoardMeasure(const Config& ini, const std::string& type,
                                             std::size_t position, const PrivateMeasure& source) {
    checkSize(source);
    return describeMeasure(ini, type, position, source.name, source.size);
}

ChannelMeasureDescription describeChannelMeasure(const Config& ini, std::size_t position,
                                                 const PrivateMeasure& source) {
    checkSize(source);
    ChannelMeasureDescription measure{source.name, source.size,
                                      standardCurve(source.name, source.size)};
    std::string name;
    if (const auto* section =
            findMeasureSection(ini, "simulator/channels", position, source.name, name)) {
        checkKeys(*section, name, {"coefficients"});
        const std::vector<double> coefficients = readNumbers(*section, name, "coefficients");
        if (coefficients.size() < 2) {
            fail("[" + name + "]: 'coefficients' takes at least two numbers");
        }
        measure.curve.coefficients = coefficients;
    }
    return measure;
}

void describeV2Measures(const Config& ini, const GeneratorConfig& config, Description& result) {
    constexpr unsigned SIZE = 2;
    result.temperature = describeMeasure(ini, "AMP", 0, "tem", SIZE);
    result.current = describeMeasure(ini, "AMP", 1, "idc", SIZE);
    result.temperatureCount = config.getCount(NB_AMPLIFIER_TEMPERATURES);
    result.currentCount = config.getCount(NB_AMPLIFIER_CURRENTS);
    constexpr std::size_t MOST = 0xFFFF; // the count has 16 bits
    if (result.temperatureCount > MOST || result.currentCount > MOST) {
        fail("more than 65535 amplifier temperatures or currents");
    }
}

} // namespace simulator
} // namespace fus
