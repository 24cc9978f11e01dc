#include "P_LogFormat.h"
#include "P_PrivateLog.h"
#include "fus/P_LogMacros.h"
#include "fus/SysInfos.h"
#include "fus/Utilities.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <sstream>
#include <thread>

namespace fus {

/// Makes logs of their own for the tests: what a log has once reached stays so for its whole life.
struct LogTestAccess {
    static std::unique_ptr<Log> make() { return std::unique_ptr<Log>(new Log); }
    static PrivateLog& privateOf(const Log& log) { return *log.m_private.load(); }
};

namespace {

using Lines = std::vector<std::string>;

const std::string RULE(80, '-');

class LogTest : public testing::Test {
protected:
    LogTest() : m_log(LogTestAccess::make()), m_level(m_log->getLevel()) {
        std::filesystem::create_directories(m_directory);
        m_log->enableStderr(false);
        m_log->setLevel(Log::DEBUG);
    }

    ~LogTest() override {
        m_log.reset();
        Log::getInstance().setLevel(m_level);
        Log::getInstance().enableStderr(true);
        Log::getInstance().enableStdout(false);
        std::error_code ignored;
        std::filesystem::remove_all(m_directory, ignored);
    }

    /// With slashes on every system, so that it can stand in a regular expression.
    std::string path(const std::string& name) const {
        return (m_directory / name).generic_string();
    }

