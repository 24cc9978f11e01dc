#include "platform/platform.h"

#include <sys/utsname.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace fus::platform {

namespace {

constexpr std::uint64_t NANOSECONDS_PER_SECOND = 1'000'000'000;
constexpr std::uint64_t NANOSECONDS_PER_MS = 1'000'000;

/// The calendar fields of the second that this thread asked for last: within one second only the
/// milliseconds change, and the calendar costs more than the rest of the reading.
struct CalendarCache {
    bool valid;
    time_t second;
    ClockTime fields;
};

bool breakDown(time_t second, ClockTime& fields) {
    struct tm broken = {};
    if (localtime_r(&second, &broken) == nullptr)
        return false;
    fields = {broken.tm_year + 1900,
              broken.tm_mon,
              broken.tm_mday - 1,
              broken.tm_hour,
              broken.tm_min,
              broken.tm_sec,
              0};
    return true;
}

std::string unquoted(const std::string& text) {
    const bool quoted = text.size() >= 2 && (text.front() == '"' || text.front() == '\'') &&
                        text.back() == text.front();
    return quoted ? text.substr(1, text.size() - 2) : text;
}

/// PRETTY_NAME of the distribution, "" if it has none.
std::string distributionName() {
    const std::string key = "PRETTY_NAME=";
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        std::ifstream file(path);
        std::string line;
        while (std::getline(file, line))
            if (line.compare(0, key.size(), key) == 0)
                return unquoted(line.substr(key.size()));
    }
    return {};
}

/// A value of /proc/meminfo [bytes], 0 if it isn't there.
std::size_t memoryField(const std::string& name) {
    std::ifstream file("/proc/meminfo");
    std::string line;
    while (std::getline(file, line))
        if (line.compare(0, name.size(), name) == 0)
            return std::strtoull(line.c_str() + name.size(), nullptr, 10) * std::size_t{1024};
    return 0;
}

// strerror_r comes in two kinds: one returns a result, the other one the text
[[maybe_unused]] const char* textOf(int /*result*/, const char* buffer) {
    return buffer;
}
[[maybe_unused]] const char* textOf(const char* text, const char* /*buffer*/) {
    return text;
}

std::size_t pagesOf(int name) {
    const long pages = sysconf(name);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0)
        return 0;
    return static_cast<std::size_t>(pages) * static_cast<std::size_t>(pageSize);
}

} // namespace

bool readLocalTime(ClockTime& time) {
    thread_local CalendarCache cache = {};
    struct timespec now = {};
    if (clock_gettime(CLOCK_REALTIME, &now) != 0)
        return false;
    if (!cache.valid || cache.second != now.tv_sec) {
        cache.valid = breakDown(now.tv_sec, cache.fields);
        cache.second = now.tv_sec;
        if (!cache.valid)
            return false;
    }
    time = cache.fields;
    time.millisecond = static_cast<int>(now.tv_nsec / 1'000'000);
    return true;
}

std::uint64_t monotonicNanoseconds() {
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * NANOSECONDS_PER_SECOND +
           static_cast<std::uint64_t>(now.tv_nsec);
}

std::uint64_t tick64() {
    return monotonicNanoseconds() / NANOSECONDS_PER_MS;
}

std::uint32_t tickCount() {
    return static_cast<std::uint32_t>(tick64());
}

std::uint64_t performanceCounter() {
    return monotonicNanoseconds();
}

std::uint64_t performanceFrequency() {
    return NANOSECONDS_PER_SECOND;
}

int systemType() {
    return SYSTEM_LINUX;
}

const char* systemTypeName() {
    return "Linux";
}

bool is64Bit() {
    if (sizeof(void*) == 8)
        return true;
    struct utsname names = {};
    return uname(&names) == 0 && std::strstr(names.machine, "64") != nullptr;
}

std::string systemName() {
    std::string name = systemTypeName();
    const std::string distribution = distributionName();
    if (!distribution.empty())
        name += ' ' + distribution;
    struct utsname names = {};
    if (uname(&names) == 0)
        name += std::string(" (") + names.release + ')';
    return name + (is64Bit() ? " 64bits" : " 32bits");
}

unsigned cpuCount() {
    return static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

std::size_t memoryTotal() {
    return pagesOf(_SC_PHYS_PAGES);
}

std::size_t memoryAvailable() {
    // what can be had without swapping; plainly free pages are only a small part of that
    const std::size_t available = memoryField("MemAvailable:");
    return available != 0 ? available : pagesOf(_SC_AVPHYS_PAGES);
}

std::string systemErrorText(int error) {
    char buffer[256] = {};
    const std::string text = textOf(strerror_r(error, buffer, sizeof(buffer)), buffer);
    // the C library makes up a text for a number that it doesn't know
    return text.compare(0, 13, "Unknown error") == 0 ? std::string() : text;
}

} // namespace fus::platform
