#include "fus/SysInfos.h"

#include "platform/platform.h"

#include <array>
#include <cstdio>

namespace fus::sysinfos {

unsigned CPUCores() {
    static const unsigned CORES = platform::cpuCount();
    return CORES;
}

std::size_t RAMTotal() {
    static const std::size_t TOTAL = platform::memoryTotal();
    return TOTAL;
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
    static const bool IS_64_BITS = platform::is64Bit();
    return IS_64_BITS;
}

const char* OSName() {
    using Buffer = std::array<char, 200>;
    static const Buffer NAME = [] {
        Buffer buffer = {};
        std::snprintf(buffer.data(), buffer.size(), "%s", platform::systemName().c_str());
        return buffer;
    }();
    return NAME.data();
}

} // namespace fus::sysinfos