    static std::string contents(const std::string& file) {
        std::ifstream stream(file, std::ios::binary);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

    /// What follows the last header of the file.
    static std::string body(const std::string& file) {
        const std::string text = contents(file);
        const std::size_t rule = text.rfind(RULE + "\n");
        EXPECT_NE(rule, std::string::npos) << text;
        return rule == std::string::npos ? text : text.substr(rule + RULE.size() + 1);
    }

    std::filesystem::path m_directory = std::filesystem::temp_directory_path() /
                                        ("fus-log-test-" + std::to_string(std::random_device{}()));
    std::unique_ptr<Log> m_log;
    Log::Level m_level;
};

/// Both ways of formatting into the same room: the library's, and the C library's.
FUS_PRINTF_FORMAT(2, 3) void expectFormat(std::size_t room, const char* format, ...) {
    std::vector<char> expected(room + 1, '#');
    std::vector<char> actual(room + 1, '#');
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(expected.data(), room, format, arguments);
    va_end(arguments);
    va_start(arguments, format);
    const std::size_t length = formatMessage(actual.data(), room, format, arguments);
    va_end(arguments);
    EXPECT_STREQ(actual.data(), expected.data()) << format;
    EXPECT_EQ(length, std::strlen(expected.data())) << format;
    EXPECT_EQ(actual[room], '#') << format;
}

bool matches(const std::string& text, const std::string& pattern) {
    return std::regex_match(text, std::regex(pattern));
}

TEST_F(LogTest, PutsTimeTagThreadAndSourceInFrontOfTheMessage) {
    struct Case {
        int level;
        const char* file;
        unsigned line;
        const char* tail;
    };
    char thread[16];
    std::snprintf(thread, sizeof(thread), "%4X", currentThreadId());
    const Case cases[] = {
        {Log::DEBUG, "a.cpp", 7, "DBG T%s \\[a\\.cpp           @   7\\] "},
        {Log::VERBOSE, "C:\\src\\Log.cpp", 1234, "VRB T%s \\[Log\\.cpp         @1234\\] "},
        {Log::INFO, "ABCDEFGHIJKLMNOPQRS.cpp", 12345, "INF T%s \\[ABCDEFGHIJKLMNOP@12345\\] "},
        {Log::ERROR, "core/src/Log.cpp", 0, "ERR T%s \\[core/src/Log\\.cpp@   0\\] "},
        {Log::EXCEPTION, "", 4294967295, "XXX T%s \\[                @4294967295\\] "},
        {Log::NONE, "a", 1, "    T%s \\[a               @   1\\] "},
        {401, "a", 1, "    T%s \\[a               @   1\\] "},
    };
    ASSERT_TRUE(m_log->setFile(path("a").c_str(), false));
    for (const Case& c : cases)
        m_log->loG(static_cast<Log::Level>(c.level), c.file, c.line, "x%dy%s", 5, "z");
    std::istringstream text(body(path("a")));
    for (const Case& c : cases) {
        std::string line;
        std::getline(text, line);
        std::string tail = c.tail;
        tail.replace(tail.find("%s"), 2, thread);
        EXPECT_TRUE(matches(line, "\\d\\d:\\d\\d:\\d\\d\\.\\d{3} " + tail + "x5yz")) << line;
    }
}

TEST(LogFormatTest, FormatsLikeTheCLibraryAndCutsWhereItDoes) {
    const std::size_t size = SIZE_MAX;
    const char* volatile nothing = nullptr; // unknown to the compiler
    for (const std::size_t room : {1U, 2U, 7U, 12U, 100U}) {
        SCOPED_TRACE(room);
        expectFormat(room, "plain");
        expectFormat(room, "100%%, 50%%");
        expectFormat(room, "%d %d %d %d", 0, INT_MAX, INT_MIN, -1);
        expectFormat(room, "%u|%X|%zu", 4294967295U, 0xBEEFU, size);
        expectFormat(room, "Socket(%d) connected to %s@%d", 5, "127.0.0.1", 1670);
        expectFormat(room, "%s%s", "", "abcdefghijkl");
        expectFormat(room, "%5d|%-6s|%04X|%g|%ld", 3, "ab", 0xABU, 1.5, -5L);
        expectFormat(room, "%d %" PRIu64 " %.2s", -7, std::uint64_t{1} << 40, "xyz");
        expectFormat(room, "%3s|%-16.16s|%02d|%08X|%x", "a", "ABCDEFGHIJKLMNOPQRS", 7, 0xABU,
                     0xABU);
        expectFormat(room, "%3zu|%zd|%lu|%i|%p|%c", size, std::ptrdiff_t{-1}, 5UL, 6,
                     static_cast<const void*>(&size), 'c');
        expectFormat(room, "%X|%u%%|%zu%s", 0U, 0U, std::size_t{0}, "");
    }
    expectFormat(20, "[%s]", nothing);
    expectFormat(20, "[%s] %5d", nothing, 3);
}

std::string formatUnchecked(std::size_t room, const char* format, ...) {
    std::vector<char> text(room, '#');
    va_list arguments;
    va_start(arguments, format);
    const std::size_t length = formatMessage(text.data(), room, format, arguments);
    va_end(arguments);
    EXPECT_EQ(length, std::strlen(text.data())) << format;
    return text.data();
}

TEST(LogFormatTest, KeepsTheTextOfAFormatThatTheCLibraryRefuses) {
    EXPECT_EQ(formatUnchecked(40, "at 50%"), "at 50%");
    EXPECT_EQ(formatUnchecked(40, "%5d, %-08.3l", 7), "%5d, %-08.3l");
    EXPECT_EQ(formatUnchecked(40, "%d of 100%%, %", 7), "%d of 100%, %");
    EXPECT_EQ(formatUnchecked(5, "at 50%"), "at 5");
    EXPECT_EQ(formatUnchecked(1, "%"), "");
}

TEST_F(LogTest, WritesThePrefixAloneForANullFormat) {
    m_log->setFile(path("a").c_str(), false);
    const char* const nothing = nullptr;
    m_log->loG(Log::INFO, "a", 1, nothing);
    EXPECT_TRUE(matches(body(path("a")), ".{12} INF T.* \\[a               @   1\\] \n"));
}

TEST_F(LogTest, CutsALineThatDoesNotFitIntoItsBuffer) {
    m_log->setFile(path("a").c_str(), false);
    const std::string longText(20000, 'x');
    m_log->loG(Log::INFO, "a", 1, "%s", longText.c_str());
    m_log->loG(Log::INFO, "a", 2, "next");
    const std::string text = body(path("a"));
    const std::size_t end = text.find('\n');
    EXPECT_EQ(end, 16383U);
    EXPECT_EQ(text[end - 1], 'x');
    EXPECT_TRUE(matches(text.substr(end + 1), ".{12} INF .*@   2\\] next\n"));
}

TEST_F(LogTest, LetsPassWhatIsAtLeastOfItsLevel) {
    struct Case {
        Log::Level level;
        const char* passed;
    };
    for (const Case& c : {Case{Log::DEBUG, "DVIEX"}, Case{Log::INFO, "IEX"},
                          Case{Log::EXCEPTION, "X"}, Case{Log::NONE, ""}}) {
        SCOPED_TRACE(c.level);
        const std::string file = path("level" + std::to_string(c.level));
        m_log->setFile(file.c_str(), false);
        m_log->setLevel(c.level);
        m_log->loG(Log::DEBUG, "", 0, "D");
        m_log->loG(Log::VERBOSE, "", 0, "V");
        m_log->loG(Log::INFO, "", 0, "I");
        m_log->loG(Log::ERROR, "", 0, "E");
        m_log->loG(Log::EXCEPTION, "", 0, "X");
        std::istringstream text(body(file));
        std::string passed;
        for (std::string line; std::getline(text, line);)
            passed += line.back();
        EXPECT_EQ(passed, c.passed);
    }
}

TEST_F(LogTest, DoesNotEvaluateTheArgumentsOfADisabledLine) {
    int evaluations = 0;
    const auto count = [&] { return ++evaluations; };
    testing::internal::CaptureStderr();
    Log::getInstance().enableStderr(true);
    Log::getInstance().setLevel(Log::INFO);
    FUS_LOG(VERBOSE, "%d", count());
    EXPECT_FALSE(FUS_LOG_ENABLED(VERBOSE));
    Log::getInstance().enableStderr(false);
    FUS_LOG(ERROR, "%d", count());
    EXPECT_FALSE(FUS_LOG_ENABLED(EXCEPTION));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(evaluations, 0);
}

TEST_F(LogTest, SendsALineToTheSinksThatAreOn) {
    struct Case {
        bool out;
        bool err;
        bool file;
    };
    for (const Case& c : {Case{false, false, false}, Case{true, false, false},
                          Case{false, true, false}, Case{true, true, true}}) {
        SCOPED_TRACE(testing::PrintToString(c.out) + testing::PrintToString(c.err));
        m_log->enableStdout(c.out);
        m_log->enableStderr(c.err);
        EXPECT_TRUE(m_log->setFile(c.file ? path("sink").c_str() : "", false));
        EXPECT_EQ(m_log->isStdoutEnabled(), c.out);
        EXPECT_EQ(m_log->isStderrEnabled(), c.err);
        EXPECT_EQ(m_log->isFileEnabled(), c.file);
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        m_log->loG(Log::ERROR, "a", 1, "text");
        m_log->printStack();
        const std::string line =
            ".{12} ERR T.* \\[a               @   1\\] text\nStack trace not available\n";
        EXPECT_TRUE(matches(testing::internal::GetCapturedStdout(), c.out ? line : ""));
        EXPECT_TRUE(matches(testing::internal::GetCapturedStderr(), c.err ? line : ""));
        if (c.file) {
            EXPECT_TRUE(matches(body(path("sink")), line));
        }
    }
}

TEST_F(LogTest, GivesItsReceiverLevelAndBareTextUntilThatIsTakenAway) {
    std::string heard;
    const auto hear = [](void* context, Log::Level level, const char* text) {
        *static_cast<std::string*>(context) += std::to_string(level) + text + "|";
    };
    m_log->setFile(path("beside").c_str(), false);
    m_log->setReceiver(hear, &heard);
    m_log->setLevel(Log::INFO);
    m_log->loG(Log::VERBOSE, "", 0, "below");
    m_log->loG(Log::INFO, "", 0, "%d of %d", 1, 2);
    m_log->loG(Log::EXCEPTION, "", 0, nullptr);
    m_log->closeFile();
    m_log->loG(Log::ERROR, "", 0, "%s", std::string(20000, 'x').c_str());
    m_log->setReceiver(nullptr, nullptr);
    EXPECT_FALSE(Log::isEnabled(Log::EXCEPTION)); // there is no sink left
    m_log->enableStderr(false);
    m_log->loG(Log::ERROR, "", 0, "nobody hears");
    const std::string rest = heard.substr(std::min(heard.find("400"), heard.size()));
    EXPECT_EQ(heard, "3001 of 2|500|" + rest);
    EXPECT_GT(rest.size(), 16000U);
    EXPECT_EQ(rest.find_first_not_of('x', 3), rest.size() - 1);
    EXPECT_TRUE(
        matches(body(path("beside")), "[^\n]*1 of 2\n[^\n]*\n[^\n]*Closing this log file.\n.\n"));
}

TEST_F(LogTest, BeginsAFileWithAHeaderAboutLibraryAndComputer) {
    const std::string stem = path("dated");
    ASSERT_TRUE(m_log->setFile(stem.c_str(), true));
    const std::string name = m_log->getFileName();
    EXPECT_TRUE(matches(name, stem + "_\\d{4}-\\d\\d-\\d\\d_\\d\\d-\\d\\d-\\d\\d\\.log")) << name;
    std::istringstream text(contents(name));
    Lines lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    ASSERT_EQ(lines.size(), 10U);
    EXPECT_EQ(lines[0], "BRELIX library log");
    EXPECT_NE(lines[1], "");
    EXPECT_EQ(lines[2], std::string("Version   : ") + buildVersion());
    EXPECT_EQ(lines[3], std::string("Revision  : ") + buildRevision());
    EXPECT_EQ(lines[4], std::string("Build cfg : ") + buildConfig());
    EXPECT_EQ(lines[5], std::string("Build date: ") + buildDate());
    std::string date = name.substr(stem.size() + 1, 19);
    date[10] = ' ';
    date[13] = date[16] = ':';
    EXPECT_EQ(lines[6], "Log date  : " + date);
    EXPECT_EQ(lines[7], std::string("OS name   : ") + sysinfos::OSName());
    EXPECT_TRUE(matches(lines[8], "RAM bytes : \\d+ free / " +
                                      std::to_string(sysinfos::RAMTotal()) +
                                      " total \\(for this process\\)"));
    EXPECT_EQ(lines[9], RULE);
}

TEST_F(LogTest, NamesTheNextFileInTheClosingTextAndAppendsToAnOldOne) {
    const std::string file = path("again");
    ASSERT_TRUE(m_log->setFile(file.c_str(), false));
    // the name that the log itself hands out dies with the file that is closed
    ASSERT_TRUE(m_log->setFile(m_log->getFileName(), false));
    EXPECT_EQ(m_log->getFileName(), file);
    EXPECT_TRUE(m_log->setFile("", true));
    EXPECT_STREQ(m_log->getFileName(), "");
    EXPECT_FALSE(m_log->isFileEnabled());
    m_log->closeFile();

    const std::string text = contents(file);
    const std::string closing = RULE + "\n\\d\\d:\\d\\d:\\d\\d\\.\\d{3} Closing this log file.\n";
    EXPECT_TRUE(std::regex_search(
        text, std::regex(closing + " \\(moving to " + file + "\\)\\.\nBRELIX library log\n")))
        << text;
    EXPECT_TRUE(std::regex_search(text, std::regex(closing + "\\.\n$"))) << text;
}

TEST_F(LogTest, StaysClosedWhenAFileCanNotBeOpened) {
    ASSERT_TRUE(m_log->setFile(path("a").c_str(), false));
    EXPECT_FALSE(m_log->setFile(path("missing/b").c_str(), false));
    EXPECT_FALSE(m_log->isFileEnabled());
    EXPECT_STREQ(m_log->getFileName(), "");
    EXPECT_NE(contents(path("a")).find(" (moving to " + path("missing/b") + ").\n"),
              std::string::npos);
}

TEST_F(LogTest, GivesNoFileAnotherLineOnceOneHasReachedItsLimit) {
    m_log->setFile(path("first").c_str(), false);
    const std::size_t header = contents(path("first")).size();
    m_log->setFileLimit(static_cast<unsigned>(header) + 50);
    m_log->loG(Log::INFO, "a", 1, "below the limit when it begins, so it is written whole");
    EXPECT_TRUE(matches(body(path("first")), ".* written whole\n"));
    m_log->loG(Log::INFO, "a", 2, "dropped");
    m_log->loG(Log::INFO, "a", 3, "dropped");
    m_log->setFileLimit(0);
    m_log->loG(Log::INFO, "a", 4, "dropped");
    EXPECT_TRUE(matches(body(path("first")), ".* written whole\n--- MAX SIZE ---\n"));

    ASSERT_TRUE(m_log->setFile(path("second").c_str(), false));
    EXPECT_TRUE(m_log->isFileEnabled());
    m_log->loG(Log::INFO, "a", 5, "dropped");
    EXPECT_EQ(body(path("second")), "");

    m_log = LogTestAccess::make();
    m_log->setFileLimit(100);
    m_log->setFile(path("third").c_str(), false);
    m_log->loG(Log::INFO, "a", 6, "dropped");
    EXPECT_EQ(body(path("third")), "--- MAX SIZE ---\n");
}

TEST_F(LogTest, TakesAFileWhosePositionCanNotBeToldForFullOnceThereIsALimit) {
    m_log->setFile(path("a").c_str(), false);
    LogTestAccess::privateOf(*m_log).position = -1;
    m_log->loG(Log::INFO, "a", 1, "written");
    m_log->printStack();
    m_log->setFileLimit(1'000'000);
    m_log->loG(Log::INFO, "a", 2, "dropped");
    EXPECT_TRUE(
        matches(body(path("a")), ".* written\nStack trace not available\n--- MAX SIZE ---\n"));
}

TEST_F(LogTest, ReportsACallDuringItsDestructionAndDropsLaterOnes) {
    PrivateLog& inner = LogTestAccess::privateOf(*m_log);
    m_log->enableStderr(true);
    inner.mutex = nullptr;
    testing::internal::CaptureStderr();
    m_log->loG(Log::INFO, "C:\\src\\a.cpp", 42, "text");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error: Trying to log after delete: from C:\\src\\a.cpp @ 42, level=INF\n");
    inner.gone = true;
    testing::internal::CaptureStderr();
    m_log->loG(Log::INFO, "a.cpp", 42, "text");
    EXPECT_FALSE(m_log->setFile(path("late").c_str(), false));
    EXPECT_STREQ(m_log->getFileName(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

#if defined(__GNUC__)
/// Built before the log, so it goes after it.
struct LastToGo {
    bool armed = false;
    ~LastToGo() {
        if (armed)
            FUS_LOG(ERROR, "nobody is left to write this");
    }
};
__attribute__((init_priority(150))) LastToGo g_lastToGo;

TEST(LogDeathTest, DropsWhatIsLoggedAfterItsOwnEnd) {
    EXPECT_EXIT(
        {
            g_lastToGo.armed = true;
            std::exit(0);
        },
        testing::ExitedWithCode(0), "^$");
}
#endif

TEST_F(LogTest, WritesTheLinesOfManyThreadsWhole) {
    constexpr int THREADS = 4;
    constexpr int LINES_EACH = 300;
    m_log->setFile(path("many").c_str(), false);
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t)
        threads.emplace_back([this, t] {
            const std::string text(static_cast<std::size_t>(100 + t), static_cast<char>('a' + t));
            for (int i = 0; i < LINES_EACH; ++i) {
                m_log->loG(Log::INFO, "a", 1, "%s", text.c_str());
                m_log->setLevel(Log::DEBUG);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    std::istringstream text(body(path("many")));
    const std::regex whole(".{12} INF T.*\\] (a{100}|b{101}|c{102}|d{103})");
    int count = 0;
    for (std::string line; std::getline(text, line); ++count)
        EXPECT_TRUE(std::regex_match(line, whole)) << line;
    EXPECT_EQ(count, THREADS * LINES_EACH);
}

} // namespace
} // namespace fus
