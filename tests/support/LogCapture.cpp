#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <random>

namespace fus::test {

namespace {

constexpr char PROBE[] = "log capture begins";

struct Tag {
    const char* text;
    Log::Level level;
};

constexpr Tag TAGS[] = {{"DBG", Log::DEBUG}, {"VRB", Log::VERBOSE},   {"INF", Log::INFO},
                        {"ERR", Log::ERROR}, {"XXX", Log::EXCEPTION}, {"   ", Log::NONE}};

Log::Level levelOfTag(const std::string& tag) {
    for (const Tag& row : TAGS) {
        if (tag == row.text) {
            return row.level;
        }
    }
    return Log::NONE;
}

std::string uniquePath() {
    static std::atomic<unsigned> counter{0};
    const std::string name = "fus-log-" + std::to_string(std::random_device{}()) + "-" +
                             std::to_string(counter++) + ".log";
    return (std::filesystem::temp_directory_path() / name).string();
}

bool isEndOfHeader(const std::string& line) {
    return line == std::string(80, '-');
}

/// Adds a line of the file: a new log line, or more text of the last one.
void addLine(LogLines& lines, const std::string& line) {
    static const std::string time = "hh:mm:ss.mmm ";
    const std::size_t source = line.find(" [");
    const std::size_t end = line.find("] ", source == std::string::npos ? source : source + 18);
    const bool isNew = line.size() > time.size() + 5 && line[2] == ':' && line[5] == ':' &&
                       line[8] == '.' && line[time.size() + 4] == 'T' && end != std::string::npos;
    if (isNew) {
        lines.push_back({levelOfTag(line.substr(time.size(), 3)), line.substr(end + 2)});
    } else if (!lines.empty()) {
        lines.back().text += "\n" + line;
    }
}

bool isLike(const char* text, const char* pattern) {
    if (*pattern == '\0') {
        return *text == '\0';
    }
    const bool digits = *pattern == '#';
    if (!digits && *pattern != '*') {
        return *text == *pattern && isLike(text + 1, pattern + 1);
    }
    for (const char* rest = digits ? text + 1 : text;; ++rest) {
        const bool mayHaveCome = !digits || std::isdigit(static_cast<unsigned char>(rest[-1])) != 0;
        if (!mayHaveCome) {
            return false;
        }
        if (isLike(rest, pattern + 1)) {
            return true;
        }
        if (*rest == '\0') {
            return false;
        }
    }
}

} // namespace

bool isLike(const std::string& text, const std::string& pattern) {
    return isLike(text.c_str(), pattern.c_str());
}

std::ostream& operator<<(std::ostream& out, const LogLine& line) {
    const auto* tag = std::find_if(std::begin(TAGS), std::end(TAGS),
                                   [&](const Tag& row) { return row.level == line.level; });
    return out << (tag == std::end(TAGS) ? "???" : tag->text) << " \"" << line.text << '"';
}

LogCapture::LogCapture(Log::Level level) : m_path(uniquePath()) {
    Log& log = Log::getInstance();
    m_previousFile = log.isFileEnabled() ? log.getFileName() : "";
    m_previousLevel = log.getLevel();
    m_previousStderr = log.isStderrEnabled();
    m_previousLimit = log.getFileLimit();
    log.enableStderr(false);
    log.setFileLimit(0);
    log.setFile(m_path.c_str(), false);
    verifyThatLinesArrive();
    log.setLevel(level);
}

LogCapture::~LogCapture() {
    Log& log = Log::getInstance();
    log.setFile(m_previousFile.c_str(), false);
    log.setFileLimit(m_previousLimit);
    log.setLevel(m_previousLevel);
    log.enableStderr(m_previousStderr);
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
}

void LogCapture::verifyThatLinesArrive() {
    Log& log = Log::getInstance();
    log.setLevel(Log::DEBUG);
    log.loG(Log::DEBUG, "LogCapture", 0, "%s", PROBE);
    if (!has(PROBE)) {
        ADD_FAILURE() << "nothing can be captured: either " << m_path
                      << " can't be written, or a test before this one has used up the limit that "
                         "ends all log files of the process";
    }
    clear();
}

LogLines LogCapture::allLines() const {
    std::ifstream file(m_path, std::ios::binary);
    std::string line;
    while (std::getline(file, line) && !isEndOfHeader(line)) {
    }
    LogLines lines;
    while (std::getline(file, line)) {
        addLine(lines, line);
    }
    return lines;
}

LogLines LogCapture::lines() const {
    LogLines all = allLines();
    const auto forgotten = static_cast<std::ptrdiff_t>(std::min(m_forgotten, all.size()));
    all.erase(all.begin(), all.begin() + forgotten);
    return all;
}

LogLines LogCapture::lines(Log::Level level) const {
    LogLines kept = lines();
    kept.erase(std::remove_if(kept.begin(), kept.end(),
                              [&](const LogLine& line) { return line.level != level; }),
               kept.end());
    return kept;
}

std::vector<std::string> LogCapture::texts() const {
    std::vector<std::string> out;
    for (const LogLine& line : lines()) {
        out.push_back(line.text);
    }
    return out;
}

std::string LogCapture::text() const {
    std::string all;
    for (const std::string& text : texts()) {
        all += (all.empty() ? "" : "\n") + text;
    }
    return all;
}

bool LogCapture::has(const std::string& text) const {
    return count(text) != 0;
}

bool LogCapture::hasPart(const std::string& part) const {
    const LogLines all = lines();
    return std::any_of(all.begin(), all.end(), [&](const LogLine& line) {
        return line.text.find(part) != std::string::npos;
    });
}

std::size_t LogCapture::count(const std::string& text) const {
    const LogLines all = lines();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const LogLine& line) { return line.text == text; }));
}

void LogCapture::clear() {
    m_forgotten = allLines().size();
}

} // namespace fus::test
