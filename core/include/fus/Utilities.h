#pragma once

#include "fus/Export.h"

#include <cstddef>

namespace fus {

/// Zero-terminated copy of at most `maxLength` characters from position `start`, made with
/// `new char[]` and owned by the caller. A null or empty text, a `maxLength` of 0 or a `start` at
/// or beyond the length give null. `outLength`, which may be null, receives the copy's length.
FUS_API char* copyString(const char* text, std::size_t start, std::size_t maxLength,
                         std::size_t* outLength);

/// 0 NaN, 1 infinity, 2 zero, 4 any other value. By the bits, so that it holds under any
/// floating-point option of the compiler.
FUS_API int fpClass(float value);
FUS_API int fpClass(double value);

FUS_API bool isInfinite(float value);
FUS_API bool isInfinite(double value);
FUS_API bool isNan(float value);
FUS_API bool isNan(double value);

/// Suspends the calling thread for so many milliseconds.
FUS_API void milliSleep(unsigned ms);

/// Rounds to the nearest integer. Halves go away from zero; a negative value whose fraction falls
/// short of a half by less than 0.000001 does too. What no int can hold gives the least int.
FUS_API int roundedFloat(float x);

/// Text of a C library error number, from `strerror` and under its terms: valid until the next
/// call, on some systems on any thread.
FUS_API const char* errnoMessage(int error);

/// The system's text for one of its error codes, "?" if it has none. In a static buffer: the next
/// call on any thread overwrites it.
FUS_API const char* winErrorMessage(int error);

/// How this library was built.
FUS_API const char* buildVersion();  ///< "1.6.1.2001"
FUS_API const char* buildRevision(); ///< branch, underscore, twelve hexadecimal digits
FUS_API const char* buildDate();     ///< "2020-01-31 16:38:03 UTC"
FUS_API const char* buildConfig();   ///< system, compiler, configuration
FUS_API unsigned buildTimestamp();   ///< the build date as Unix time [s]

} // namespace fus
