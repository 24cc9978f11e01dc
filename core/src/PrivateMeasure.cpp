#include "fus/P_PrivateMeasure.h"

#include "fus/P_LogMacros.h"
#include "fus/P_NetPacket.h"
#include "fus/P_TextCursor.h"

#include <algorithm>
#include <cstring>
#include <locale>
#include <sstream>

namespace fus {

namespace {

constexpr MeasureKind MEASURE_KINDS[] = {
    {"vdc", 3010, gprotocol::UNIT_VOLT},    {"idc", 3011, gprotocol::UNIT_AMPERE},
    {"tem", 3012, gprotocol::UNIT_CELSIUS}, {"Pfd", 3020, gprotocol::UNIT_WATT},
    {"Pre", 3021, gprotocol::UNIT_WATT},    {"vrf", 3030, gprotocol::UNIT_VOLT},
    {"irf", 3031, gprotocol::UNIT_AMPERE},  {"pvi", 3040, gprotocol::UNIT_RADIAN},
    {"pvr", 3041, gprotocol::UNIT_RADIAN},
};
constexpr MeasureKind UNKNOWN_KIND = {"", 0, gprotocol::UNIT_UNKNOWN};

constexpr std::size_t ITEM_BUFFER_SIZE = 16;
constexpr std::size_t NAME_LENGTH = 3;

struct ListItem {
    std::uint32_t count;
    std::string name;
    std::uint32_t size;
};

// "2tem2": the count may be missing, the name is whatever stands in the next three characters.
ListItem parseItem(const char* item) {
    const auto count = text::toUnsigned(item, 0);
    const std::string name(count.end, std::min(NAME_LENGTH, std::strlen(count.end)));
    const auto size = text::toUnsigned(count.end + name.size(), 0);
    return {count.value == 0 ? 1 : count.value, name, size.value};
}

// The fixed part of a measure's definition, as it follows each other in the answer.
struct DefinitionHead {
    explicit DefinitionHead(NetPacket& answer)
        : typeId(answer.read16()), size(answer.read8()), reserved(answer.read8()),
          lower(answer.read32()), upper(answer.read32()), divisor(answer.read32()),
          coefficients(answer.read32()) {}

    std::uint16_t typeId;
    std::uint8_t size;
    std::uint8_t reserved;
    std::uint32_t lower;
    std::uint32_t upper;
    std::uint32_t divisor;
    std::uint32_t coefficients;
};

void checkAgainstText(const DefinitionHead& head, const PrivateMeasure& measure) {
    if (head.size != measure.size) {
        FUS_LOG(ERROR, "Invalid measure size (%u instead of %u from INI)", unsigned{head.size},
                measure.size);
        FUS_THROW_MSG(ERR_PACKET, "Invalid measure size");
    }
    const MeasureKind& kind = findMeasureKind(measure.name.c_str());
    if (head.typeId != kind.typeId) {
        FUS_LOG(ERROR, "Invalid measure type (%u instead of %u/%s from INI)", unsigned{head.typeId},
                kind.typeId, measure.name.c_str());
        FUS_THROW_MSG(ERR_PACKET, "Invalid measure type");
    }
}

// Room is made for no more than the packet holds: the count is the peer's word. A packet that is
// too short for it fails in the read.
Polynomial readCoefficients(NetPacket& answer, std::uint32_t count, std::uint32_t divisor) {
    Polynomial polynomial;
    polynomial.reserve(std::min(count, answer.remaining() / 4));
    for (std::uint32_t i = 0; i < count; ++i) {
        const auto raw = static_cast<std::int32_t>(answer.read32());
        polynomial.push_back(static_cast<float>(raw) / static_cast<float>(divisor));
    }
    return polynomial;
}

} // namespace

const MeasureKind& findMeasureKind(const char* name) {
    for (const MeasureKind& kind : MEASURE_KINDS) {
        if (std::strcmp(kind.name, name) == 0) {
            return kind;
        }
    }
    return UNKNOWN_KIND;
}

void appendMeasures(MeasureList& list, const std::string& name, std::uint32_t size,
                    std::size_t count) {
    if (count > MAX_MEASURES_PER_LIST - std::min(list.size(), MAX_MEASURES_PER_LIST)) {
        FUS_THROW_MSG(ERR_CONFIG_PARSE, "Too many measures (" + std::to_string(count) + " '" +
                                            name + "') in generator INI packet.");
    }
    const gprotocol::Unit unit = findMeasureKind(name.c_str()).unit;
    for (; count > 0; --count) {
        auto measure = std::make_unique<PrivateMeasure>();
        measure->name = name;
        measure->size = size;
        measure->unit = unit;
        list.push_back(std::move(measure));
    }
}

unsigned parseMeasureList(const char* text, MeasureList& list) {
    const std::size_t before = list.size();
    TextCursor cursor(text);
    char buffer[ITEM_BUFFER_SIZE];
    while (cursor.readToken(buffer, sizeof buffer, ',') > 0) {
        const ListItem item = parseItem(buffer);
        appendMeasures(list, item.name, item.size, item.count);
    }
    return static_cast<unsigned>(list.size() - before);
}

void decodeMeasureDefinition(NetPacket& answer, PrivateMeasure& measure, bool secure) {
    answer.setByteOrder(NetPacket::LITTLE);
    const DefinitionHead head(answer);
    FUS_LOG(VERBOSE, "  type: %u (%s), size: %u, lo: %u, up: %u, div: %u", unsigned{head.typeId},
            measure.name.c_str(), unsigned{head.size}, head.lower, head.upper, head.divisor);
    if (head.divisor == 0) {
        FUS_THROW_MSG(ERR_PACKET, "Invalid measure definition (null divisor).");
    }
    if (secure) {
        checkAgainstText(head, measure);
    }
    measure.lowerThreshold = head.lower;
    measure.upperThreshold = head.upper;
    measure.ADCToUnit = readCoefficients(answer, head.coefficients, head.divisor);
    measure.UnitToADC = makeInversePolynomial(measure.ADCToUnit);
    FUS_LOG(VERBOSE, "  ADCToUnit: %s", polynomialText(measure.ADCToUnit).c_str());
    FUS_LOG(VERBOSE, "  UnitToADC: %s", polynomialText(measure.UnitToADC).c_str());
}

Polynomial makeInversePolynomial(const Polynomial& polynomial) {
    if (polynomial.size() != 2) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid polynomial degree.");
    }
    const float slope = polynomial[1];
    if (slope == 0.0f) {
        FUS_THROW_MSG(ERR_ARGUMENT, "Invalid polynomial coefficient.");
    }
    return {-polynomial[0] / slope, 1.0f / slope};
}

std::string polynomialText(const Polynomial& polynomial) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << '[';
    for (std::size_t i = polynomial.size(); i-- > 0;) {
        text << ' ' << polynomial[i] << (i > 0 ? "," : "");
    }
    text << " ]";
    return text.str();
}

} // namespace fus
