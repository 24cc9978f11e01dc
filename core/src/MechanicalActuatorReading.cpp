// How an actuator is read from a definition: a list of steps in a fixed order, each a key that is
// read or a requirement on what was read so far. The first one that fails ends the reading.

#include "fus/P_MechanicalActuatorData.h"

#include "fus/P_Config.h"
#include "fus/P_LogMacros.h"

#include <string>
#include <vector>

namespace fus {

namespace {

constexpr std::int32_t BAD_INTEGER = MechanicalActuator::BAD_INTEGER;
constexpr float BAD_FLOAT = MechanicalActuator::BAD_FLOAT;
constexpr std::int32_t NO_MOTION_DAC = 127;

constexpr const char* BOARD_SECTION = "Board";
constexpr const char* FUS_SECTION = "FUS";

/// What the keys hold, before it has been found good. Initial values are those of absent keys.
struct Draft {
    std::int32_t lowerBound = BAD_INTEGER;
    std::int32_t upperBound = -BAD_INTEGER;
    std::int32_t maxSpeed = BAD_INTEGER;
    std::uint32_t minNegativeDAC = 127;
    std::uint32_t minPositiveDAC = 127;
    std::uint32_t accelDuration = 25;
    float kP = BAD_FLOAT;
    float kI = BAD_FLOAT;
    float kD = BAD_FLOAT;
    float maxIntegralError = BAD_FLOAT;
    std::uint32_t toleranceTarget = BAD_INTEGER;
    std::uint32_t toleranceMoving = BAD_INTEGER;
    std::uint32_t plotMode = 3;
    bool inverted = false;
    bool abs = true;
    bool encoderCableDetection = false;
    const char* name = nullptr;
    const char* motion = nullptr;
    const char* unit = nullptr;
    const char* topology = nullptr;
    float stepSize = BAD_FLOAT;
    float maxUserSpeed = BAD_FLOAT;
    float defUserSpeed = BAD_FLOAT;
    std::vector<std::int32_t> initDACs;
    std::int32_t initTimeout = 30000;
    std::vector<std::int32_t> initPark;
};

// --- readers, one for each type of key -----------------------------------------------------------

using Reader = void (*)(const ConfigSection& section, const char* key, Draft& draft);

template <std::int32_t Draft::*FIELD, std::int32_t DEFAULT = BAD_INTEGER>
void readInt(const ConfigSection& section, const char* key, Draft& draft) {
    draft.*FIELD = section.getInt(key, DEFAULT);
}

template <std::uint32_t Draft::*FIELD, std::uint32_t DEFAULT = BAD_INTEGER>
void readUnsigned(const ConfigSection& section, const char* key, Draft& draft) {
    draft.*FIELD = section.getUnsigned(key, DEFAULT);
}

template <float Draft::*FIELD>
void readFloat(const ConfigSection& section, const char* key, Draft& draft) {
    draft.*FIELD = section.getFloat(key, BAD_FLOAT);
}

template <bool Draft::*FIELD>
void readBool(const ConfigSection& section, const char* key, Draft& draft) {
    draft.*FIELD = section.getBool(key, draft.*FIELD);
}

template <const char* Draft::*FIELD>
void readText(const ConfigSection& section, const char* key, Draft& draft) {
    draft.*FIELD = section.getString(key, draft.*FIELD);
}

template <std::vector<std::int32_t> Draft::*FIELD>
void readList(const ConfigSection& section, const char* key, Draft& draft) {
    section.getInts(key, draft.*FIELD);
}

// --- what the requirements look at ---------------------------------------------------------------

/// The value that a text of the definition stands for; 0, which is unknown, without a match.
template <std::size_t N>
std::uint32_t valueOf(const gprotocol::EnumRow (&rows)[N], const char* text) {
    for (std::size_t i = 1; i < N && text != nullptr; ++i) {
        if (std::string(text) == rows[i].name) {
            return rows[i].value;
        }
    }
    return 0;
}

std::uint32_t motionOf(const Draft& d) {
    return valueOf(MechanicalActuator::MOTION_TYPES, d.motion);
}

std::uint32_t unitOf(const Draft& d) {
    return valueOf(MechanicalActuator::UNITS, d.unit);
}

std::uint32_t topologyOf(const Draft& d) {
    return valueOf(MechanicalActuator::ZERO_TOPOLOGIES, d.topology);
}

/// Cut toward zero; what no integer holds (infinity, say) is beyond every speed of a board.
bool isWithin(float speed, std::int32_t boardSpeed) {
    constexpr float LIMIT = 4294967296.0F;
    return speed < LIMIT && static_cast<std::int64_t>(speed) <= boardSpeed;
}

std::int32_t firstDAC(const Draft& d) {
    return d.initDACs[0];
}

std::int32_t lastDAC(const Draft& d) {
    return d.initDACs[1];
}

std::int32_t stepDAC(const Draft& d) {
    return d.initDACs[2];
}

std::int32_t rangeDAC(const Draft& d) {
    return lastDAC(d) > NO_MOTION_DAC ? lastDAC(d) - firstDAC(d) : firstDAC(d) - lastDAC(d);
}

bool raisesDAC(const Draft& d) {
    return lastDAC(d) > NO_MOTION_DAC;
}

// --- the steps -----------------------------------------------------------------------------------

using Check = bool (*)(const Draft& draft);

/// A key to read, or a requirement. The requirements behind an OPTIONAL key that is absent are not
/// looked at, up to the next key.
struct Step {
    enum Kind { MANDATORY, READ, OPTIONAL, REQUIREMENT, COUNT };

