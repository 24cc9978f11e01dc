#pragma once

#include "fus/Log.h"
#include "fus/P_LocalTime.h"
#include "fus/P_Thread.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace fus {

/// When the log began.
struct StartStamp {
    LocalTime time;
    std::uint32_t tick = 0;
    std::uint64_t counter = 0; ///< of high resolution, 0 if there is none
    double period = 0.0;       ///< of that counter [s], 0.0 if there is none
};

struct PrivateLog {
    static constexpr std::size_t LINE_ROOM = 16384;

    PrivateLog();

    // all four are called with the mutex held
    std::size_t format(Log::Level level, const char* file, unsigned lineNumber,
                       const char* messageFormat, va_list arguments);
    void write(Log::Level level, std::size_t length, unsigned sinks);
    void closeFile(const std::string& nextName);
    bool openFile(const std::string& name, bool addDate);

    /// Not buffered, and counted in the position. Needs no lock.
    void putToFile(std::FILE* file, const char* text, std::size_t length);

    Mutex ownedMutex;
    std::atomic<std::FILE*> stream{nullptr}; // written under the mutex
    std::atomic<std::int64_t> position{0};   // in the file; negative if it can't be told
    std::atomic<unsigned> fileLimit{0};
    std::atomic<Mutex*> mutex; // null from the destruction of the log on
    std::atomic<bool> gone{false};

    // guarded by the mutex
    bool limitReached = false;
    Log::Receiver receiver = nullptr;
    void* receiverContext = nullptr;
    char line[LINE_ROOM + 1] = {};
    std::size_t prefixLength = 0; // of that line
    std::string fileName;
    std::unique_ptr<StartStamp> startStamp;

    // constant once this is retired
    PrivateLog* nextRetired = nullptr;

private:
    bool fileTakesLine(unsigned sinks);
};

} // namespace fus
