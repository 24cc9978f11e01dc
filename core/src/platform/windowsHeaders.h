#pragma once

// The one place that reads Windows' headers: without the macros that take common words away (min,
// max, ERROR), and the sockets' before the others.

#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#define NOGDI

#include <winsock2.h>

#include <windows.h>
#include <ws2tcpip.h>
