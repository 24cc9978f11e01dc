// The keys of an actuator, and what is required of them.

#include "fus/P_MechanicalActuatorSteps.h"

#include "fus/P_Config.h"

#include <iterator>

namespace fus {

namespace {

using Draft = MechanicalActuatorDraft;
using Step = MechanicalActuatorStep;

constexpr std::int32_t BAD_INTEGER = MechanicalActuator::BAD_INTEGER;
constexpr float BAD_FLOAT = MechanicalActuator::BAD_FLOAT;
constexpr std::int32_t NO_MOTION_DAC = 127;
constexpr std::int32_t STEPS_PER_BOARD_SPEED = 1000; // [step/s] in a step/ms

// --- how keys are read, by their type ------------------------------------------------------------

struct Access {
    ValueKind kind;
    void (*read)(const ConfigSection& section, const char* key, Draft& draft);
    std::string (*written)(const Draft& draft);
};

/// Empty for the mark that an absent key leaves.
template <auto FIELD, typename T>
std::string writtenBut(const Draft& draft, T mark) {
    return draft.*FIELD == mark ? std::string() : asWritten(draft.*FIELD);
}

template <std::int32_t Draft::*FIELD, std::int32_t DEFAULT = BAD_INTEGER>
constexpr Access INT{ValueKind::INTEGER,
                     [](const ConfigSection& section, const char* key, Draft& draft) {
                         draft.*FIELD = section.getInt(key, DEFAULT);
                     },
                     [](const Draft& draft) { return writtenBut<FIELD>(draft, DEFAULT); }};

template <std::uint32_t MechanicalActuatorDraft::*FIELD, std::uint32_t DEFAULT = BAD_INTEGER>
constexpr Access UNSIGNED{ValueKind::UNSIGNED,
                          [](const ConfigSection& section, const char* key, Draft& draft) {
                              draft.*FIELD = section.getUnsigned(key, DEFAULT);
                          },
                          [](const Draft& draft) { return writtenBut<FIELD>(draft, DEFAULT); }};

template <float Draft::*FIELD>
constexpr Access FLOAT{ValueKind::FLOAT,
                       [](const ConfigSection& section, const char* key, Draft& draft) {
                           draft.*FIELD = section.getFloat(key, BAD_FLOAT);
                       },
                       [](const Draft& draft) { return writtenBut<FIELD>(draft, BAD_FLOAT); }};

template <bool Draft::*FIELD>
constexpr Access BOOL{ValueKind::BOOL,
                      [](const ConfigSection& section, const char* key, Draft& draft) {
                          draft.*FIELD = section.getBool(key, draft.*FIELD);
                      },
                      [](const Draft& draft) { return asWritten(draft.*FIELD); }};

template <const char* Draft::*FIELD>
constexpr Access TEXT{ValueKind::TEXT,
                      [](const ConfigSection& section, const char* key, Draft& draft) {
                          draft.*FIELD = section.getString(key, draft.*FIELD);
                      },
                      [](const Draft& draft) { return asWritten(draft.*FIELD); }};

template <std::vector<std::int32_t> Draft::*FIELD>
constexpr Access LIST{ValueKind::INTEGERS,
                      [](const ConfigSection& section, const char* key, Draft& draft) {
                          section.getInts(key, draft.*FIELD);
                      },
                      [](const Draft& draft) { return asWritten(draft.*FIELD); }};

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

bool isRotation(const Draft& d) {
    return d.motionType() == MechanicalActuator::MOTION_ROTATION;
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

constexpr Step board(Step::Kind kind, const char* name, const Access& access,
                     const char* expected = nullptr) {
    return {kind, Step::BOARD_SECTION, name, {access.kind, expected}, access.read, access.written};
}

constexpr Step fus(Step::Kind kind, const char* name, const Access& access,
                   const char* expected = nullptr) {
    return {kind, Step::FUS_SECTION, name, {access.kind, expected}, access.read, access.written};
}

/// One of the texts of a table, but for its first row, which stands for none of them.
template <std::size_t N>
constexpr Step word(const char* name, const Access& access, const gprotocol::EnumRow (&rows)[N]) {
    Step step = fus(Step::READ, name, access);
    step.rule = ValueRule{ValueKind::WORD}.oneOf(rows, 1);
    return step;
}

constexpr Step count(std::vector<std::int32_t> Draft::*list, const char* name, std::size_t items) {
    Step step{Step::COUNT, nullptr, name};
    step.list = list;
    step.count = items;
    return step;
}

constexpr Step require(const char* words, bool (*check)(const Draft& draft),
                       const char* about = nullptr, const char* needs = nullptr) {
    Step step{Step::REQUIREMENT, nullptr, words};
    step.check = check;
    step.about = about;
    step.needs = needs;
    return step;
}

constexpr Step advise(DefinitionComplaint::Weight weight, const char* words,
                      bool (*check)(const Draft& draft)) {
    Step step{Step::ADVICE, nullptr, words};
    step.check = check;
    step.weight = weight;
    return step;
}

#define REQUIRE(words, condition) require(words, [](const Draft& d) { return condition; })
#define REQUIRE_OF(about, words, condition) \
    require(                                \
        words, [](const Draft& d) { return condition; }, about)
#define REQUIRE_IF(needs, words, condition) \
    require(                                \
        words, [](const Draft& d) { return condition; }, nullptr, needs)
#define ADVISE(weight, words, condition) \
    advise(DefinitionComplaint::weight, words, [](const Draft& d) { return condition; })

using D = Draft;

constexpr const char* BYTE = "a whole number from 0 to 255";
constexpr const char* GAIN = "a number, but not -1";
constexpr const char* POSITIVE = "a number above 0";

constexpr Step STEPS[] = {
    board(Step::MANDATORY, "lowerBound", INT<&D::lowerBound>, "a whole number below upperBound"),
    board(Step::MANDATORY, "upperBound", INT<&D::upperBound, -BAD_INTEGER>,
          "a whole number above lowerBound"),
    REQUIRE_OF("lowerBound", "m_lowerBound != BAD_INTEGER", d.lowerBound != BAD_INTEGER),
    REQUIRE("m_upperBound != -BAD_INTEGER", d.upperBound != -BAD_INTEGER),
    REQUIRE_IF("lowerBound", "m_upperBound > m_lowerBound", d.upperBound > d.lowerBound),
    board(Step::MANDATORY, "maxSpeed", INT<&D::maxSpeed>, "a whole number of thousands"),
    REQUIRE("maxSpeed != BAD_INTEGER", d.maxSpeed != BAD_INTEGER),
    REQUIRE("maxSpeed >= 0", d.maxSpeed >= 0),
    ADVISE(IGNORED, "below 1000 step/s the board, which counts in step/ms, has the speed 0",
           d.maxSpeed >= STEPS_PER_BOARD_SPEED),
    ADVISE(ODD, "the board counts in step/ms: what is left below a thousand is cut off",
           d.maxSpeed % STEPS_PER_BOARD_SPEED == 0),
    board(Step::MANDATORY, "minNegativeDAC", UNSIGNED<&D::minNegativeDAC, NO_MOTION_DAC>,
          "a whole number from 0 to 126"),
    REQUIRE("minNegativeDAC < 127", d.minNegativeDAC < 127),
    board(Step::MANDATORY, "minPositiveDAC", UNSIGNED<&D::minPositiveDAC, NO_MOTION_DAC>,
          "a whole number from 128 to 255"),
    REQUIRE("minPositiveDAC > 127 && minPositiveDAC < 256",
            d.minPositiveDAC > 127 && d.minPositiveDAC < 256),
    board(Step::OPTIONAL, "accelDuration", UNSIGNED<&D::accelDuration>, BYTE),
    REQUIRE("accelDuration < 256", d.accelDuration < 256),
    board(Step::READ, "kP", FLOAT<&D::kP>, GAIN),
    board(Step::READ, "kI", FLOAT<&D::kI>, GAIN),
    board(Step::READ, "kD", FLOAT<&D::kD>, GAIN),
    REQUIRE_OF("kP", "m_kP != BAD_FLOAT", d.kP != BAD_FLOAT),
    REQUIRE_OF("kI", "m_kI != BAD_FLOAT", d.kI != BAD_FLOAT),
    REQUIRE_OF("kD", "m_kD != BAD_FLOAT", d.kD != BAD_FLOAT),
    board(Step::READ, "maxIntegralError", FLOAT<&D::maxIntegralError>, POSITIVE),
    REQUIRE("m_maxIntegralError > 0", d.maxIntegralError > 0),
    board(Step::READ, "toleranceTarget", UNSIGNED<&D::toleranceTarget>, BYTE),
    board(Step::READ, "toleranceMoving", UNSIGNED<&D::toleranceMoving>, BYTE),
    REQUIRE_OF("toleranceTarget", "m_toleranceTarget < 256", d.toleranceTarget < 256),
    REQUIRE_OF("toleranceMoving", "m_toleranceMoving < 256", d.toleranceMoving < 256),
    board(Step::OPTIONAL, "plotMode", UNSIGNED<&D::plotMode>, BYTE),
    REQUIRE("plotMode < 256", d.plotMode < 256),
    board(Step::READ, "inverted", BOOL<&D::inverted>),
    board(Step::READ, "ABS", BOOL<&D::abs>),
    board(Step::READ, "encoderCableDetection", BOOL<&D::encoderCableDetection>),

    fus(Step::READ, "name", TEXT<&D::name>),
    word("motion", TEXT<&D::motion>, MechanicalActuator::MOTION_TYPES),
    REQUIRE("m_motionType != MOTION_UNKNOWN", d.motionType() != 0),
    word("unit", TEXT<&D::unit>, MechanicalActuator::UNITS),
    REQUIRE("m_unit != UNIT_UNKNOWN", d.unitType() != 0),
    ADVISE(ODD, "a translation is told in mm, a rotation in rad",
           d.motionType() == 0 ||
               isRotation(d) == (d.unitType() == MechanicalActuator::UNIT_RADIAN)),
    word("topology", TEXT<&D::topology>, MechanicalActuator::ZERO_TOPOLOGIES),
    REQUIRE("m_zeroTopology != ZTOPO_UNKNOWN", d.topologyType() != 0),
    ADVISE(ODD, "L1 and L2 are linear encoders, R1 is a rotary one",
           d.motionType() == 0 ||
               isRotation(d) == (d.topologyType() == MechanicalActuator::ZTOPO_R1)),
    fus(Step::READ, "stepSize", FLOAT<&D::stepSize>, POSITIVE),
    REQUIRE("m_stepSize != BAD_FLOAT", d.stepSize != BAD_FLOAT),
    REQUIRE("m_stepSize > 0", d.stepSize > 0),
    fus(Step::READ, "maxUserSpeed", FLOAT<&D::maxUserSpeed>,
        "a number above 0, and at most maxSpeed"),
    REQUIRE("m_maxUserSpeed > 0", d.maxUserSpeed > 0),
    REQUIRE("static_cast<uint32_t>(m_maxUserSpeed) <= m_boardMaxSpeed",
            isWithin(d.maxUserSpeed, d.maxSpeed)),
    fus(Step::OPTIONAL, "defUserSpeed", FLOAT<&D::defUserSpeed>,
        "a number above 0, and below maxUserSpeed"),
    REQUIRE("m_defaultUserSpeed > 0", d.defUserSpeed > 0),
    REQUIRE_IF("maxUserSpeed", "m_defaultUserSpeed < m_maxUserSpeed",
               d.defUserSpeed < d.maxUserSpeed),
    fus(Step::READ, "initDACs", LIST<&D::initDACs>,
        "first|last|step: both DAC values on one side of 127, the last one further away from it, "
        "and a step of at most their distance"),
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
    fus(Step::OPTIONAL, "initTimeout", INT<&D::initTimeout>, "a whole number from 10 on"),
    REQUIRE("initTimeout > 9", d.initTimeout > 9),
    REQUIRE("initTimeout != BAD_INTEGER", d.initTimeout != BAD_INTEGER),
    fus(Step::OPTIONAL, "initPark", LIST<&D::initPark>,
        "position|duration: a position within the bounds, and a duration above 0"),
    count(&D::initPark, "initPark", 2),
    REQUIRE_IF("lowerBound", "m_originParams.parkPosition >= m_lowerBound",
               d.initPark[0] >= d.lowerBound),
    REQUIRE_IF("upperBound", "m_originParams.parkPosition <= m_upperBound",
               d.initPark[0] <= d.upperBound),
    REQUIRE("parkParams[1] > 0", d.initPark[1] > 0),
};

#undef REQUIRE
#undef REQUIRE_OF
#undef REQUIRE_IF
#undef ADVISE

} // namespace

std::uint32_t MechanicalActuatorDraft::motionType() const {
    return valueOf(MechanicalActuator::MOTION_TYPES, motion);
}

std::uint32_t MechanicalActuatorDraft::unitType() const {
    return valueOf(MechanicalActuator::UNITS, unit);
}

std::uint32_t MechanicalActuatorDraft::topologyType() const {
    return valueOf(MechanicalActuator::ZERO_TOPOLOGIES, topology);
}

const Step* MechanicalActuatorSteps::begin() const {
    return std::begin(STEPS);
}

const Step* MechanicalActuatorSteps::end() const {
    return std::end(STEPS);
}

} // namespace fus
