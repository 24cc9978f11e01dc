#include "fus/Log.h"

#include "P_LogFormat.h"
#include "P_PrivateLog.h"
#include "fus/P_LogMacros.h"
#include "fus/SysInfos.h"
#include "fus/Utilities.h"
#include "platform/platform.h"

#include <cstdarg>
#include <cstring>

namespace fus {

namespace {

constexpr unsigned SINK_STDOUT = 1;
constexpr unsigned SINK_STDERR = 2;
constexpr unsigned SINK_FILE = 4;
constexpr unsigned SINK_RECEIVER = 8;

constexpr std::size_t BASE_NAME_WIDTH = 16;

struct LevelRow {
    Log::Level level;
    const char* tag;
};

constexpr LevelRow LEVELS[] = {
    {Log::DEBUG, "DBG"}, {Log::VERBOSE, "VRB"},   {Log::INFO, "INF"},
    {Log::ERROR, "ERR"}, {Log::EXCEPTION, "XXX"}, {Log::NONE, "   "},
};

const char* tagOf(Log::Level level) {
    for (const LevelRow& row : LEVELS)
        if (row.level == level)
            return row.tag;
    return "   ";
}

// The prefix is written by hand: printf would take longer than the write to the file.

char* putDigits(char* out, unsigned value, unsigned digits) {
    for (unsigned i = digits; i-- > 0; value /= 10)
        out[i] = static_cast<char>('0' + value % 10);
    return out + digits;
}

/// Right-aligned in at least four places, blanks in front.
char* putNumber(char* out, std::uint32_t value, unsigned base) {
    char reversed[10];
    unsigned count = 0;
    do {
        reversed[count++] = "0123456789ABCDEF"[value % base];
        value /= base;
    } while (value != 0);
    for (unsigned i = count; i < 4; ++i)
        *out++ = ' ';
    while (count > 0)
        *out++ = reversed[--count];
    return out;
}

char* putText(char* out, const char* text, std::size_t length) {
    std::memcpy(out, text, length);
    return out + length;
}

/// "hh:mm:ss.mmm "
char* putTime(char* out, const LocalTime& time) {
    out = putDigits(out, static_cast<unsigned>(time.hour), 2);
    *out++ = ':';
    out = putDigits(out, static_cast<unsigned>(time.minute), 2);
    *out++ = ':';
    out = putDigits(out, static_cast<unsigned>(time.second), 2);
    *out++ = '.';
    out = putDigits(out, static_cast<unsigned>(time.millisecond), 3);
    *out++ = ' ';
    return out;
}

char* putBaseName(char* out, const char* file) {
    const char* const backslash = std::strrchr(file, '\\');
    const char* const name = backslash != nullptr ? backslash + 1 : file;
    const void* const end = std::memchr(name, '\0', BASE_NAME_WIDTH);
    const std::size_t length = end != nullptr
                                   ? static_cast<std::size_t>(static_cast<const char*>(end) - name)
                                   : BASE_NAME_WIDTH;
    out = putText(out, name, length);
    std::memset(out, ' ', BASE_NAME_WIDTH - length);
    return out + (BASE_NAME_WIDTH - length);
}

/// "hh:mm:ss.mmm TAG Tid [base name@line] "
char* putPrefix(char* out, Log::Level level, const char* file, unsigned line) {
    LocalTime time;
    time.readClock();
    out = putTime(out, time);
    out = putText(out, tagOf(level), 3);
    out = putText(out, " T", 2);
    out = putNumber(out, currentThreadId(), 16);
    out = putText(out, " [", 2);
    out = putBaseName(out, file != nullptr ? file : "");
    *out++ = '@';
    out = putNumber(out, line, 10);
    return putText(out, "] ", 2);
}

FUS_PRINTF_FORMAT(1, 2) std::string formatted(const char* format, ...) {
    char text[64];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

std::string dateSuffix(const LocalTime& time) {
    return formatted("_%04d-%02d-%02d_%02d-%02d-%02d.log", time.year, time.month + 1, time.day + 1,
                     time.hour, time.minute, time.second);
}

std::string fileHeader(const LocalTime& time) {
    std::string text = "BRELIX library log\n";
    text += "Focused-ultrasound control software\n";
    text += std::string("Version   : ") + buildVersion() + '\n';
    text += std::string("Revision  : ") + buildRevision() + '\n';
    text += std::string("Build cfg : ") + buildConfig() + '\n';
    text += std::string("Build date: ") + buildDate() + '\n';
    text += formatted("Log date  : %4d-%02d-%02d %02d:%02d:%02d\n", time.year, time.month + 1,
                      time.day + 1, time.hour, time.minute, time.second);
    text += std::string("OS name   : ") + sysinfos::OSName() + '\n';
    text += "RAM bytes : " + std::to_string(sysinfos::RAMFree()) + " free / " +
            std::to_string(sysinfos::RAMTotal()) + " total (for this process)\n";
    return text + std::string(80, '-') + '\n';
}

std::string closingText(const std::string& nextName) {
    LocalTime time;
    time.readClock();
    char stamp[16];
    std::string text(stamp, putTime(stamp, time));
    text += "Closing this log file.\n";
    if (!nextName.empty())
        text += " (moving to " + nextName + ')';
    return text + ".\n";
}

/// Number of characters written. There is nobody to tell about a log that can't be written.
std::int64_t put(std::FILE* out, const char* text, std::size_t length) {
    return static_cast<std::int64_t>(std::fwrite(text, 1, length, out));
}

void put(std::FILE* out, const std::string& text) {
    put(out, text.data(), text.size());
    std::fflush(out);
}

StartStamp makeStartStamp() {
    StartStamp stamp;
    stamp.time.readClock();
    stamp.tick = platform::tickCount();
    const std::uint64_t frequency = platform::performanceFrequency();
    if (frequency != 0) {
        stamp.counter = platform::performanceCounter();
        stamp.period = 1.0 / static_cast<double>(frequency);
    }
    return stamp;
}

/// What was in use by logs that are gone. Never freed, since another thread may still be inside
/// `loG`; held here so that it isn't lost either.
std::atomic<PrivateLog*> s_retired{nullptr};

void retire(PrivateLog* log) {
    log->nextRetired = s_retired.load();
    while (!s_retired.compare_exchange_weak(log->nextRetired, log)) {
    }
}

} // namespace

PrivateLog::PrivateLog()
    : mutex(&ownedMutex), startStamp(std::make_unique<StartStamp>(makeStartStamp())) {}

std::size_t PrivateLog::format(Log::Level level, const char* file, unsigned lineNumber,
                               const char* messageFormat, va_list arguments) {
    char* const message = putPrefix(line, level, file, lineNumber);
    prefixLength = static_cast<std::size_t>(message - line);
    *message = '\0';
    if (messageFormat == nullptr)
        return prefixLength;
    return prefixLength +
           formatMessage(message, LINE_ROOM - prefixLength, messageFormat, arguments);
}

bool PrivateLog::fileTakesLine(unsigned sinks) {
    std::FILE* const current = stream.load();
    if ((sinks & SINK_FILE) == 0 || current == nullptr || limitReached)
        return false;
    const unsigned limit = fileLimit.load(std::memory_order_relaxed);
    if (limit == 0)
        return true;
    if (position >= 0 && position < static_cast<std::int64_t>(limit))
        return true;
    put(current, std::string("--- MAX SIZE ---\n"));
    limitReached = true;
    return false;
}

void PrivateLog::write(Log::Level level, std::size_t length, unsigned sinks) {
    const bool toFile = fileTakesLine(sinks);
    // with its newline in place a line is one write; the buffer has a character to spare for it
    line[length++] = '\n';
    if ((sinks & SINK_STDERR) != 0)
        put(stderr, line, length);
    if ((sinks & SINK_STDOUT) != 0) {
        put(stdout, line, length);
        std::fflush(stdout);
    }
    if (toFile) // not buffered, so there is nothing to flush
        putToFile(stream.load(), line, length);
    if (receiver != nullptr) {
        line[length - 1] = '\0';
        receiver(receiverContext, level, line + prefixLength);
    }
}

void PrivateLog::putToFile(std::FILE* file, const char* text, std::size_t length) {
    const std::int64_t written = put(file, text, length);
    if (position >= 0) // a position that can't be told stays so
        position += written;
}

void PrivateLog::closeFile(const std::string& nextName) {
    std::FILE* const closing = stream.exchange(nullptr);
    if (closing == nullptr)
        return;
    put(closing, closingText(nextName));
    std::fclose(closing);
    fileName.clear();
}

bool PrivateLog::openFile(const std::string& name, bool addDate) {
    LocalTime time;
    time.readClock();
    const std::string path = addDate ? name + dateSuffix(time) : name;
    std::FILE* const opened = std::fopen(path.c_str(), "ab");
    if (opened == nullptr)
        return false;
    // every line is flushed: a buffer would only copy it once more
    std::setvbuf(opened, nullptr, _IONBF, 0);
    fileName = path;
    put(opened, fileHeader(time));
    // asked once and counted on from here: asking for each line costs as much as its write
    position = std::ftell(opened);
    stream = opened;
    return true;
}

std::atomic<int> Log::s_level{Log::ERROR};
std::atomic<unsigned> Log::s_sinks{SINK_STDERR};

// The log comes before every other object of the program that isn't a constant, and goes after it.
#if defined(_MSC_VER)
#pragma warning(disable : 4073)
#pragma init_seg(lib)
Log Log::g_instance;
#elif defined(__GNUC__)
Log Log::g_instance __attribute__((init_priority(200)));
#else
Log Log::g_instance;
#endif

Log::Log() : m_private(new PrivateLog) {}

Log::~Log() {
    PrivateLog* const log = m_private;
    closeFile();
    {
        const MutexLocker lock(log->ownedMutex);
        log->mutex = nullptr;
        log->startStamp.reset();
        log->fileName.clear();
    }
    log->gone = true;
    retire(log);
}

PrivateLog* Log::liveLog() const {
    PrivateLog* const log = m_private.load(std::memory_order_acquire);
    return log == nullptr || log->gone.load(std::memory_order_acquire) ? nullptr : log;
}

void Log::loG(Level level, const char* file, unsigned line, const char* format, ...) {
    PrivateLog* const log = liveLog();
    if (log == nullptr || !isEnabled(level))
        return;
    Mutex* const mutex = log->mutex;
    if (mutex == nullptr)
        return reportLateCall(level, file, line);
    const MutexLocker lock(*mutex);
    if (log->mutex.load() == nullptr) // it went while this thread waited for it
        return reportLateCall(level, file, line);
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = log->format(level, file, line, format, arguments);
    va_end(arguments);
    log->write(level, length, s_sinks.load(std::memory_order_relaxed));
}

void Log::reportLateCall(Level level, const char* file, unsigned line) {
    std::fprintf(stderr, "Error: Trying to log after delete: from %s @ %u, level=%s\n",
                 file != nullptr ? file : "", line, tagOf(level));
}

Log::Level Log::getLevel() const {
    return static_cast<Level>(s_level.load(std::memory_order_relaxed));
}

void Log::setLevel(Level level) {
    s_level.store(level, std::memory_order_relaxed);
}

void Log::setSink(unsigned sink, bool on) {
    if (on)
        s_sinks.fetch_or(sink, std::memory_order_relaxed);
    else
        s_sinks.fetch_and(~sink, std::memory_order_relaxed);
}

bool Log::hasSink(unsigned sink) {
    return (s_sinks.load(std::memory_order_relaxed) & sink) != 0;
}

void Log::enableStdout(bool on) {
    setSink(SINK_STDOUT, on);
}

void Log::enableStderr(bool on) {
    setSink(SINK_STDERR, on);
}

bool Log::isStdoutEnabled() const {
    return hasSink(SINK_STDOUT);
}

bool Log::isStderrEnabled() const {
    return hasSink(SINK_STDERR);
}

bool Log::isFileEnabled() const {
    const PrivateLog* const log = liveLog();
    return log != nullptr && hasSink(SINK_FILE) && log->stream.load() != nullptr;
}

bool Log::setFile(const char* name, bool addDate) {
    PrivateLog* const log = liveLog();
    if (log == nullptr)
        return false;
    // copied: it may be the stored name, which goes with the current file
    const std::string nextName = name != nullptr ? name : "";
    const MutexLocker lock(log->ownedMutex);
    log->closeFile(nextName);
    setSink(SINK_FILE, false);
    if (nextName.empty())
        return true;
    if (!log->openFile(nextName, addDate))
        return false;
    setSink(SINK_FILE, true);
    return true;
}

void Log::closeFile() {
    setFile(nullptr, false);
}

const char* Log::getFileName() const {
    const PrivateLog* const log = liveLog();
    return log != nullptr ? log->fileName.c_str() : "";
}

unsigned Log::getFileLimit() const {
    const PrivateLog* const log = liveLog();
    return log != nullptr ? log->fileLimit.load(std::memory_order_relaxed) : 0;
}

void Log::setFileLimit(unsigned bytes) {
    if (PrivateLog* const log = liveLog())
        log->fileLimit.store(bytes, std::memory_order_relaxed);
}

void Log::setReceiver(Receiver receiver, void* context) {
    PrivateLog* const log = liveLog();
    if (log == nullptr)
        return;
    const MutexLocker lock(log->ownedMutex);
    log->receiver = receiver;
    log->receiverContext = context;
    setSink(SINK_RECEIVER, receiver != nullptr);
}

void Log::printStack() {
    const std::string text = "Stack trace not available\n";
    if (isStdoutEnabled())
        put(stdout, text);
    if (isStderrEnabled())
        put(stderr, text);
    if (isFileEnabled()) {
        PrivateLog* const log = m_private;
        log->putToFile(log->stream, text.data(), text.size());
    }
}

} // namespace fus
