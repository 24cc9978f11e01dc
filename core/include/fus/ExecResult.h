#pragma once

#include "fus/Export.h"

#include <string>

namespace fus {

/// How one execution of a trajectory ended. A plain value; it reaches listeners in an ExecEvent.
class FUS_API ExecResult {
public:
    enum Status : unsigned {
        EXEC_UNKNOWN = 0,
        EXEC_OK_CONTINUE = 1,
        EXEC_OK_FINISHED = 2,
        EXEC_STOP_BY_USER = 3,
        EXEC_STOP_INTERNAL_ERROR = 4,
        EXEC_STOP_AMPLIFIER_TEMP = 5,
        EXEC_STOP_AMPLIFIER_CURRENT = 6,
        EXEC_STOP_MECHANICAL_ERROR = 7,
        EXEC_STOP_TRIGGER_INPUT = 8,
        EXEC_STOP_TIMING = 9,
        EXEC_STOP_WATCHDOG = 10,
        EXEC_STOP_HEARTBEAT = 11,
    };

    /// Everything 0, no message.
    ExecResult() = default;

    /// The execution id that executeTrajectory returned.
    unsigned id() const { return m_id; }
    Status status() const { return m_status; }
    /// Which execution of the series, from 0.
    unsigned index() const { return m_index; }
    /// Executions still to come.
    unsigned remaining() const { return m_remaining; }
    /// Never null; empty if there is none. Lives as long as this object.
    const char* errorMessage() const { return m_errorMessage.c_str(); }

    /// True for every status but the two OK ones and a stop by the user.
    bool isError() const;
    /// True for every status but EXEC_OK_CONTINUE.
    bool isFinished() const { return m_status != EXEC_OK_CONTINUE; }

    const char* statusName() const { return statusToString(m_status); }
    /// The enumerator's name; an unknown value is logged and gives "?XSTS?".
    static const char* statusToString(Status status);

private:
    friend class ExecEvent;
    friend class Generator;

    ExecResult(unsigned id, unsigned index, unsigned remaining);
    ExecResult(unsigned id, unsigned index, unsigned remaining, Status status, const char* message);

    unsigned m_id = 0;
    Status m_status = EXEC_UNKNOWN;
    unsigned m_index = 0;
    unsigned m_remaining = 0;
    std::string m_errorMessage;
};

} // namespace fus
