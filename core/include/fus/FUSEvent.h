#pragma once

#include "fus/ExecResult.h"
#include "fus/Export.h"
#include "fus/GProtocol.h"
#include "fus/HardwareCode.h"
#include "fus/MProtocol.h"
#include "fus/Message.h"
#include "fus/ShotResult.h"

namespace fus {

/// Something that the generator or the library reports without being asked. Listeners get events on
/// the event sender's thread, one at a time, in order of arrival. An event belongs to the library
/// and is gone when FUSListener::handleEvent returns: who wants to keep it copies it.
class FUS_API FUSEvent {
public:
    enum EventType : unsigned {
        EVENT_CONNECT = 0,               ///< ConnectEvent
        EVENT_DISCONNECT = 1,            ///< ConnectEvent
        EVENT_EXEC_START = 2,            ///< ExecStartEvent
        EVENT_SHOT_RESULT = 3,           ///< ShotEvent
        EVENT_EXEC_RESULT = 4,           ///< ExecEvent
        EVENT_MECH_MOTION_RESULT = 5,    ///< MechMotionEvent
        EVENT_MECH_ORIGIN_RESULT = 6,    ///< MechOriginEvent
        EVENT_AUTO_CLOSE_CONNECTION = 7, ///< never reaches a listener
    };

    virtual ~FUSEvent();

    EventType type() const { return m_type; }
    /// The enumerator's name, "??" for any other value.
    static const char* eventTypeName(EventType type);

protected:
    explicit FUSEvent(EventType type);
    FUSEvent(const FUSEvent& other);
    FUSEvent& operator=(const FUSEvent& other);

private:
    EventType m_type;
};

/// A connection was made or lost.
class FUS_API ConnectEvent : public FUSEvent {
public:
    enum Reason : unsigned {
        REASON_USER_REQUEST = 0,
        REASON_SOCKET_ERROR = 1,
        REASON_DESTRUCTOR = 2,
    };

    /// The type is EVENT_CONNECT if `connected` is true, else EVENT_DISCONNECT.
    ConnectEvent(bool connected, Reason reason);
    ~ConnectEvent() override;
    ConnectEvent(const ConnectEvent&) = default;
    ConnectEvent& operator=(const ConnectEvent&) = default;

    Reason reason() const { return m_reason; }
    /// "unknown" for a value that is no Reason.
    static const char* reasonText(int reason);

private:
    Reason m_reason;
};

/// The generator has accepted the start of a trajectory.
class FUS_API ExecStartEvent : public FUSEvent {
public:
    ExecStartEvent(unsigned execID, unsigned execCount, unsigned execFlags,
                   gprotocol::ElecExecMode elecMode, gprotocol::TriggerMode trigMode,
                   gprotocol::MechExecMode mechMode);
    ~ExecStartEvent() override;
    ExecStartEvent(const ExecStartEvent&) = default;
    ExecStartEvent& operator=(const ExecStartEvent&) = default;

    unsigned execID() const { return m_execID; }
    unsigned execCount() const { return m_execCount; }
    unsigned execFlags() const { return m_execFlags; }
    gprotocol::ElecExecMode elecMode() const { return m_elecMode; }
    gprotocol::TriggerMode trigMode() const { return m_trigMode; }
    gprotocol::MechExecMode mechMode() const { return m_mechMode; }

private:
    unsigned m_execID;
    unsigned m_execCount;
    unsigned m_execFlags;
    gprotocol::ElecExecMode m_elecMode;
    gprotocol::TriggerMode m_trigMode;
    gprotocol::MechExecMode m_mechMode;
};

/// The measures of one shot.
class FUS_API ShotEvent : public FUSEvent {
public:
    /// All but the first argument go to the ShotResult, which takes over `data`.
    ShotEvent(unsigned execID, unsigned execIndex, unsigned shotIndex,
              gprotocol::AmplifierType amplifierType, unsigned duration, int totalGap,
              unsigned char* data, unsigned size, unsigned channels, unsigned boards,
              unsigned channelMeasures, unsigned boardMeasures, const unsigned* channelSizes,
              const unsigned* boardSizes);
    ~ShotEvent() override;
    ShotEvent(const ShotEvent&) = default;
    ShotEvent& operator=(const ShotEvent&) = default;

    unsigned execID() const { return m_execID; }
    const ShotResult& shotResult() const { return m_shotResult; }

private:
    unsigned m_execID;
    ShotResult m_shotResult;
};

/// The end of one execution of a trajectory.
class FUS_API ExecEvent : public FUSEvent {
public:
    /// Success: EXEC_OK_CONTINUE if executions remain, else EXEC_OK_FINISHED.
    ExecEvent(unsigned execID, unsigned index, unsigned remaining);
    /// `message` is copied and may be null.
    ExecEvent(unsigned execID, unsigned index, unsigned remaining, ExecResult::Status status,
              const char* message);
    ~ExecEvent() override;
    ExecEvent(const ExecEvent&) = default;
    ExecEvent& operator=(const ExecEvent&) = default;

    const ExecResult& execResult() const { return m_execResult; }

private:
    ExecResult m_execResult;
};

/// The end of a motion.
class FUS_API MechMotionEvent : public FUSEvent {
public:
    /// In place of a result: it is to be classified from the hardware code.
    static constexpr mprotocol::MechResult RESULT_FROM_CODE = static_cast<mprotocol::MechResult>(8);

    /// Success, hardware code 0.
    explicit MechMotionEvent(unsigned execID);
    /// Hardware code 0.
    MechMotionEvent(unsigned execID, mprotocol::MechResult result);
    MechMotionEvent(unsigned execID, const HardwareCode& code, mprotocol::MechResult result);
    ~MechMotionEvent() override;
    MechMotionEvent(const MechMotionEvent&) = default;
    MechMotionEvent& operator=(const MechMotionEvent&) = default;

    unsigned execID() const { return m_execID; }
    mprotocol::MechResult result() const { return m_result; }
    const HardwareCode& hardwareCode() const { return m_hardwareCode; }
    /// The text of the hardware code.
    Message hardwareMessage() const;
    /// The text of the result; a constant string.
    const char* resultMessage() const;

private:
    friend class EventSender;

    void setHardwareCode(const HardwareCode& code) { m_hardwareCode = code; }

    unsigned m_execID;
    mprotocol::MechResult m_result;
    HardwareCode m_hardwareCode;
};

/// The end of an origin search.
class FUS_API MechOriginEvent : public FUSEvent {
public:
    /// Hardware code 0.
    explicit MechOriginEvent(mprotocol::MechResult result);
    MechOriginEvent(mprotocol::MechResult result, const HardwareCode& code);
    ~MechOriginEvent() override;
    MechOriginEvent(const MechOriginEvent&) = default;
    MechOriginEvent& operator=(const MechOriginEvent&) = default;

    mprotocol::MechResult result() const { return m_result; }
    const HardwareCode& hardwareCode() const { return m_hardwareCode; }
    /// The text of the hardware code.
    Message hardwareMessage() const;
    /// The text of the result; a constant string.
    const char* resultMessage() const;

private:
    mprotocol::MechResult m_result;
    HardwareCode m_hardwareCode;
};

} // namespace fus
