#include "LibraryLog.h"

#include "Errors.h"
#include "Text.h"

#include <algorithm>
#include <deque>
#include <exception>
#include <mutex>

namespace fus::tool {

namespace {

struct LevelRow {
    const char* name;
    Log::Level level;
};
constexpr LevelRow LEVELS[] = {
    {"error", Log::ERROR}, {"info", Log::INFO}, {"verbose", Log::VERBOSE}, {"debug", Log::DEBUG}};

Log::Level levelOf(const std::string& name) {
    for (const LevelRow& row : LEVELS) {
        if (name == row.name) {
            return row.level;
        }
    }
    throw UsageError("--log: '" + printable(name) +
                     "' isn't a level: error, info, verbose or debug");
}

/// More than one operation has to say; a monitor that runs for days hears a lot more.
constexpr std::size_t MOST_ERRORS = 20;

/// What was heard at level ERROR, the last ones.
struct Errors {
    std::mutex mutex;
    std::deque<std::string> texts; // guarded by the mutex
};

Errors& heard() {
    static Errors errors;
    return errors;
}

} // namespace

LibraryLog::LibraryLog(const Arguments& arguments)
    : m_formerLevel(Log::getInstance().getLevel()),
      m_formerStderr(Log::getInstance().isStderrEnabled()) {
    const bool toFile = arguments.has("--log-file");
    const Log::Level level = levelOf(arguments.value("--log", toFile ? "info" : "error"));
    Log& log = Log::getInstance();
    if (toFile && !log.setFile(arguments.value("--log-file").c_str(), false)) {
        throw ToolError(printable(arguments.value("--log-file")) + ": can't be opened for the log");
    }
    log.setLevel(level);
    log.enableStderr(arguments.has("--log"));
    forget();
    log.setReceiver(&LibraryLog::hear, nullptr);
}

LibraryLog::~LibraryLog() {
    Log& log = Log::getInstance();
    log.setReceiver(nullptr, nullptr);
    log.closeFile();
    log.enableStderr(m_formerStderr);
    log.setLevel(m_formerLevel);
}

void LibraryLog::hear(void* /*context*/, Log::Level level, const char* text) {
    if (level != Log::ERROR) {
        return;
    }
    try { // who logs may be any thread of the library
        const std::lock_guard<std::mutex> lock(heard().mutex);
        std::deque<std::string>& texts = heard().texts;
        texts.emplace_back(text);
        if (texts.size() > MOST_ERRORS) {
            texts.pop_front();
        }
    } catch (const std::exception&) { // out of memory: a reason less is known
        return;
    }
}

void LibraryLog::forget() {
    const std::lock_guard<std::mutex> lock(heard().mutex);
    heard().texts.clear();
}

std::vector<std::string> LibraryLog::errors() {
    const std::lock_guard<std::mutex> lock(heard().mutex);
    return {heard().texts.begin(), heard().texts.end()};
}

std::string LibraryLog::reason() {
    std::string text;
    for (const std::string& error : errors()) {
        // What belongs to a line before is indented.
        const std::size_t begin = std::min(error.find_first_not_of(' '), error.size());
        text += (text.empty() ? "" : "; ") + printable(error.substr(begin));
    }
    return text.empty() ? "no reason is known" : text;
}

} // namespace fus::tool
