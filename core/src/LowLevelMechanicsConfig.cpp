// How a definition gets to the board: what the board can do, what it holds, what it is told.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_Connection.h"
#include "fus/P_DefinitionReview.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"
#include "fus/P_MechanicalActuatorSteps.h"

#include <cmath>

namespace fus {

using namespace mprotocol;

namespace {

constexpr std::uint16_t BPARAM_MOT_PROTOCOL = 3600;
constexpr unsigned BOARD_PARAM_SIZE = 8;

/// [step/ms], what the board counts in.
std::uint32_t boardSpeed(const MechanicalActuatorData& a) {
    constexpr float MS_PER_SECOND = 1000.0F;
    return static_cast<std::uint32_t>(static_cast<float>(a.boardMaxSpeed) / MS_PER_SECOND);
}

/// A parameter that the definition decides on: integers and booleans have a word, floats a value
/// and by how much the board's may differ.
struct ConfigRow {
    MechParam param;
    const char* key; ///< of the definition
    std::uint32_t (*word)(const MechanicalActuatorData&);
    float (*real)(const MechanicalActuatorData&);
    float tolerance;
};

#define WORD(param, key, value)                                                                    \
    ConfigRow {                                                                                    \
        param, key, [](const MechanicalActuatorData& a) { return std::uint32_t(value); }, nullptr, \
            0                                                                                      \
    }
#define REAL(param, key, value, tolerance)                                                   \
    ConfigRow {                                                                              \
        param, key, nullptr, [](const MechanicalActuatorData& a) -> float { return value; }, \
            tolerance                                                                        \
    }

/// In the order in which they are checked.
constexpr ConfigRow CONFIG[] = {
    WORD(PARAM_UPPER_BOUND, "upperBound", a.upperBound),
    WORD(PARAM_LOWER_BOUND, "lowerBound", a.lowerBound),
    WORD(PARAM_INVERTED, "inverted", a.inverted),
    WORD(PARAM_ABS_ENABLED, "ABS", a.abs),
    WORD(PARAM_ENCODER_DETECTION, "encoderCableDetection", a.encoderCableDetection),
    WORD(PARAM_ZERO_COUNT, "topology", a.zeroCount()),
    WORD(PARAM_MAX_SPEED, "maxSpeed", boardSpeed(a)),
    WORD(PARAM_DAC_MIN_NEG, "minNegativeDAC", a.minNegativeDAC),
    WORD(PARAM_DAC_MIN_POS, "minPositiveDAC", a.minPositiveDAC),
    WORD(PARAM_ACCEL_DURATION, "accelDuration", a.accelDuration),
    WORD(PARAM_TOLERANCE_MOVING, "toleranceMoving", a.toleranceMoving),
    WORD(PARAM_TOLERANCE_TARGET, "toleranceTarget", a.toleranceTarget),
    WORD(PARAM_PLOT_MODE, "plotMode", a.plotMode),
    REAL(PARAM_KP, "kP", a.kP, 0.01F),
    REAL(PARAM_KI, "kI", a.kI, 0.01F),
    REAL(PARAM_KD, "kD", a.kD, 0.01F),
    REAL(PARAM_MAX_INT_ERROR, "maxIntegralError", a.maxIntegralError, 1.0F),
};

#undef WORD
#undef REAL

/// In the order in which they are sent.
constexpr MechParam SEND_ORDER[] = {PARAM_INVERTED,
                                    PARAM_ZERO_COUNT,
                                    PARAM_MAX_SPEED,
                                    PARAM_DAC_MIN_NEG,
                                    PARAM_DAC_MIN_POS,
                                    PARAM_ACCEL_DURATION,
                                    PARAM_TOLERANCE_MOVING,
                                    PARAM_TOLERANCE_TARGET,
                                    PARAM_UPPER_BOUND,
                                    PARAM_LOWER_BOUND,
                                    PARAM_PLOT_MODE,
                                    PARAM_ABS_ENABLED,
                                    PARAM_ENCODER_DETECTION,
                                    PARAM_KP,
                                    PARAM_KI,
                                    PARAM_KD,
                                    PARAM_MAX_INT_ERROR};

const ConfigRow& configRow(MechParam param) {
    const ConfigRow* row = CONFIG;
    while (row->param != param) {
        ++row;
    }
    return *row;
}

const char* yesNo(bool value) {
    return value ? "yes" : "no";
}

void logException(const FUSException& e) {
    FUS_LOG(ERROR, "Exception: %s (code=%d) in %s @ %d", e.message(),
            static_cast<int>(e.errorCode()), e.sourceFile(), static_cast<int>(e.line()));
}

/// What the board holds, or is to hold.
struct ConfigValue {
    std::uint32_t word;
    float real;
};

bool isSame(const ConfigRow& row, const ConfigValue& found, const ConfigValue& expected) {
    if (row.word == nullptr) {
        return std::fabs(found.real - expected.real) <= row.tolerance; // a NaN never is
    }
    return MECH_PARAMS[row.param].type == MechParamType::BOOL
               ? (found.word != 0) == (expected.word != 0)
               : found.word == expected.word;
}

void logDifference(unsigned index, const ConfigRow& row, const ConfigValue& found,
                   const ConfigValue& expected) {
    const MechParamRow& param = MECH_PARAMS[row.param];
    if (row.word == nullptr) {
        FUS_LOG(INFO, "  MOT[%u][%s] = %g but expecting %g.", index, param.shortName(),
                static_cast<double>(found.real), static_cast<double>(expected.real));
    } else if (param.type == MechParamType::BOOL) {
        FUS_LOG(INFO, "  MOT[%u][%s] = %s but expecting %s.", index, param.shortName(),
                yesNo(found.word != 0), yesNo(expected.word != 0));
    } else {
        FUS_LOG(INFO, "  MOT[%u][%s] = %u but expecting %u.", index, param.shortName(), found.word,
                expected.word);
    }
}

/// Of what the board counts otherwise than the definition.
const char* unitOf(MechParam param) {
    return param == PARAM_MAX_SPEED    ? " step/ms"
           : param == PARAM_ZERO_COUNT ? " optical references"
                                       : "";
}

std::string textOf(const ConfigRow& row, const ConfigValue& value) {
    if (row.word == nullptr) {
        return asWritten(value.real);
    }
    switch (MECH_PARAMS[row.param].type) {
    case MechParamType::BOOL:
        return asWritten(value.word != 0);
    case MechParamType::INT32:
        return asWritten(static_cast<std::int32_t>(value.word));
    default:
        return asWritten(value.word) + unitOf(row.param);
    }
}

LowLevelMechanics::ConfigDifference differenceOf(unsigned index, const ConfigRow& row,
                                                 const ConfigValue& found,
                                                 const ConfigValue& expected) {
    // the topology is the library's own, and the board is told what follows from it
    const bool isBoards = row.param != PARAM_ZERO_COUNT;
    return {index,
            row.param,
            isBoards ? MechanicalActuatorStep::BOARD_SECTION : MechanicalActuatorStep::FUS_SECTION,
            row.key,
            textOf(row, found),
            textOf(row, expected)};
}

} // namespace

unsigned LowLevelMechanicsPrivate::maxActuatorCount() const {
    if (m_maxActuators == 0) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
    return m_maxActuators;
}

unsigned LowLevelMechanicsPrivate::maxDisplacementSize() const {
    if (m_maxDisplacementSize == 0) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
    return m_maxDisplacementSize;
}

bool LowLevelMechanicsPrivate::sendConfig(bool force) {
    const OperationMark op = beginOperation();
    if (!m_definitionLoaded || op.definition->actuators.empty()) {
        FUS_LOG(ERROR, "Please load a config file before calling sendConfig().");
        return false;
    }
    FUS_LOG(INFO,
            "------------------------------ Sending MOT config (force=%s) "
            "------------------------------",
            yesNo(force));
    m_configSent = false;
    bool sent = false;
    try {
        if (!checkFirmware(op) || !readProtocolVersion(op) || !readCapacities(op)) {
            return false;
        }
        sent = configure(op, force);
    } catch (const FUSException& e) {
        logException(e);
    }
    FUS_LOG(INFO,
            "++++++++++++++++++++++++++++++ End of MOT config ++++++++++++++++++++++++++++++");
    return sent;
}

bool LowLevelMechanicsPrivate::configure(const OperationMark& op, bool force) {
    struct Configuring { // reset on every way out
        LowLevelMechanicsPrivate& mechanics;
        const OperationMark& op;
        ~Configuring() { mechanics.store(op, mechanics.m_configuring, false); }
    };
    store(op, m_configuring, true);
    const Configuring configuring{*this, op};
    bool same = !force && checkParameters(op);
    if (!force && !same) {
        FUS_LOG(INFO, "Soft init failed, trying normal init.");
    }
    same = same || sendParameters(op);
    // not for a board that is gone, or that another definition is for
    return store(op, m_configSent, same) && same;
}

bool LowLevelMechanicsPrivate::checkFirmware(const OperationMark& op) {
    const Version version = linkOf(op).config().getVersion(VERSION_MOT_FIRMWARE);
    if (version == nullVersion) {
        FUS_LOG(ERROR, "No mechanical system found.");
        return false;
    }
    if (version.v1 < OLDEST_MOT_FIRMWARE) {
        FUS_LOG(ERROR, "Mechanical system version not supported (v3+ required).");
        return false;
    }
    return true;
}

bool LowLevelMechanicsPrivate::readProtocolVersion(const OperationMark& op) {
    FUS_LOG(INFO, "----- Reading global MOT parameters");
    FUS_LOG(INFO, "Read MOT protocol version");
    NetPacket request = littleEndianPacket(2);
    request.write16(BPARAM_MOT_PROTOCOL);
    const unsigned id = linkOf(op).sendBoardCommand(gprotocol::HWID_MECHANICS, MOT_ADDRESS, 0,
                                                    gprotocol::CMD_BOARD_PARAM_GET, request);
    NetPacket answer = littleEndianPacket(BOARD_PARAM_SIZE);
    if (linkOf(op).readBoardAnswer(gprotocol::HWID_MECHANICS, MOT_ADDRESS, id,
                                   gprotocol::CMD_BOARD_PARAM_GET, answer,
                                   TIMEOUT_DEFAULT) != BOARD_PARAM_SIZE) {
        FUS_LOG(ERROR, "Can not read the MOT protocol version");
        return false;
    }
    const unsigned version = answer.read32();
    store(op, m_protocolVersion, version);
    FUS_LOG(INFO, "  MOT protocol version: %u", version);
    return true;
}

bool LowLevelMechanicsPrivate::readCapacities(const OperationMark& op) {
    const unsigned supported = readInt(op, 0, PARAM_R_MAX_AXIS_COUNT);
    store(op, m_maxActuators, supported);
    FUS_LOG(INFO, "  Supported actuators = %u", supported);
    const auto actuators = static_cast<unsigned>(op.definition->actuators.size());
    if (actuators > supported) {
        FUS_LOG(ERROR, "Too many (%u) actuators defined in loaded config, only %u supported.",
                actuators, supported);
        return false;
    }
    const unsigned moves = readInt(op, 0, PARAM_R_TRAJ_MAXSIZE);
    store(op, m_maxDisplacementSize, moves);
    FUS_LOG(INFO, "  Max displacement size = %d moves", static_cast<int>(moves));
    const unsigned lines = readInt(op, 0, PARAM_R_LOG_SIZE);
    store(op, m_logSize, lines);
    FUS_LOG(INFO, "  Log size = %d lines", static_cast<int>(lines));
    return true;
}

// The board is not to work by values of a definition that is gone.
void LowLevelMechanicsPrivate::requireDefinition(const OperationMark& op) const {
    if (definition() != op.definition) {
        FUS_THROW(ERR_MECH_NO_CONFIG);
    }
}

/// Reads the board's parameters, and calls tell(index, row, found, expected) for each one that
/// differs, until that gives false.
template <typename Found>
void LowLevelMechanicsPrivate::forEachDifference(const OperationMark& op, Found tell) {
    for (const unsigned index : op.definition->initOrder) {
        FUS_LOG(INFO, "----- Checking MOT parameters for actuator %d", static_cast<int>(index));
        const MechanicalActuatorData& actuator = *op.definition->at(index).m_data;
        for (const ConfigRow& row : CONFIG) {
            requireDefinition(op);
            const bool isWord = row.word != nullptr;
            const ConfigValue found{isWord ? readInt(op, index, row.param) : 0,
                                    isWord ? 0.0F : readFloat(op, index, row.param)};
            const ConfigValue expected{isWord ? row.word(actuator) : 0,
                                       isWord ? 0.0F : row.real(actuator)};
            if (!isSame(row, found, expected) && !tell(index, row, found, expected)) {
                return;
            }
        }
    }
}

bool LowLevelMechanicsPrivate::checkParameters(const OperationMark& op) {
    if (!m_configuring) {
        FUS_LOG(ERROR, "checkParameters() ignored outside configSent().");
        return false;
    }
    bool same = true;
    try {
        forEachDifference(op, [&](unsigned index, const ConfigRow& row, const ConfigValue& found,
                                  const ConfigValue& expected) {
            logDifference(index, row, found, expected);
            same = false;
            return false;
        });
        return same;
    } catch (const FUSException& e) {
        logException(e);
        return false;
    }
}

std::vector<LowLevelMechanics::ConfigDifference> LowLevelMechanicsPrivate::readConfigDifferences() {
    std::vector<LowLevelMechanics::ConfigDifference> differences;
    forEachDifference(beginOperation(), [&](unsigned index, const ConfigRow& row,
                                            const ConfigValue& found, const ConfigValue& expected) {
        differences.push_back(differenceOf(index, row, found, expected));
        return true;
    });
    return differences;
}

bool LowLevelMechanicsPrivate::sendParameters(const OperationMark& op) {
    if (!m_configuring) {
        FUS_LOG(ERROR, "sendParameters() ignored outside configSent().");
        return false;
    }
    try {
        for (const unsigned index : op.definition->initOrder) {
            FUS_LOG(INFO, "----- Sending MOT parameters for actuator %d", static_cast<int>(index));
            const MechanicalActuator& actuator = op.definition->at(index);
            for (const MechParam param : SEND_ORDER) {
                const ConfigRow& row = configRow(param);
                requireDefinition(op);
                if (row.word != nullptr) {
                    writeInt(op, index, param, row.word(*actuator.m_data));
                } else {
                    writeFloat(op, index, param, row.real(*actuator.m_data));
                }
            }
            writeInt(op, index, PARAM_ORIGIN_FOUND, 0);
            actuator.clearOrigin();
        }
        return true;
    } catch (const FUSException& e) {
        logException(e);
        return false;
    }
}

} // namespace fus
