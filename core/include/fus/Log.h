#pragma once

#include "fus/Export.h"

#include <atomic>

namespace fus {

struct PrivateLog;

/// The log of the process. It works before `main` and until the process ends; a call that comes
/// after its destruction is dropped. Every operation may be called on any thread. A line is
/// written whole, to standard error, then standard output, then the file, then the receiver.
///
/// At first the level is `ERROR` and the one sink is standard error.
class FUS_API Log {
public:
    /// A message passes when its level is at least the level that is set.
    enum Level : int {
        DEBUG = 100,     ///< Only use this level when in big troubles (can impact performance).
        VERBOSE = 200,   ///< Detailed information on all commands.
        INFO = 300,      ///< General informative messages (typically results of commands).
        ERROR = 400,     ///< Only errors and exceptions.
        EXCEPTION = 500, ///< Only exceptions.
        NONE = 1000      ///< No log message at all.
    };

    static Log& getInstance() { return g_instance; }

    /// Whether a message of this level would reach any sink. Two relaxed loads: a change by
    /// another thread becomes visible without any order.
    static bool isEnabled(Level level) {
        return level >= s_level.load(std::memory_order_relaxed) &&
               s_sinks.load(std::memory_order_relaxed) != 0;
    }

    /// Gets the text of a message, without time, thread and source; it lives as long as the call.
    /// Called with the log locked: it must neither log, nor wait for what may be logging, nor
    /// throw.
    using Receiver = void (*)(void* context, Level level, const char* text);

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;
    ~Log();

    /// Writes one line, in the manner of printf. A null format gives the prefix alone; a line is
    /// cut at 16,383 characters.
    void loG(Level level, const char* file, unsigned line, const char* format, ...)
        FUS_PRINTF_FORMAT(5, 6);

    Level getLevel() const;
    void setLevel(Level level);

    void enableStdout(bool on);
    void enableStderr(bool on);
    bool isStdoutEnabled() const;
    bool isStderrEnabled() const;

    /// True while a log file is open.
    bool isFileEnabled() const;

    /// Closes the current file and, unless the name is null or empty, appends to the file `name`;
    /// with `addDate` to "name_YYYY-MM-DD_hh-mm-ss.log". False when the file can't be opened.
    bool setFile(const char* name, bool addDate);

    void closeFile();

    /// Name with its date, "" when no file is open. Valid until the next `setFile` or `closeFile`.
    const char* getFileName() const;

    /// Size [bytes] from which the file gets no more lines; 0 is no limit. Once a file has reached
    /// its limit, neither it nor any later file gets another line in this process, whatever limit
    /// is set then.
    unsigned getFileLimit() const;
    void setFileLimit(unsigned bytes);

    /// A sink of the application's own, after all others; null takes it away. The former one isn't
    /// called any more when this has returned.
    void setReceiver(Receiver receiver, void* context);

    /// Writes that no stack trace is available to each enabled sink; the receiver isn't one of
    /// them.
    void printStack();

private:
    friend struct LogTestAccess;

    Log();

    PrivateLog* liveLog() const;
    static void setSink(unsigned sink, bool on);
    static bool hasSink(unsigned sink);
    static void reportLateCall(Level level, const char* file, unsigned line);

    static Log g_instance;

    // lock-free: tested in front of every log line
    static std::atomic<int> s_level;
    static std::atomic<unsigned> s_sinks;

    // null before the construction; outlives the log, since late calls look there
    std::atomic<PrivateLog*> m_private;
};

} // namespace fus
