#include "fus/SysInfos.h"

#include "platform/platform.h"

#include <array>
#include <cstdio>

namespace fus::sysinfos {

unsigned CPUCores() {
    static const unsigned cores = platform::cpuCount();
    return cores;
}

std::size_t RAMTotal() {
    static const std::size_t total = platform::memoryTotal();
    return total;
}

std::size_t RAMFree() {
    return platform::memoryAvailable();
}

OS_TYPE OSType() {
    return static_cast<OS_TYPE>(platform::systemType());
}

const char* OSTypeStr() {
    return platform::systemTypeName();
}

bool is64bitsOS() {
    static const bool is64Bits = platform::is64Bit();
    return is64Bits;
}

const char* OSName() {
    using Buffer = std::array<char, 200>;
    static const Buffer name = [] {
        Buffer buffer = {};
        std::snprintf(buffer.data(), buffer.size(), "%s", platform::systemName().c_str());
        return buffer;
    }();
    return name.data();
}

bool isStdoutTerminal() {
    return platform::prepareTerminal();
}

TerminalSize stdoutTerminalSize() {
    TerminalSize size;
    if (!platform::terminalSize(size.columns, size.rows))
        return {};
    return size;
}

} // namespace fus::sysinfos
