#include "fus/ExecResult.h"

#include "fus/P_LogMacros.h"

#include <iterator>

namespace fus {

namespace {

/// Indexed by status.
constexpr const char* STATUS_NAMES[] = {
    "EXEC_UNKNOWN",
    "EXEC_OK_CONTINUE",
    "EXEC_OK_FINISHED",
    "EXEC_STOP_BY_USER",
    "EXEC_STOP_INTERNAL_ERROR",
    "EXEC_STOP_AMPLIFIER_TEMP",
    "EXEC_STOP_AMPLIFIER_CURRENT",
    "EXEC_STOP_MECHANICAL_ERROR",
    "EXEC_STOP_TRIGGER_INPUT",
    "EXEC_STOP_TIMING",
    "EXEC_STOP_WATCHDOG",
    "EXEC_STOP_HEARTBEAT",
};

static_assert(std::size(STATUS_NAMES) == ExecResult::EXEC_STOP_HEARTBEAT + 1);

} // namespace

ExecResult::ExecResult(unsigned id, unsigned index, unsigned remaining)
    : ExecResult(id, index, remaining, remaining != 0 ? EXEC_OK_CONTINUE : EXEC_OK_FINISHED,
                 nullptr) {}

ExecResult::ExecResult(unsigned id, unsigned index, unsigned remaining, Status status,
                       const char* message)
    : m_id(id), m_status(status), m_index(index), m_remaining(remaining),
      m_errorMessage(message != nullptr ? message : "") {}

bool ExecResult::isError() const {
    return m_status != EXEC_OK_CONTINUE && m_status != EXEC_OK_FINISHED &&
           m_status != EXEC_STOP_BY_USER;
}

const char* ExecResult::statusToString(Status status) {
    if (status < std::size(STATUS_NAMES)) {
        return STATUS_NAMES[status];
    }
    FUS_LOG(ERROR, "Unknown ExecResult status %d", static_cast<int>(status));
    return "?XSTS?";
}

} // namespace fus