    Kind kind;
    const char* section; ///< of a key
    const char* text;    ///< the key, or the words of the requirement
    Reader reader;       ///< of a key
    Check check;         ///< of a requirement
    std::size_t count;   ///< items of a list
    std::vector<std::int32_t> Draft::*list;
};

constexpr Step key(Step::Kind kind, const char* section, const char* name, Reader reader) {
    return {kind, section, name, reader, nullptr, 0, nullptr};
}

constexpr Step board(Step::Kind kind, const char* name, Reader reader) {
    return key(kind, BOARD_SECTION, name, reader);
}

constexpr Step fus(Step::Kind kind, const char* name, Reader reader) {
    return key(kind, FUS_SECTION, name, reader);
}

constexpr Step count(std::vector<std::int32_t> Draft::*list, const char* name, std::size_t items) {
    return {Step::COUNT, nullptr, name, nullptr, nullptr, items, list};
}

#define REQUIRE(words, condition)                                                                \
    Step {                                                                                       \
        Step::REQUIREMENT, nullptr, words, nullptr, [](const Draft& d) { return condition; }, 0, \
            nullptr                                                                              \
    }

using D = Draft;

constexpr Step STEPS[] = {
    board(Step::MANDATORY, "lowerBound", readInt<&D::lowerBound>),
    board(Step::MANDATORY, "upperBound", readInt<&D::upperBound, -BAD_INTEGER>),
    REQUIRE("m_lowerBound != BAD_INTEGER", d.lowerBound != BAD_INTEGER),
    REQUIRE("m_upperBound != -BAD_INTEGER", d.upperBound != -BAD_INTEGER),
    REQUIRE("m_upperBound > m_lowerBound", d.upperBound > d.lowerBound),
    board(Step::MANDATORY, "maxSpeed", readInt<&D::maxSpeed>),
    REQUIRE("maxSpeed != BAD_INTEGER", d.maxSpeed != BAD_INTEGER),
    REQUIRE("maxSpeed >= 0", d.maxSpeed >= 0),
    board(Step::MANDATORY, "minNegativeDAC", readUnsigned<&D::minNegativeDAC, NO_MOTION_DAC>),
    REQUIRE("minNegativeDAC < 127", d.minNegativeDAC < 127),
    board(Step::MANDATORY, "minPositiveDAC", readUnsigned<&D::minPositiveDAC, NO_MOTION_DAC>),
    REQUIRE("minPositiveDAC > 127 && minPositiveDAC < 256",
            d.minPositiveDAC > 127 && d.minPositiveDAC < 256),
    board(Step::OPTIONAL, "accelDuration", readUnsigned<&D::accelDuration>),
    REQUIRE("accelDuration < 256", d.accelDuration < 256),
    board(Step::READ, "kP", readFloat<&D::kP>),
    board(Step::READ, "kI", readFloat<&D::kI>),
    board(Step::READ, "kD", readFloat<&D::kD>),
    REQUIRE("m_kP != BAD_FLOAT", d.kP != BAD_FLOAT),
    REQUIRE("m_kI != BAD_FLOAT", d.kI != BAD_FLOAT),
    REQUIRE("m_kD != BAD_FLOAT", d.kD != BAD_FLOAT),
    board(Step::READ, "maxIntegralError", readFloat<&D::maxIntegralError>),
    REQUIRE("m_maxIntegralError > 0", d.maxIntegralError > 0),
    board(Step::READ, "toleranceTarget", readUnsigned<&D::toleranceTarget>),
    board(Step::READ, "toleranceMoving", readUnsigned<&D::toleranceMoving>),
    REQUIRE("m_toleranceTarget < 256", d.toleranceTarget < 256),
    REQUIRE("m_toleranceMoving < 256", d.toleranceMoving < 256),
    board(Step::OPTIONAL, "plotMode", readUnsigned<&D::plotMode>),
    REQUIRE("plotMode < 256", d.plotMode < 256),
    board(Step::READ, "inverted", readBool<&D::inverted>),
    board(Step::READ, "ABS", readBool<&D::abs>),
    board(Step::READ, "encoderCableDetection", readBool<&D::encoderCableDetection>),

    fus(Step::READ, "name", readText<&D::name>),
    fus(Step::READ, "motion", readText<&D::motion>),
    REQUIRE("m_motionType != MOTION_UNKNOWN", motionOf(d) != 0),
    fus(Step::READ, "unit", readText<&D::unit>),
    REQUIRE("m_unit != UNIT_UNKNOWN", unitOf(d) != 0),
    fus(Step::READ, "topology", readText<&D::topology>),
    REQUIRE("m_zeroTopology != ZTOPO_UNKNOWN", topologyOf(d) != 0),
    fus(Step::READ, "stepSize", readFloat<&D::stepSize>),
    REQUIRE("m_stepSize != BAD_FLOAT", d.stepSize != BAD_FLOAT),
    REQUIRE("m_stepSize > 0", d.stepSize > 0),
    fus(Step::READ, "maxUserSpeed", readFloat<&D::maxUserSpeed>),
    REQUIRE("m_maxUserSpeed > 0", d.maxUserSpeed > 0),
    REQUIRE("static_cast<uint32_t>(m_maxUserSpeed) <= m_boardMaxSpeed",
            isWithin(d.maxUserSpeed, d.maxSpeed)),
    fus(Step::OPTIONAL, "defUserSpeed", readFloat<&D::defUserSpeed>),
    REQUIRE("m_defaultUserSpeed > 0", d.defUserSpeed > 0),
    REQUIRE("m_defaultUserSpeed < m_maxUserSpeed", d.defUserSpeed < d.maxUserSpeed),
    fus(Step::READ, "initDACs", readList<&D::initDACs>),
    count(&D::initDACs, "initDAC", 3),
    REQUIRE("initDAC[0] >= 0", d.initDACs[0] >= 0),
    REQUIRE("initDAC[0] < 256", d.initDACs[0] < 256),
    REQUIRE("initDAC[1] >= 0", d.initDACs[1] >= 0),
    REQUIRE("initDAC[1] < 256", d.initDACs[1] < 256),
    REQUIRE("initDAC[2] >= 0", d.initDACs[2] >= 0),
    REQUIRE("initDAC[2] < 256", d.initDACs[2] < 256),
    REQUIRE("m_originParams.lastDAC != 127u", lastDAC(d) != NO_MOTION_DAC),
    REQUIRE("m_originParams.firstDAC > 127u", !raisesDAC(d) || firstDAC(d) > NO_MOTION_DAC),
    REQUIRE("m_originParams.firstDAC < m_originParams.lastDAC",
            !raisesDAC(d) || firstDAC(d) < lastDAC(d)),
    REQUIRE("m_originParams.firstDAC < 127u", raisesDAC(d) || firstDAC(d) < NO_MOTION_DAC),
    REQUIRE("m_originParams.firstDAC > m_originParams.lastDAC",
            raisesDAC(d) || firstDAC(d) > lastDAC(d)),
    REQUIRE("m_originParams.stepDAC > 0u", stepDAC(d) > 0),
    REQUIRE("m_originParams.stepDAC <= rangeDAC", stepDAC(d) <= rangeDAC(d)),
    fus(Step::OPTIONAL, "initTimeout", readInt<&D::initTimeout>),
    REQUIRE("initTimeout > 9", d.initTimeout > 9),
    REQUIRE("initTimeout != BAD_INTEGER", d.initTimeout != BAD_INTEGER),
    fus(Step::OPTIONAL, "initPark", readList<&D::initPark>),
    count(&D::initPark, "initPark", 2),
    REQUIRE("m_originParams.parkPosition >= m_lowerBound", d.initPark[0] >= d.lowerBound),
    REQUIRE("m_originParams.parkPosition <= m_upperBound", d.initPark[0] <= d.upperBound),
    REQUIRE("parkParams[1] > 0", d.initPark[1] > 0),
};

#undef REQUIRE

/// Whether all mandatory keys are there is told by this one alone, whatever key the text names.
constexpr const char* PRESENCE_KEY = "minNegativeDAC";

class ActuatorReading {
public:
    explicit ActuatorReading(const ConfigSection& section)
        : m_section(section), m_board(section.findSection(BOARD_SECTION)),
          m_fus(section.findSection(FUS_SECTION)) {}

