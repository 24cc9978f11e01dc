#pragma once

#include "fus/Log.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace fus::test {

/// A log line without its time, thread and source.
struct LogLine {
    Log::Level level;
    std::string text;

    bool operator==(const LogLine& other) const {
        return level == other.level && text == other.text;
    }
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// Whether the text is like the pattern, in which "#" stands for a number and "*" for any text:
/// "Socket(#) connected to *".
bool isLike(const std::string& text, const std::string& pattern);

using LogLines = std::vector<LogLine>;

/// Catches what is logged from its construction to its destruction, at a level of its own; then the
/// log is as it was. One at a time. Lines of a message that spans several belong together.
///
///     LogCapture log(Log::INFO);
///     socket.close();
///     EXPECT_EQ(log.lines(), (LogLines{{Log::INFO, "Socket(3) closed, ..."}}));
class LogCapture {
public:
    explicit LogCapture(Log::Level level = Log::DEBUG);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// What was logged up to now, or since the last `clear`.
    LogLines lines() const;
    /// Of these, the ones of exactly this level.
    LogLines lines(Log::Level level) const;
    std::vector<std::string> texts() const;
    /// All of them, with line ends between.
    std::string text() const;

    /// Whether a line says this, as its whole text or as a part of it.
    bool has(const std::string& text) const;
    bool hasPart(const std::string& part) const;
    std::size_t count(const std::string& text) const;

    /// Forgets what was logged up to now.
    void clear();

private:
    LogLines allLines() const;
    void verifyThatLinesArrive();

    std::string m_path;
    std::string m_previousFile;
    Log::Level m_previousLevel;
    bool m_previousStderr;
    unsigned m_previousLimit;
    std::size_t m_forgotten = 0;
};

} // namespace fus::test
