#include "platform/kernelVersion.h"
#include "platform/platform.h"
#include "platform/windowsHeaders.h"

#include <winver.h>

#include <cstring>
#include <vector>

namespace fus::platform {

namespace {

constexpr std::uint64_t NANOSECONDS_PER_SECOND = 1'000'000'000;

std::uint64_t unsignedValue(const LARGE_INTEGER& value) {
    return static_cast<std::uint64_t>(value.QuadPart);
}

/// The file version of the kernel's library: what the system itself says of its version depends on
/// what the program declares to know.
bool readKernelVersion(KernelVersion& version) {
    const wchar_t* const file = L"kernel32.dll";
    DWORD ignored = 0;
    const DWORD size = GetFileVersionInfoSizeW(file, &ignored);
    std::vector<char> info(size);
    void* block = nullptr;
    UINT length = 0;
    if (size == 0 || GetFileVersionInfoW(file, 0, size, info.data()) == 0 ||
        VerQueryValueW(info.data(), L"\\", &block, &length) == 0 ||
        length < sizeof(VS_FIXEDFILEINFO))
        return false;
    VS_FIXEDFILEINFO fixed = {};
    std::memcpy(&fixed, block, sizeof(fixed));
    version = {HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS),
               HIWORD(fixed.dwFileVersionLS), LOWORD(fixed.dwFileVersionLS)};
    return true;
}

MEMORYSTATUSEX memoryStatus() {
    MEMORYSTATUSEX status = {};
    status.dwLength = sizeof(status);
    if (GlobalMemoryStatusEx(&status) == 0)
        return {};
    return status;
}

} // namespace

bool readLocalTime(ClockTime& time) {
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    time = {now.wYear,   now.wMonth - 1, now.wDay - 1,     now.wHour,
            now.wMinute, now.wSecond,    now.wMilliseconds};
    return true;
}

std::uint64_t monotonicNanoseconds() {
    const std::uint64_t frequency = performanceFrequency();
    const std::uint64_t counter = performanceCounter();
    return counter / frequency * NANOSECONDS_PER_SECOND +
           counter % frequency * NANOSECONDS_PER_SECOND / frequency;
}

std::uint64_t tick64() {
    return GetTickCount64();
}

std::uint32_t tickCount() {
    return static_cast<std::uint32_t>(tick64());
}

std::uint64_t performanceCounter() {
    LARGE_INTEGER counter = {};
    QueryPerformanceCounter(&counter);
    return unsignedValue(counter);
}

std::uint64_t performanceFrequency() {
    // fixed when the system starts; it has always had one since Windows XP
    static const std::uint64_t frequency = [] {
        LARGE_INTEGER value = {};
        QueryPerformanceFrequency(&value);
        return unsignedValue(value);
    }();
    return frequency;
}

int systemType() {
    return SYSTEM_WINDOWS;
}

const char* systemTypeName() {
    return "Windows";
}

bool is64Bit() {
    if (sizeof(void*) == 8)
        return true;
    BOOL emulated = FALSE;
    return IsWow64Process(GetCurrentProcess(), &emulated) != 0 && emulated != FALSE;
}

std::string systemName() {
    KernelVersion version = {};
    return readKernelVersion(version) ? windowsName(version, is64Bit()) : windowsName(is64Bit());
}

unsigned cpuCount() {
    SYSTEM_INFO info = {};
    GetSystemInfo(&info);
    return info.dwNumberOfProcessors;
}

std::size_t memoryTotal() {
    return static_cast<std::size_t>(memoryStatus().ullTotalPhys);
}

std::size_t memoryAvailable() {
    return static_cast<std::size_t>(memoryStatus().ullAvailPhys);
}

std::string systemErrorText(int error) {
    char text[512];
    DWORD length =
        FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       static_cast<DWORD>(error), 0, text, sizeof(text), nullptr);
    // it comes as a line of its own
    for (const char end : {'\n', '\r'})
        if (length > 0 && text[length - 1] == end)
            --length;
    return {text, length};
}

} // namespace fus::platform
