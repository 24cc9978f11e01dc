#include "fus/SysInfos.h"

#include "platform/platform.h"

#include <array>
#include <cstdio>

namespace fus::sysinfos {

unsigned CPUCores() {
    static const unsigned s_cores = platform::cpuCount();
    return s_cores;
}

std::size_t RAMTotal() {
    static const std::size_t s_total = platform::memoryTotal();
    return s_total;
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
    static const bool s_is64bits = platform::is64Bit();
    return s_is64bits;
}

const char* OSName() {
    using Buffer = std::array<char, 200>;
    static const Buffer s_name = [] {
        Buffer buffer = {};
        std::snprintf(buffer.data(), buffer.size(), "%s", platform::systemName().c_str());
        return buffer;
    }();
    return s_name.data();
}

} // namespace fus::sysinfos
