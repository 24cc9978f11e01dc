#include "fus/FUSEvent.h"

#include <iterator>

namespace fus {

namespace {

/// Indexed by type.
constexpr const char* TYPE_NAMES[] = {
    "EVENT_CONNECT",
    "EVENT_DISCONNECT",
    "EVENT_EXEC_START",
    "EVENT_SHOT_RESULT",
    "EVENT_EXEC_RESULT",
    "EVENT_MECH_MOTION_RESULT",
    "EVENT_MECH_ORIGIN_RESULT",
    "EVENT_AUTO_CLOSE_CONNECTION",
};

static_assert(std::size(TYPE_NAMES) == FUSEvent::EVENT_AUTO_CLOSE_CONNECTION + 1);

/// Indexed by reason.
constexpr const char* REASON_TEXTS[] = {"user request", "socket error", "destructor"};

/// What a failed motion means by its hardware code; the first matching row counts.
struct CodeRange {
    unsigned first;
    unsigned last;
    mprotocol::MechResult result;
};

constexpr CodeRange CODE_RANGES[] = {
    {0x10000000, 0x11FFFFFF, mprotocol::ERROR_COMM},
    {0x12000000, 0x12FFFFFF, mprotocol::ERROR_TIMEOUT},
    {0x20000000, 0x27FFFFFF, mprotocol::ERROR_MOTION},
    {0x38020000, 0x38020000, mprotocol::ERROR_MOTION},
    {0x38030000, 0x38030001, mprotocol::USER_STOP},
};

mprotocol::MechResult resultFromCode(const HardwareCode& code) {
    for (const CodeRange& range : CODE_RANGES) {
        if (code.rawCode() >= range.first && code.rawCode() <= range.last) {
            return range.result;
        }
    }
    return mprotocol::ERROR_INTERNAL;
}

} // namespace

FUSEvent::FUSEvent(EventType type) : m_type(type) {}

FUSEvent::FUSEvent(const FUSEvent& other) = default;

FUSEvent& FUSEvent::operator=(const FUSEvent& other) = default;

FUSEvent::~FUSEvent() = default;

const char* FUSEvent::eventTypeName(EventType type) {
    return type < std::size(TYPE_NAMES) ? TYPE_NAMES[type] : "??";
}

ConnectEvent::ConnectEvent(bool connected, Reason reason)
    : FUSEvent(connected ? EVENT_CONNECT : EVENT_DISCONNECT), m_reason(reason) {}

ConnectEvent::~ConnectEvent() = default;

const char* ConnectEvent::reasonText(int reason) {
    const auto index = static_cast<unsigned>(reason);
    return index < std::size(REASON_TEXTS) ? REASON_TEXTS[index] : "unknown";
}

ExecStartEvent::ExecStartEvent(unsigned execID, unsigned execCount, unsigned execFlags,
                               gprotocol::ElecExecMode elecMode, gprotocol::TriggerMode trigMode,
                               gprotocol::MechExecMode mechMode)
    : FUSEvent(EVENT_EXEC_START), m_execID(execID), m_execCount(execCount), m_execFlags(execFlags),
      m_elecMode(elecMode), m_trigMode(trigMode), m_mechMode(mechMode) {}

ExecStartEvent::~ExecStartEvent() = default;

ShotEvent::ShotEvent(unsigned execID, unsigned execIndex, unsigned shotIndex,
                     gprotocol::AmplifierType amplifierType, unsigned duration, int totalGap,
                     unsigned char* data, unsigned size, unsigned channels, unsigned boards,
                     unsigned channelMeasures, unsigned boardMeasures, const unsigned* channelSizes,
                     const unsigned* boardSizes)
    : FUSEvent(EVENT_SHOT_RESULT), m_execID(execID),
      m_shotResult(execIndex, shotIndex, amplifierType, duration, totalGap, data, size, channels,
                   boards, channelMeasures, boardMeasures, channelSizes, boardSizes) {}

ShotEvent::~ShotEvent() = default;

ExecEvent::ExecEvent(unsigned execID, unsigned index, unsigned remaining)
    : FUSEvent(EVENT_EXEC_RESULT), m_execResult(execID, index, remaining) {}

ExecEvent::ExecEvent(unsigned execID, unsigned index, unsigned remaining, ExecResult::Status status,
                     const char* message)
    : FUSEvent(EVENT_EXEC_RESULT), m_execResult(execID, index, remaining, status, message) {}

ExecEvent::~ExecEvent() = default;

MechMotionEvent::MechMotionEvent(unsigned execID) : MechMotionEvent(execID, mprotocol::OK) {}

MechMotionEvent::MechMotionEvent(unsigned execID, mprotocol::MechResult result)
    : FUSEvent(EVENT_MECH_MOTION_RESULT), m_execID(execID), m_result(result), m_hardwareCode(0) {}

MechMotionEvent::MechMotionEvent(unsigned execID, const HardwareCode& code,
                                 mprotocol::MechResult result)
    : FUSEvent(EVENT_MECH_MOTION_RESULT), m_execID(execID),
      m_result(result == RESULT_FROM_CODE ? resultFromCode(code) : result), m_hardwareCode(code) {}

MechMotionEvent::~MechMotionEvent() = default;

Message MechMotionEvent::hardwareMessage() const {
    return m_hardwareCode.message();
}

const char* MechMotionEvent::resultMessage() const {
    return mprotocol::mechResultMessage(m_result);
}

MechOriginEvent::MechOriginEvent(mprotocol::MechResult result)
    : MechOriginEvent(result, HardwareCode(0)) {}

MechOriginEvent::MechOriginEvent(mprotocol::MechResult result, const HardwareCode& code)
    : FUSEvent(EVENT_MECH_ORIGIN_RESULT), m_result(result), m_hardwareCode(code) {}

MechOriginEvent::~MechOriginEvent() = default;

Message MechOriginEvent::hardwareMessage() const {
    return m_hardwareCode.message();
}

const char* MechOriginEvent::resultMessage() const {
    return mprotocol::mechResultMessage(m_result);
}

} // namespace fus
