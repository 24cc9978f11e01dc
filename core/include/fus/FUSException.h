#pragma once

#include "fus/Export.h"
#include "fus/HardwareCode.h"

#include <memory>

namespace fus {

/// Category of an error. Names and default texts: `FUSException::FUSErrorName` and `message`.
enum FUSError : unsigned {
    ERR_UNKNOWN = 0,
    ERR_INDEX = 1,
    ERR_ARGUMENT = 2,
    ERR_CONFIG_PARSE = 3,
    ERR_THREAD = 4,
    ERR_SOCKET_OPTION = 5,
    ERR_SOCKET_READ = 6,
    ERR_SOCKET_WRITE = 7,
    ERR_FILE_READ = 8,
    ERR_FILE_WRITE = 9,
    ERR_NOT_CONNECTED = 10,
    ERR_PACKET = 11,
    ERR_TIMEOUT = 12,
    ERR_GENERATOR = 13,
    ERR_BOARD = 14,
    ERR_BOARD_BUSY = 15,
    ERR_SLICE = 16,
    ERR_MECHANICS = 17,
    ERR_MECH_NO_CONFIG = 18,
    ERR_MECH_NO_ORIGIN = 19,
    ERR_MECH_MOVE = 20,
    ERR_MECH_ORIGINS_BUSY = 21,
    ERR_CONFIG = 22,
    ERR_PROTOCOL = 23,
    ERR_NOT_AVAILABLE = 24,
    ERR_USER_STOP = 25
};

/// The one exception of the library. It does not derive from `std::exception`.
///
/// A null or empty message means that the error's default text is used. The source file is
/// neither copied nor owned: it must be a literal such as `__FILE__`.
class FUS_API FUSException {
public:
    FUSException(const FUSException& other);
    FUSException(FUSError error, const char* message);
    FUSException(FUSError error, const char* file, unsigned line, const char* message);

    /// The error is the one that the hardware code stands for; without a message the text of the
    /// hardware code is taken.
    FUSException(HardwareCode code, const char* file, unsigned line, const char* message);

    FUSException& operator=(const FUSException&) = delete;
    virtual ~FUSException();

    FUSError errorCode() const { return m_error; }

    /// Code 0 unless the exception was built from a hardware code.
    const HardwareCode& hardwareCode() const { return m_hardwareCode; }

    /// Line of the throw, 0 if it isn't known.
    unsigned line() const { return m_line; }

    /// The own message, else the default text of the error. Never null; lives as long as the
    /// exception, or until `setMessage`.
    const char* message() const;

    /// The same as `message`.
    const char* what() const;

    /// What follows the last backslash of the source file (forward slashes don't count), or null
    /// if the file isn't known.
    const char* sourceFile() const;

    /// Replaces the message by a copy of at most `length` characters of `text`; a length of 0
    /// means all of it.
    void setMessage(const char* text, unsigned length);

    /// Name as in "ERR_TIMEOUT"; "ERR_UNKNOWN" for a value outside the enumeration.
    static const char* FUSErrorName(FUSError error);

private:
    FUSError m_error;
    HardwareCode m_hardwareCode;
    unsigned m_line;
    const char* m_file;
    std::unique_ptr<char[]> m_message;
};

} // namespace fus
