#include "fus/FUSException.h"

#include "fus/P_LogMacros.h"
#include "fus/Utilities.h"

#include <cstring>

namespace fus {

namespace {

struct ErrorRow {
    FUSError error;
    const char* name;
    const char* text;
};

#define FUS_ERROR_ROW(ERR, text) \
    { ERR, #ERR, text }

constexpr ErrorRow ERRORS[] = {
    FUS_ERROR_ROW(ERR_UNKNOWN, "Unknown error"),
    FUS_ERROR_ROW(ERR_INDEX, "Invalid index"),
    FUS_ERROR_ROW(ERR_ARGUMENT, "Bad argument"),
    FUS_ERROR_ROW(ERR_CONFIG_PARSE, "Parse error in configuration file"),
    FUS_ERROR_ROW(ERR_THREAD, "Thread error"),
    FUS_ERROR_ROW(ERR_SOCKET_OPTION, "Socket option error"),
    FUS_ERROR_ROW(ERR_SOCKET_READ, "Socket read error"),
    FUS_ERROR_ROW(ERR_SOCKET_WRITE, "Socket write error"),
    FUS_ERROR_ROW(ERR_FILE_READ, "Can not open or read a file"),
    FUS_ERROR_ROW(ERR_FILE_WRITE, "Can not create or write to a file"),
    FUS_ERROR_ROW(ERR_NOT_CONNECTED, "Not connected to the generator"),
    FUS_ERROR_ROW(ERR_PACKET, "Bad packet content"),
    FUS_ERROR_ROW(ERR_TIMEOUT, "Timeout error"),
    FUS_ERROR_ROW(ERR_GENERATOR, "Unknown generator error"),
    FUS_ERROR_ROW(ERR_BOARD, "Board command error"),
    FUS_ERROR_ROW(ERR_BOARD_BUSY, "Timeout elapsed and board command still busy"),
    FUS_ERROR_ROW(ERR_SLICE, "Shot-slicing algorithm error (invalid duration or delay in shots)"),
    FUS_ERROR_ROW(ERR_MECHANICS, "General mechanical system error"),
    FUS_ERROR_ROW(ERR_MECH_NO_CONFIG,
                  "Mechanical system not configured (config not loaded or not sent)"),
    FUS_ERROR_ROW(ERR_MECH_NO_ORIGIN, "Mechanical system origins not found"),
    FUS_ERROR_ROW(ERR_MECH_MOVE, "Mechanical move error"),
    FUS_ERROR_ROW(ERR_MECH_ORIGINS_BUSY, "Busy finding mechanical origins"),
    FUS_ERROR_ROW(ERR_CONFIG, "Hardware configuration mismatch (definition/connected)"),
    FUS_ERROR_ROW(ERR_PROTOCOL, "Command not available in this generator protocol version"),
    FUS_ERROR_ROW(ERR_NOT_AVAILABLE, "Hardware or software component not available"),
    FUS_ERROR_ROW(ERR_USER_STOP, "Command interrupted by the user"),
};

#undef FUS_ERROR_ROW

constexpr bool rowsAreInOrder() {
    unsigned expected = 0;
    for (const ErrorRow& row : ERRORS)
        if (row.error != expected++)
            return false;
    return true;
}
static_assert(rowsAreInOrder(), "a row is found by its number");

const ErrorRow& rowOf(FUSError error) {
    return error < std::size(ERRORS) ? ERRORS[error] : ERRORS[ERR_UNKNOWN];
}

std::unique_ptr<char[]> copied(const char* text, std::size_t maxLength = SIZE_MAX) {
    return std::unique_ptr<char[]>(copyString(text, 0, maxLength, nullptr));
}

} // namespace

FUSException::FUSException(const FUSException& other)
    : m_error(other.m_error), m_hardwareCode(other.m_hardwareCode), m_line(other.m_line),
      m_file(other.m_file), m_message(copied(other.m_message.get())) {}

FUSException::FUSException(FUSError error, const char* message)
    : FUSException(error, nullptr, 0, message) {}

FUSException::FUSException(FUSError error, const char* file, unsigned line, const char* message)
    : m_error(error), m_hardwareCode(0), m_line(line), m_file(file), m_message(copied(message)) {}

FUSException::FUSException(HardwareCode code, const char* file, unsigned line, const char* message)
    : m_error(static_cast<FUSError>(code.getCorrespondingFUSError())), m_hardwareCode(code),
      m_line(line), m_file(file), m_message(copied(message)) {
    if (!m_message)
        m_message = copied(code.message().c_str());
}

FUSException::~FUSException() = default;

const char* FUSException::message() const {
    return m_message ? m_message.get() : rowOf(m_error).text;
}

const char* FUSException::what() const {
    return message();
}

const char* FUSException::sourceFile() const {
    if (m_file == nullptr)
        return nullptr;
    const char* const backslash = std::strrchr(m_file, '\\');
    return backslash != nullptr ? backslash + 1 : m_file;
}

void FUSException::setMessage(const char* text, unsigned length) {
    // copied first: the text may be this exception's own
    m_message = copied(text, length == 0 ? SIZE_MAX : length);
}

const char* FUSException::FUSErrorName(FUSError error) {
    return rowOf(error).name;
}

void throwLogged(FUSError error, const char* file, unsigned line) {
    throwLogged(error, file, line, nullptr);
}

void throwLogged(FUSError error, const char* file, unsigned line, const char* message) {
    const char* const name = FUSException::FUSErrorName(error);
    Log& log = Log::getInstance();
    if (message == nullptr || *message == '\0')
        log.loG(Log::EXCEPTION, file, line, "%s", name);
    else
        log.loG(Log::EXCEPTION, file, line, "%s: %s", name, message);
    throw FUSException(error, file, line, message);
}

void throwLogged(FUSError error, const char* file, unsigned line, const std::string& message) {
    throwLogged(error, file, line, message.c_str());
}

void throwBadIndex(const char* file, unsigned line, const char* description, std::size_t index,
                   std::size_t max) {
    Log::getInstance().loG(Log::EXCEPTION, file, line,
                           "ERR_INDEX: invalid %s (%" FUS_PRIuSIZE " above max=%" FUS_PRIuSIZE ")",
                           description, index, max);
    throw FUSException(ERR_INDEX, file, line, nullptr);
}

} // namespace fus
