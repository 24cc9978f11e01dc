// How a definition gets to the board: what the board can do, what it holds, what it is told.

#include "fus/P_LowLevelMechanicsPrivate.h"

#include "fus/P_Connection.h"
#include "fus/P_GProtocol.h"
#include "fus/P_LogMacros.h"

#include <cmath>

namespace fus {

using namespace mprotocol;

namespace {

constexpr unsigned OLDEST_FIRMWARE = 3;
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
    std::uint32_t (*word)(const MechanicalActuatorData&);
    float (*real)(const MechanicalActuatorData&);
    float tolerance;
};

#define WORD(param, value)                                                                      \
    ConfigRow {                                                                                 \
        param, [](const MechanicalActuatorData& a) { return std::uint32_t(value); }, nullptr, 0 \
    }
#define REAL(param, value, tolerance)                                                             \
    ConfigRow {                                                                                   \
        param, nullptr, [](const MechanicalActuatorData& a) -> float { return value; }, tolerance \
    }

/// In the order in which they are checked.
constexpr ConfigRow CONFIG[] = {
    WORD(PARAM_UPPER_BOUND, a.upperBound),
    WORD(PARAM_LOWER_BOUND, a.lowerBound),
    WORD(PARAM_INVERTED, a.inverted),
    WORD(PARAM_ABS_ENABLED, a.abs),
    WORD(PARAM_ENCODER_DETECTION, a.encoderCableDetection),
    WORD(PARAM_ZERO_COUNT, a.zeroCount()),
    WORD(PARAM_MAX_SPEED, boardSpeed(a)),
    WORD(PARAM_DAC_MIN_NEG, a.minNegativeDAC),
    WORD(PARAM_DAC_MIN_POS, a.minPositiveDAC),
    WORD(PARAM_ACCEL_DURATION, a.accelDuration),
    WORD(PARAM_TOLERANCE_MOVING, a.toleranceMoving),
    WORD(PARAM_TOLERANCE_TARGET, a.toleranceTarget),
    WORD(PARAM_PLOT_MODE, a.plotMode),
    REAL(PARAM_KP, a.kP, 0.01F),
    REAL(PARAM_KI, a.kI, 0.01F),
    REAL(PARAM_KD, a.kD, 0.01F),
    REAL(PARAM_MAX_INT_ERROR, a.maxIntegralError, 1.0F),
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

/// Whether the board's word is the definition's; a difference is logged.
bool isSame(unsigned index, const MechParamRow& param, std::uint32_t found,
            std::uint32_t expected) {
    const bool isBool = param.type == MechParamType::BOOL;
    if (isBool ? (found != 0) == (expected != 0) : found == expected) {
        return true;
    }
    if (isBool) {
        FUS_LOG(INFO, "  MOT[%u][%s] = %s but expecting %s.", index, param.shortName(),
                yesNo(found != 0), yesNo(expected != 0));
    } else {
        FUS_LOG(INFO, "  MOT[%u][%s] = %u but expecting %u.", index, param.shortName(), found,
                expected);
    }
    return false;
}

bool isSame(unsigned index, const MechParamRow& param, float found, float expected,
            float tolerance) {
    const bool same = std::fabs(found - expected) <= tolerance; // a NaN never is
    if (!same) {
        FUS_LOG(INFO, "  MOT[%u][%s] = %g but expecting %g.", index, param.shortName(),
                static_cast<double>(found), static_cast<double>(expected));
    }
    return same;
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
    const auto definition = this->definition();
    if (!m_definitionLoaded || definition->actuators.empty()) {
        FUS_LOG(ERROR, "Please load a config file before calling sendConfig().");
        return false;
    }
    FUS_LOG(INFO,
            "------------------------------ Sending MOT config (force=%s) "
            "------------------------------",
            yesNo(force));
    m_configSent = false;
    try {
        if (!checkFirmware() || !readProtocolVersion() || !readCapacities(*definition)) {
            return false;
        }
        m_configuring = true;
        m_configSent = configure(*definition, force);
    } catch (const FUSException& e) {
        logException(e);
    }
    m_configuring = false;
    FUS_LOG(INFO,
            "++++++++++++++++++++++++++++++ End of MOT config ++++++++++++++++++++++++++++++");
    return m_configSent;
}

bool LowLevelMechanicsPrivate::configure(const MechanicalDefinition& definition, bool force) {
    if (!force) {
        if (checkParameters(definition)) {
            return true;
        }
        FUS_LOG(INFO, "Soft init failed, trying normal init.");
    }
    return sendParameters(definition);
}

bool LowLevelMechanicsPrivate::checkFirmware() {
    const Version version = m_upcalls.getConnection()->config().getVersion(VERSION_MOT_FIRMWARE);
    if (version == nullVersion) {
        FUS_LOG(ERROR, "No mechanical system found.");
        return false;
    }
    if (version.v1 < OLDEST_FIRMWARE) {
        FUS_LOG(ERROR, "Mechanical system version not supported (v3+ required).");
        return false;
    }
    return true;
}

bool LowLevelMechanicsPrivate::readProtocolVersion() {
    FUS_LOG(INFO, "----- Reading global MOT parameters");
    FUS_LOG(INFO, "Read MOT protocol version");
    const auto connection = m_upcalls.getConnection();
    NetPacket request = littleEndianPacket(2);
    request.write16(BPARAM_MOT_PROTOCOL);
    const unsigned id = connection->sendBoardCommand(gprotocol::HWID_MECHANICS, MOT_ADDRESS, 0,
                                                     gprotocol::CMD_BOARD_PARAM_GET, request);
    NetPacket answer = littleEndianPacket(BOARD_PARAM_SIZE);
    if (connection->readBoardAnswer(gprotocol::HWID_MECHANICS, MOT_ADDRESS, id,
                                    gprotocol::CMD_BOARD_PARAM_GET, answer,
                                    TIMEOUT_DEFAULT) != BOARD_PARAM_SIZE) {
        FUS_LOG(ERROR, "Can not read the MOT protocol version");
        return false;
    }
    m_protocolVersion = answer.read32();
    FUS_LOG(INFO, "  MOT protocol version: %u", m_protocolVersion.load());
    return true;
}

bool LowLevelMechanicsPrivate::readCapacities(const MechanicalDefinition& definition) {
    m_maxActuators = readIntParameter(0, PARAM_R_MAX_AXIS_COUNT);
    FUS_LOG(INFO, "  Supported actuators = %u", m_maxActuators.load());
    const auto actuators = static_cast<unsigned>(definition.actuators.size());
    if (actuators > m_maxActuators) {
        FUS_LOG(ERROR, "Too many (%u) actuators defined in loaded config, only %u supported.",
                actuators, m_maxActuators.load());
        return false;
    }
    m_maxDisplacementSize = readIntParameter(0, PARAM_R_TRAJ_MAXSIZE);
    FUS_LOG(INFO, "  Max displacement size = %d moves",
            static_cast<int>(m_maxDisplacementSize.load()));
    m_logSize = readIntParameter(0, PARAM_R_LOG_SIZE);
    FUS_LOG(INFO, "  Log size = %d lines", static_cast<int>(m_logSize.load()));
    return true;
}

bool LowLevelMechanicsPrivate::checkParameters(const MechanicalDefinition& definition) {
    try {
        for (const unsigned index : definition.initOrder) {
            FUS_LOG(INFO, "----- Checking MOT parameters for actuator %d", static_cast<int>(index));
            const MechanicalActuatorData& actuator = *definition.at(index).m_data;
            for (const ConfigRow& row : CONFIG) {
                const MechParamRow& param = MECH_PARAMS[row.param];
                if (row.word != nullptr
                        ? !isSame(index, param, readIntParameter(index, row.param),
                                  row.word(actuator))
                        : !isSame(index, param, readFloatParameter(index, row.param),
                                  row.real(actuator), row.tolerance)) {
                    return false;
                }
            }
        }
        return true;
    } catch (const FUSException& e) {
        logException(e);
        return false;
    }
}

bool LowLevelMechanicsPrivate::sendParameters(const MechanicalDefinition& definition) {
    try {
        for (const unsigned index : definition.initOrder) {
            FUS_LOG(INFO, "----- Sending MOT parameters for actuator %d", static_cast<int>(index));
            const MechanicalActuator& actuator = definition.at(index);
            for (const MechParam param : SEND_ORDER) {
                const ConfigRow& row = configRow(param);
                if (row.word != nullptr) {
                    setIntParameter(index, param, row.word(*actuator.m_data));
                } else {
                    setFloatParameter(index, param, row.real(*actuator.m_data));
                }
            }
            setIntParameter(index, PARAM_ORIGIN_FOUND, 0);
            actuator.clearOrigin();
        }
        return true;
    } catch (const FUSException& e) {
        logException(e);
        return false;
    }
}

} // namespace fus