    bool run(Draft& draft) {
        if (!hasSection(m_board, BOARD_SECTION) || !hasSection(m_fus, FUS_SECTION)) {
            return false;
        }
        draft.name = m_section.name();
        for (const Step& step : STEPS) {
            if (!take(step, draft)) {
                return false;
            }
        }
        return true;
    }

private:
    bool hasSection(const ConfigSection* section, const char* name) const {
        if (section == nullptr) {
            FUS_LOG(ERROR, "Missing section [%s/%s]", m_section.name(), name);
        }
        return section != nullptr;
    }

    bool take(const Step& step, Draft& draft) {
        switch (step.kind) {
        case Step::REQUIREMENT:
            return m_absent || holds(step, draft);
        case Step::COUNT:
            return m_absent || hasCount(step, draft);
        default:
            return readKey(step, draft);
        }
    }

    bool readKey(const Step& step, Draft& draft) {
        const ConfigSection& section = step.section == BOARD_SECTION ? *m_board : *m_fus;
        m_absent = step.kind == Step::OPTIONAL && !section.hasParam(step.text);
        if (step.kind == Step::MANDATORY && !section.hasParam(PRESENCE_KEY)) {
            FUS_LOG(ERROR, "A mandatory parameter is missing: [%s/%s].%s.", m_section.name(),
                    step.section, step.text);
            return false;
        }
        if (!m_absent) {
            step.reader(section, step.text, draft);
        }
        return true;
    }

