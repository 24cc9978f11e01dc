#pragma once

#include "fus/Export.h"

#include <cstddef>

/// What the computer is. Any thread may call these.
namespace fus::sysinfos {

enum OS_TYPE : int { OS_WINDOWS = 1, OS_LINUX = 2 };

/// Logical processors, at least 1. Asked once.
FUS_API unsigned CPUCores();

/// Physical memory [bytes], asked once; 0 if the system doesn't tell.
FUS_API std::size_t RAMTotal();

/// Memory that is available now [bytes], asked at each call.
FUS_API std::size_t RAMFree();

FUS_API OS_TYPE OSType();

/// "Windows", "Linux".
FUS_API const char* OSTypeStr();

FUS_API bool is64bitsOS();

/// Name, version and "64bits" or "32bits", at most 199 characters. Built once.
FUS_API const char* OSName();

/// Whether standard output is a terminal that understands control sequences (colours, cursor). On
/// Windows this turns them on, for all of the console.
FUS_API bool isStdoutTerminal();

struct TerminalSize {
    unsigned columns = 0;
    unsigned rows = 0;
};

/// Of the terminal that standard output is, as it is now; zeros where the system doesn't tell.
FUS_API TerminalSize stdoutTerminalSize();

} // namespace fus::sysinfos
