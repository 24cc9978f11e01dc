#pragma once

#if defined(_MSC_VER)
#define FUS_HAS_DLLEXPORT 1
#elif defined(__has_attribute)
#define FUS_HAS_DLLEXPORT __has_attribute(dllexport)
#else
#define FUS_HAS_DLLEXPORT 0
#endif

/// FUS_API marks what the library exports; everything else stays hidden. Where a library has to say
/// so for each symbol, FUS_BUILDING is defined when the library itself is compiled, and FUS_STATIC
/// for whatever holds or uses the static one.
#if FUS_HAS_DLLEXPORT
#if defined(FUS_BUILDING)
#define FUS_API __declspec(dllexport)
#elif defined(FUS_STATIC)
#define FUS_API
#else
#define FUS_API __declspec(dllimport)
#endif
#elif defined(__GNUC__)
#define FUS_API __attribute__((visibility("default")))
#else
#define FUS_API
#endif

/// Lets the compiler check a printf-like function: positions count from 1, and from 2 for what
/// follows the object of a member function. The formats are those of standard C, whatever the C
/// library of the system knows.
#if defined(__clang__)
#define FUS_PRINTF_FORMAT(formatPosition, firstArgument) \
    __attribute__((format(printf, formatPosition, firstArgument)))
#elif defined(__GNUC__)
#define FUS_PRINTF_FORMAT(formatPosition, firstArgument) \
    __attribute__((format(gnu_printf, formatPosition, firstArgument)))
#else
#define FUS_PRINTF_FORMAT(formatPosition, firstArgument)
#endif