    bool holds(const Step& step, const Draft& draft) const {
        const bool good = step.check(draft);
        if (!good) {
            FUS_LOG(ERROR, "Parameter requirement failed: [%s] %s. Config rejected and cleared.",
                    m_section.name(), step.text);
        }
        return good;
    }

    bool hasCount(const Step& step, const Draft& draft) const {
        const std::size_t items = (draft.*step.list).size();
        if (items != step.count) {
            FUS_LOG(ERROR, "Unexpected (or missing) value for [%s/FUS].%s, (%u values/%u expected)",
                    m_section.name(), step.text, static_cast<unsigned>(items),
                    static_cast<unsigned>(step.count));
        }
        return items == step.count;
    }

    const ConfigSection& m_section;
    const ConfigSection* m_board;
    const ConfigSection* m_fus;
    bool m_absent = false; // the optional key that the next requirements are about
};

std::uint8_t byteOf(std::uint32_t value) {
    return static_cast<std::uint8_t>(value);
}

std::uint8_t byteOf(std::int32_t value) {
    return static_cast<std::uint8_t>(value);
}

void store(const Draft& draft, OriginParams& params) {
    params.initTimeout = draft.initTimeout;
    params.firstDAC = byteOf(firstDAC(draft));
    params.lastDAC = byteOf(lastDAC(draft));
    params.stepDAC = byteOf(stepDAC(draft));
    if (!draft.initPark.empty()) {
        params.parkPosition = draft.initPark[0];
        params.parkDuration = draft.initPark[1];
    }
}

void store(const Draft& draft, MechanicalActuatorData& data) {
    data.name = draft.name != nullptr ? draft.name : "";
    data.motionType = static_cast<MechanicalActuator::MotionType>(motionOf(draft));
    data.unit = static_cast<MechanicalActuator::Unit>(unitOf(draft));
    data.zeroTopology = static_cast<MechanicalActuator::ZeroTopology>(topologyOf(draft));
    data.lowerBound = draft.lowerBound;
    data.upperBound = draft.upperBound;
    data.kP = draft.kP;
    data.kI = draft.kI;
    data.kD = draft.kD;
    data.maxIntegralError = draft.maxIntegralError;
    data.stepSize = draft.stepSize;
    data.toleranceMoving = draft.toleranceMoving;
    data.toleranceTarget = draft.toleranceTarget;
    data.boardMaxSpeed = static_cast<std::uint32_t>(draft.maxSpeed);
    data.maxUserSpeed = draft.maxUserSpeed;
    data.minNegativeDAC = byteOf(draft.minNegativeDAC);
    data.minPositiveDAC = byteOf(draft.minPositiveDAC);
    data.accelDuration = byteOf(draft.accelDuration);
    data.plotMode = byteOf(draft.plotMode);
    data.inverted = draft.inverted;
    data.abs = draft.abs;
    data.encoderCableDetection = draft.encoderCableDetection;
    // only an absent key leaves the mark
    data.defaultUserSpeed =
        draft.defUserSpeed == BAD_FLOAT ? draft.maxUserSpeed * 0.5F : draft.defUserSpeed;
    store(draft, data.originParams);
}

} // namespace

bool MechanicalActuator::init(const ConfigSection& section) {
    Draft draft;
    if (!ActuatorReading(section).run(draft)) {
        return false;
    }
    store(draft, *m_data);
    return true;
}

} // namespace fus
