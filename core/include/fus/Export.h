#pragma once

/// FUS_API marks what the library exports; everything else stays hidden.
#if defined(_MSC_VER)
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
/// follows the object of a member function.
#if defined(__GNUC__)
#define FUS_PRINTF_FORMAT(formatPosition, firstArgument) \
    __attribute__((format(printf, formatPosition, firstArgument)))
#else
#define FUS_PRINTF_FORMAT(formatPosition, firstArgument)
#endif
