#pragma once

#include "fus/FUSException.h"
#include "fus/Log.h"

#include <cinttypes>
#include <cstddef>
#include <string>

/// printf conversion of a `size_t`, to be put behind the "%" like `PRIu64`.
#define FUS_PRIuSIZE "zu"

/// Whether a line of this level (a bare name as in `DEBUG`) would reach any sink.
#define FUS_LOG_ENABLED(LEVEL) (::fus::Log::isEnabled(::fus::Log::LEVEL))

/// Logs a line: FUS_LOG(INFO, "format", arguments...). Arguments are not evaluated when the level
/// is disabled.
#define FUS_LOG(LEVEL, ...)                                                                    \
    do {                                                                                       \
        if (FUS_LOG_ENABLED(LEVEL))                                                            \
            ::fus::Log::getInstance().loG(::fus::Log::LEVEL, __FILE__, __LINE__, __VA_ARGS__); \
    } while (false)

/// Each of these logs at EXCEPTION, then throws a FUSException with this file and line.
#define FUS_THROW(ERR) ::fus::throwLogged(::fus::ERR, __FILE__, __LINE__)
#define FUS_THROW_MSG(ERR, message) ::fus::throwLogged(::fus::ERR, __FILE__, __LINE__, message)
#define FUS_THROW_INDEX(description, index, max) \
    ::fus::throwBadIndex(__FILE__, __LINE__, description, index, max)

namespace fus {

/// Out of line, so that a check costs its caller a compare and a cold call.
[[noreturn]] void throwLogged(FUSError error, const char* file, unsigned line);

/// A null or empty message is no message.
[[noreturn]] void throwLogged(FUSError error, const char* file, unsigned line, const char* message);
[[noreturn]] void throwLogged(FUSError error, const char* file, unsigned line,
                              const std::string& message);

/// `ERR_INDEX` with the default text; the log line tells the index and the largest valid one.
[[noreturn]] void throwBadIndex(const char* file, unsigned line, const char* description,
                                std::size_t index, std::size_t max);

} // namespace fus
